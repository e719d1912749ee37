#include "plc/program/serve.h"

#include "plc/system/system_call.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <optional>

#include <poll.h>

namespace plc {
namespace {

using Clock = std::chrono::steady_clock;

timespec time_until(Clock::time_point deadline) {
    const auto left = std::max(deadline - Clock::now(), Clock::duration::zero());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    timespec result = {};
    result.tv_sec = static_cast<std::time_t>(seconds.count());
    result.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
    return result;
}

void send_due_replies(Line &line, Controller &controller, Clock::time_point now) {
    while (const std::optional<Sending> sending = controller.take_due(now))
        if (line.send(sending->bytes))
            controller.note_sent(*sending, Clock::now());
}

void take_in(Line &line, Controller &controller, bool echoes, Clock::time_point now) {
    const Bytes bytes = line.receive();
    if (echoes && !bytes.empty() && line.send(bytes))
        controller.note_echo(bytes.size(), Clock::now());
    controller.receive(bytes, now);
}

}  // namespace

void serve(Line &line, Controller &controller, bool echoes, int stop) {
    for (;;) {
        pollfd watched[2] = {{line.descriptor(), POLLIN, 0}, {stop, POLLIN, 0}};
        const std::optional<Clock::time_point> deadline = controller.next_deadline();
        timespec wait = {};
        if (deadline)
            wait = time_until(*deadline);
        if (::ppoll(watched, 2, deadline ? &wait : nullptr, nullptr) < 0 && errno != EINTR)
            fail("cannot wait for the line");

        if (watched[1].revents != 0)
            return;
        const Clock::time_point now = Clock::now();
        if ((watched[0].revents & POLLIN) != 0)
            take_in(line, controller, echoes, now);
        else if (watched[0].revents != 0)
            fail("the line is broken", EIO);
        controller.advance(now);
        send_due_replies(line, controller, now);
    }
}

}  // namespace plc
