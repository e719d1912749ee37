#pragma once

#include "host/line/line_settings.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kelpo {

/// What the link loop needs from a line. Any call but the last few may throw LineError when the line is gone.
class Channel {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    /// Gets the bytes that come in while no reply is expected, as they come.
    using Heard = std::function<void(std::string_view)>;

    /// How many bytes a reply has in all, called with what has come of it so far: at first nothing.
    using WholeSize = std::function<std::size_t(std::string_view)>;

    Channel() = default;
    virtual ~Channel() = default;
    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;

    /// Listens for `duration`, and then until the line has been silent for the gap between two frames, but no longer
    /// than `duration` once more, and takes out what comes. Returns the first few hundred bytes of that.
    virtual std::string settle(std::chrono::nanoseconds duration, const Heard &heard) = 0;

    /// Takes out what has come in so far, and what comes until the line has been silent for the gap between two frames,
    /// at most for the gap once more than that takes without a byte. Returns it as settle does.
    virtual std::string await_silence(const Heard &heard) = 0;

    /// Waits until something comes in, and takes it out; if it is much, the rest comes with the next call. Nothing when
    /// `until` or a stop request comes first.
    virtual std::string listen(Time until) = 0;

    /// Sends `size` bytes, after the silence that there must be between two frames. False when a stop was requested
    /// before all of them were out.
    virtual bool send(const char *bytes, std::size_t size) = 0;

    /// When the last byte of the request sent last has left, or will have left.
    virtual Time request_end() const = 0;

    /// Collects a reply into `buffer` until it has as many bytes as `whole` says, and returns how many there are. The
    /// buffer holds the first `already` bytes at the start. Fewer mean that a time-out came first: that of the reply
    /// runs from the end of the request on the line. A stop request does not end it, a second one does.
    virtual std::size_t receive(char *buffer, std::size_t already, const WholeSize &whole,
                                const ReplyTimeouts &timeouts) = 0;

    /// The shortest time in which `size` bytes can come over this line. 0 if that is not known.
    virtual std::chrono::nanoseconds shortest_time(std::size_t size) const = 0;

    /// A reply may still come until `time`, and each one at most `patience` after the one before: this is noted for the
    /// next program that opens the line, also in case this program is killed.
    virtual void expect_replies_until(Time time, std::chrono::nanoseconds patience) = 0;

    /// Everything that was asked is answered, or no reply can come after `time`: noted likewise.
    virtual void expect_no_reply_after(std::optional<Time> time) = 0;

    /// How many bytes have come in, thrown away or not.
    virtual std::uint64_t received() const = 0;

    virtual Time now() const = 0;

    /// The bytes passed on last came in after this time (for a reply, its first byte): until then everything that had
    /// come in had been read. They may have waited for a host that did not get the processor, so now() does not say
    /// when they came.
    virtual Time arrived_after() const = 0;

    /// Until then everything that had come in has been read. What came in after that is not known.
    virtual Time looked_until() const = 0;

    virtual bool stop_requested() const = 0;

    /// A second stop was requested: there is no waiting any more.
    virtual bool broken_off() const = 0;
};

}  // namespace kelpo
