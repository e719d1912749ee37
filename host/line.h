#pragma once

#include <asio/io_context.hpp>
#include <asio/serial_port.hpp>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace kelpo {

enum class Parity { none, even, odd };

/// How a line is opened: 8 data bits, no flow control, and the rest as below.
struct LineSettings {
    std::string path;         ///< any tty: a serial port, a USB adapter, a pseudo-terminal
    unsigned speed = 115200;  ///< bits per second, one of the rates that the system knows
    Parity parity = Parity::none;
    int stop_bits = 1;  ///< 1 or 2

    /// Time that one character takes on the wire.
    std::chrono::nanoseconds character_time() const;

    /// Silence that a Modbus RTU line needs between two frames: 3.5 characters, at least 1.75 ms.
    std::chrono::nanoseconds frame_gap() const;
};

/// How long a reply is waited for.
struct ReplyTimeouts {
    std::chrono::milliseconds reply{500};           ///< from the end of the request to the first byte
    std::chrono::milliseconds inter_character{50};  ///< from one byte to the next; a longer silence ends the reply
};

/// The line cannot be opened or has failed; the text names its path. The line is not usable any more.
class LineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One serial line, used by one thread; only request_stop and stop_requested may be called from others.
class Line {
public:
    /// Opens the line. Throws LineError. A pseudo-terminal knows no parity and no stop bits: there, a refused setting
    /// is passed over.
    explicit Line(const LineSettings &settings);
    ~Line();
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    /// Throws away what has come in so far, so that a late reply is not taken for the answer to the next request.
    /// Returns the number of bytes thrown away. Throws LineError when the line is gone.
    std::size_t discard_input();

    /// Sends `size` bytes, after the silence that must stand between two frames. Throws LineError when the line is gone
    /// or takes nothing for a second. Returns early when a stop was requested.
    void send(const char *bytes, std::size_t size);

    /// Collects a reply into `buffer`, which holds `capacity` bytes, and returns the number of bytes received: up to
    /// `expected_length`, or with -1 until the line falls silent, or nothing with 0. Fewer bytes, perhaps none, mean
    /// that a time-out or a stop request came first. Bytes beyond `expected_length` stay in the input. Throws LineError
    /// when the line is gone.
    std::size_t receive(char *buffer, std::size_t capacity, int expected_length, const ReplyTimeouts &timeouts);

    /// Waits for `duration` or a stop request.
    void pause(std::chrono::nanoseconds duration);

    /// Makes every present and later wait of this line end at once. From any thread, and from a signal handler.
    void request_stop() noexcept;
    bool stop_requested() const noexcept;

private:
    using Clock = std::chrono::steady_clock;

    void configure(const LineSettings &settings);
    bool wait_for(short events, Clock::time_point deadline);
    [[noreturn]] void fail(const std::string &what) const;

    std::string path_;
    std::chrono::nanoseconds character_time_;
    std::chrono::nanoseconds frame_gap_;
    asio::io_context context_;
    asio::serial_port port_;
    int stop_event_;
    std::atomic<bool> stopping_{false};
    Clock::time_point quiet_since_;
};

}  // namespace kelpo
