#pragma once

#include "host/line/descriptor.h"

#include <chrono>
#include <optional>
#include <string>

namespace kelpo {

/// A word for whoever opens a line next: until when replies to what was asked last can still come. It stays when the
/// program is killed, and is forgotten when the system starts anew.
///
/// It is a small file in /run/lock, or in /tmp where there is none, named after the device, which those may write who
/// may write the device. It says which terminal it is about: one that gets the same name later is another one. Without
/// such a file there is no note, and no error.
///
/// To be made and used only while the line is open: then nobody else has the name.
class LineNote {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::nanoseconds;

    /// What others left on the line.
    struct Left {
        Duration time{0};  ///< how long from now on replies can still come at most; at most `longest_wait`
        /// How long after each that comes the next one can, and from now on the first one; at most `time`.
        Duration patience{0};
    };

    /// Nobody waits longer for what others left, whatever the note says.
    static constexpr Duration longest_wait = std::chrono::seconds(30);

    /// For the line `path`, as LineSettings has it, which is open as `port`.
    LineNote(const std::string &path, const Descriptor &port);

    Left left_by_others() const;

    /// Replies can come until `time`, each `patience` after the one before at most. Costs a system call now and then
    /// only: what is written reaches somewhat further.
    void expect_replies_until(Time time, Duration patience);

    /// No reply can come after `time`, or, without one, any more: what is written now is exact.
    void settle(std::optional<Time> time);

private:
    void write(Duration until);
    bool is_the_one_there() const;

    std::string file_;
    std::string line_;  // which of the lines that had this name
    Descriptor note_;
    Time written_until_{};
    Duration patience_{0};
};

}  // namespace kelpo
