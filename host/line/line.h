#pragma once

#include "host/line/descriptor.h"
#include "host/line/line_error.h"
#include "host/line/line_settings.h"
#include "host/line/stop_signal.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kelpo {

/// One line, used by one thread. A stop that another thread raises ends all waiting, now and later.
class Line {
public:
    /// Opens the line: a tty, for this program alone, or a TCP connection, within some three seconds. Throws LineError,
    /// also when a stop was requested before a connection stood. `stop` must outlive the line.
    Line(const LineSettings &settings, const StopSignal &stop);
    ~Line() = default;
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    /// Takes out what has come in so far, so that a late reply is not taken for the answer to the next request. Returns
    /// the bytes taken out, of many only the first few hundred. From a line that babbles without end it takes what a
    /// line can hold, and returns. Throws LineError when the line is gone.
    std::string discard_input();

    /// Listens for `duration`, and then until the line has been silent for the gap between two frames, but no longer
    /// than `duration` once more, and takes out what comes. Returns it as discard_input does. Throws LineError when the
    /// line is gone.
    std::string settle(std::chrono::nanoseconds duration);

    /// Takes out what has come in so far, and what comes until the line has been silent for the gap between two frames,
    /// at most for the gap once more than that takes without a byte. Returns it as discard_input does. Throws LineError
    /// when the line is gone.
    std::string await_silence();

    /// Sends `size` bytes, after the silence that must stand between two frames. Throws LineError when the line is gone
    /// or takes nothing for a second. Returns early when a stop was requested.
    void send(const char *bytes, std::size_t size);

    /// Collects a reply into `buffer`, which holds `capacity` bytes, and returns the number of bytes received: up to
    /// `expected_length`, or with -1 until the line falls silent, or nothing with 0. Fewer bytes, perhaps none, mean
    /// that a time-out or a stop request came first; that of the reply runs from the end of the request on the line.
    /// Bytes beyond `expected_length` stay in the input. Throws LineError when the line is gone.
    std::size_t receive(char *buffer, std::size_t capacity, int expected_length, const ReplyTimeouts &timeouts);

    /// Silence that is kept before a request: what the settings ask for, and on a pseudo-terminal, which has no wire,
    /// none unless they set it.
    std::chrono::nanoseconds frame_gap() const {
        return frame_gap_;
    }

    /// How many bytes have come in, thrown away or not.
    std::uint64_t received() const {
        return received_;
    }

    /// Waits for `duration` or a stop request.
    void pause(std::chrono::nanoseconds duration);

    bool stop_requested() const noexcept {
        return stop_.raised();
    }

private:
    using Clock = StopSignal::Clock;

    bool wait_for(short events, Clock::time_point deadline);
    std::size_t read_some(char *buffer, std::size_t capacity);
    std::size_t write_some(const char *bytes, std::size_t size);
    [[noreturn]] void fail(const std::string &what) const;
    [[noreturn]] void fail(int error) const;

    const StopSignal &stop_;
    std::string path_;
    bool is_tcp_;
    Descriptor port_;
    std::chrono::nanoseconds character_time_;
    std::chrono::nanoseconds frame_gap_;
    Clock::time_point quiet_since_;
    std::uint64_t received_ = 0;
};

}  // namespace kelpo
