#pragma once

#include "host/line/descriptor.h"

#include <chrono>
#include <optional>
#include <string>

namespace kelpo {

/// A word for whoever opens a line next: until when replies to what was asked last can still come. It stays when the
/// program is killed, and is forgotten when the system starts anew.
///
/// It stands in a small file in /run/lock, or in /tmp where there is none, named after the line, which those may write
/// who may write the line's own file. Without such a file there is no note, and no error.
class LineNote {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// For the line `path`, as LineSettings has it, which is open as `port`.
    LineNote(const std::string &path, const Descriptor &port);

    /// How long from now on replies to what somebody asked before can still come. At most half a minute, whatever the
    /// note says.
    std::chrono::nanoseconds left_by_others() const;

    /// Replies can come until `time`. Costs a system call now and then only: what is written reaches somewhat further.
    void expect_replies_until(Time time);

    /// No reply can come after `time`, or, without one, any more: what is written now is exact.
    void settle(std::optional<Time> time);

private:
    void write(std::chrono::nanoseconds until);

    std::string file_;
    std::string line_;  // which of the lines that had this name
    Descriptor note_;
    Time written_until_{};
};

}  // namespace kelpo
