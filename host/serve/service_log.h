#pragma once

#include <iosfwd>
#include <mutex>
#include <string>

namespace kelpo {

/// One line for each event. For any thread.
class ServiceLog {
public:
    /// As the journal has them.
    enum class Level { error = 3, warning = 4, notice = 5, info = 6 };

    /// In front of each line is its level, as the journal reads it, or else the name of the program.
    ServiceLog(std::ostream &output, bool is_for_journal) : output_(output), is_for_journal_(is_for_journal) {}

    void say(Level level, const std::string &text);

private:
    std::mutex mutex_;  // guards the output
    std::ostream &output_;
    const bool is_for_journal_;
};

}  // namespace kelpo
