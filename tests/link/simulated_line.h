#pragma once

#include "host/line/channel.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>

/// A line with its own time, which passes only when somebody waits: years take seconds. The test answers the requests.
class SimulatedLine : public kelpo::Channel {
public:
    using Duration = std::chrono::nanoseconds;

    /// Called with each request when it was sent.
    std::function<void(const std::string &)> on_request;

    /// Bytes that come in after `delay` from now. What comes at the same time keeps its order.
    void comes(Duration delay, const std::string &bytes) {
        coming_.emplace(now_ + delay, bytes);
    }

    void stop() {
        stopped_ = true;
    }

    /// A stop that was requested is over.
    void go_on() {
        stopped_ = false;
    }

    /// How long after it could go on the host gets the processor, asked at the end of each wait, before
    /// each request and after it.
    std::function<Duration()> held_up;

    Duration time_of_a_character{0};    ///< on a line with a wire; 0: it has none
    Duration time_of_a_request{0};      ///< what the settings say, where there is no wire
    std::optional<Time> replies_until;  ///< what was reported last

    std::string settle(Duration duration, const Heard &heard) override;
    std::string await_silence(const Heard &heard) override;
    std::string listen(Time until) override;
    bool send(const char *bytes, std::size_t size) override;
    Time request_end() const override {
        return request_end_;
    }
    std::size_t receive(char *buffer, std::size_t already, const WholeSize &whole,
                        const kelpo::ReplyTimeouts &timeouts) override;
    Duration shortest_time(std::size_t size) const override {
        return time_of_a_character * static_cast<int>(size);
    }
    void expect_replies_until(Time time, Duration /*patience*/) override {
        replies_until = time;
    }
    void expect_no_reply_after(std::optional<Time> time) override {
        replies_until = time;
    }
    std::uint64_t received() const override {
        return received_;
    }
    Time now() const override {
        return now_;
    }
    Time arrived_after() const override {
        return arrived_after_;
    }
    Time looked_until() const override;
    bool stop_requested() const override {
        return stopped_;
    }
    bool broken_off() const override {
        return false;
    }

private:
    void wait_until(Time until);
    bool is_something_there();
    std::string take(std::size_t most);

    Time now_ = Time() + std::chrono::hours(1);
    Time request_end_ = now_;
    std::multimap<Time, std::string> coming_;
    std::string there_;
    Time there_since_ = now_;
    Time arrived_after_ = now_;
    std::uint64_t received_ = 0;
    bool stopped_ = false;
};
