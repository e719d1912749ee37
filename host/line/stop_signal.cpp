#include "host/line/stop_signal.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace kelpo {
namespace {

using std::chrono::nanoseconds;

// As ppoll takes it; nothing when the deadline is over.
timespec time_left(StopSignal::Clock::time_point deadline) {
    const auto left = std::max(nanoseconds(0), nanoseconds(deadline - StopSignal::Clock::now()));
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(left);
    timespec result{};
    result.tv_sec = static_cast<time_t>(whole.count());
    result.tv_nsec = static_cast<long>((left - whole).count());
    return result;
}

// The event stays raised: nobody reads it, so every later wait sees it too.
void raise_event(int event) {
    const int errno_of_the_interrupted = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(event, &one, sizeof one);
    errno = errno_of_the_interrupted;
}

StopSignal::Wait wait_for_either(int event, const std::atomic<bool> &raised, int descriptor, short events,
                                 StopSignal::Clock::time_point deadline) {
    for (;;) {
        pollfd watched[] = {{event, POLLIN, 0}, {descriptor, events, 0}};
        const timespec left = time_left(deadline);
        const int ready = ppoll(watched, 2, &left, nullptr);
        if (ready < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "cannot wait for a descriptor");
        if (raised)
            return StopSignal::Wait::stopped;
        if (ready == 0)
            return StopSignal::Wait::timed_out;
        if (ready > 0)
            return StopSignal::Wait::ready;
    }
}

}  // namespace

StopSignal::StopSignal() : event_(new_event()), hurry_event_(new_event()) {}

void StopSignal::raise() noexcept {
    raised_ = true;
    raise_event(event_.number());
}

void StopSignal::hurry() noexcept {
    raise();
    hurried_ = true;
    raise_event(hurry_event_.number());
}

bool StopSignal::wait_for(nanoseconds time) const {
    const auto deadline = Clock::now() + time;
    while (!raised() && Clock::now() < deadline) {
        pollfd event{event_.number(), POLLIN, 0};
        const timespec left = time_left(deadline);
        ppoll(&event, 1, &left, nullptr);
    }
    return raised();
}

StopSignal::Wait StopSignal::wait_for_descriptor(int descriptor, short events, Clock::time_point deadline) const {
    return wait_for_either(event_.number(), raised_, descriptor, events, deadline);
}

StopSignal::Wait StopSignal::wait_patiently_for_descriptor(int descriptor, short events,
                                                           Clock::time_point deadline) const {
    return wait_for_either(hurry_event_.number(), hurried_, descriptor, events, deadline);
}

}  // namespace kelpo
