#pragma once

#include "host/line/channel.h"
#include "host/line/descriptor.h"
#include "host/line/line_error.h"
#include "host/line/line_note.h"
#include "host/line/line_settings.h"
#include "host/line/stop_signal.h"
#include "host/line/terminal.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace kelpo {

/// One line, used by one thread. A stop that another thread raises ends all waiting, now and later, except for a reply.
class Line : public Channel {
public:
    /// Opens the line: a tty, for this program alone, or a TCP connection, within some three seconds. Throws LineError,
    /// also when a stop was requested before a connection was made. `stop` must outlive the line.
    Line(const LineSettings &settings, const StopSignal &stop);

    /// Takes out what has come in so far, so that a late reply is not taken for the answer to the next request. Returns
    /// the bytes taken out, but at most the first few hundred. From a line that never falls silent it takes what a line
    /// can hold, and returns. Throws LineError when the line is gone.
    std::string discard_input(const Heard &heard = nullptr);

    std::string settle(std::chrono::nanoseconds duration, const Heard &heard = nullptr) override;
    std::string await_silence(const Heard &heard = nullptr) override;
    std::string listen(Time until) override;

    /// Throws LineError also when the line takes nothing for a second.
    bool send(const char *bytes, std::size_t size) override;

    Time request_end() const override {
        return request_end_;
    }

    std::size_t receive(char *buffer, std::size_t already, const WholeSize &whole,
                        const ReplyTimeouts &timeouts) override;

    /// Known only for a port with a wire. The system does not know the speed at the other end of a pseudo-terminal or a
    /// connection, and an adapter that is the controller itself does not keep to a speed.
    std::chrono::nanoseconds shortest_time(std::size_t size) const override;

    void expect_replies_until(Time time, std::chrono::nanoseconds patience) override {
        note_.expect_replies_until(time, patience);
    }
    void expect_no_reply_after(std::optional<Time> time) override {
        note_.settle(time);
    }

    /// Listens for `duration`, and for as long as replies can still come to what any program asked on this line before,
    /// and takes out what comes. Ends at a stop request.
    void settle_after_others(std::chrono::nanoseconds duration);

    /// Identifies the terminal among all that have its name, for LineSettings::known_terminal.
    std::string terminal() const {
        return terminal_identity(port_);
    }

    /// Silence that is kept before a request: what the settings ask for; on a pseudo-terminal, which has no wire, none
    /// unless they set it.
    std::chrono::nanoseconds frame_gap() const {
        return frame_gap_;
    }

    std::uint64_t received() const override {
        return received_;
    }

    Time now() const override {
        return Clock::now();
    }

    Time arrived_after() const override {
        return arrived_after_;
    }

    Time looked_until() const override {
        return drained_at_;
    }

    /// Waits for `duration` or a stop request.
    void pause(std::chrono::nanoseconds duration);

    bool stop_requested() const noexcept override {
        return stop_.raised();
    }

    bool broken_off() const noexcept override {
        return stop_.hurried();
    }

private:
    enum class Waits { until_stopped, until_hurried };

    bool wait_for_input(Time deadline, Waits waits);
    void note_drained(Time looked);
    std::size_t read_some(char *buffer, std::size_t capacity);
    std::size_t write_some(const char *bytes, std::size_t size);
    [[noreturn]] void fail(const std::string &what) const;
    [[noreturn]] void fail(int error) const;

    const StopSignal &stop_;
    std::string path_;
    bool is_tcp_;
    Descriptor port_;
    LineNote note_;
    std::chrono::nanoseconds character_time_;
    std::chrono::nanoseconds frame_gap_;
    Time quiet_since_;
    Time request_end_;
    Time drained_at_;  // until then everything that had come in had been read
    Time last_look_;
    Time arrived_after_;
    bool has_wire_;
    std::uint64_t received_ = 0;
};

}  // namespace kelpo
