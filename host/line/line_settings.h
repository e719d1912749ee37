#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace kelpo {

enum class Parity { none, even, odd };

/// How a line is opened: 8 data bits, no flow control, and the rest as below. At the far end of a TCP connection the
/// device server has the settings: there, speed, parity and stop bits only say how long bytes take.
struct LineSettings {
    /// Any tty (a serial port, a USB adapter, a pseudo-terminal), or "tcp:HOST:PORT": a device server that carries the
    /// same bytes over a TCP connection. An IPv6 address is in brackets.
    std::string path;
    /// If `path` is a pseudo-terminal and not a link to one: which one it must be (Line::terminal), empty for any.
    std::string known_terminal{};
    unsigned speed = 115200;  ///< bits per second, one of the rates that the system knows
    Parity parity = Parity::none;
    int stop_bits = 1;   ///< 1 or 2
    bool rs485 = false;  ///< the kernel switches the transmitter of a two-wire line on and off
    /// Silence kept between two frames, instead of what the speed asks for.
    std::optional<std::chrono::nanoseconds> gap;

    /// Time that one character takes on the wire.
    std::chrono::nanoseconds character_time() const;

    /// Silence to be kept between two frames: `gap`, or what a Modbus RTU line needs, 3.5 characters and at least
    /// 1.75 ms. A pseudo-terminal has no wire: there, without `gap`, none is kept.
    std::chrono::nanoseconds frame_gap() const;
};

/// How long to wait for a reply, and what is done after a bad one.
struct ReplyTimeouts {
    std::chrono::milliseconds reply{500};           ///< from the end of the request to the first byte
    std::chrono::milliseconds inter_character{50};  ///< from one byte to the next; a longer silence ends the reply
    /// After an exchange that failed: how long to listen, and throw away what comes, before the next request. A reply
    /// that is late by less than this is never taken for the answer to another request.
    std::chrono::milliseconds settle{100};
    /// How late a reply may be, from its request or from the station's previous reply: until then nothing else is taken
    /// for it. If not set: 4.5 times the reply time-out.
    std::optional<std::chrono::milliseconds> patience{};
};

}  // namespace kelpo
