#pragma once

#include "host/line/descriptor.h"

#include <chrono>
#include <optional>
#include <string>

namespace kelpo {

/// A note for the next program that opens a line: until when replies to what was asked last can still come. It stays
/// when the program is killed, and is not valid any more after the system was restarted.
///
/// It is a small file in /run/lock, or in /tmp where there is none, named after the device, and writable for those who
/// may write to the device. It says which terminal it is about: one that gets the same name later is another one.
/// Without such a file there is no note, and no error.
///
/// To be made and used only while the line is open: then nobody else has the name.
class LineNote {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::nanoseconds;

    /// What other programs left on the line.
    struct Left {
        Duration time{0};  ///< how long from now on replies can still come at most; at most `longest_wait`
        /// How long after each reply the next one can come, and after now the first one; at most `time`.
        Duration patience{0};
    };

    /// The longest wait for what others left, whatever the note says.
    static constexpr Duration longest_wait = std::chrono::seconds(30);

    /// For the line `path`, as in LineSettings, which is open as `port`.
    LineNote(const std::string &path, const Descriptor &port);

    Left left_by_others() const;

    /// Replies can come until `time`, each at most `patience` after the one before. Makes a system call only
    /// occasionally: the time that is written is somewhat later.
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
