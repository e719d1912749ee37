#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

namespace kelpo {

/// A line on a terminal that is redrawn, and removed at the end.
class ProgressBar {
public:
    /// Draws nothing unless `shown`. `terminal` must outlive the bar.
    ProgressBar(bool shown, std::size_t total, std::ostream &terminal)
        : shown_(shown), total_(total), terminal_(terminal) {}

    /// `done` of the total, with a text after the bar.
    void draw(std::size_t done, const std::string &text);

    void clear();

private:
    const bool shown_;
    const std::size_t total_;
    std::ostream &terminal_;
    std::string text_;
};

}  // namespace kelpo
