#pragma once

#include "host/line/descriptor.h"

#include <atomic>
#include <chrono>

namespace kelpo {

/// Raised once, by any thread or a signal handler, and never lowered: everything that waits with it, in any number of
/// threads, ends at once. A wait that is still useful then, such as for a reply that is on its way, ends when the
/// signal is hurried.
class StopSignal {
public:
    using Clock = std::chrono::steady_clock;

    /// How a wait for a descriptor ended.
    enum class Wait { ready, stopped, timed_out };

    /// Throws std::system_error when the system has no descriptor left.
    StopSignal();
    ~StopSignal() = default;
    StopSignal(const StopSignal &) = delete;
    StopSignal &operator=(const StopSignal &) = delete;

    void raise() noexcept;

    /// Raises the signal and also ends the waits that continue when it is raised.
    void hurry() noexcept;

    bool hurried() const noexcept {
        return hurried_;
    }

    bool raised() const noexcept {
        return raised_;
    }

    /// Waits until the signal is raised or `time` has passed, never shorter. True when it is raised.
    bool wait_for(std::chrono::nanoseconds time) const;

    /// Waits until `descriptor` is ready for the poll `events`, or is in error, so that a read or write of it does not
    /// wait. Looks at least once, whatever the deadline. A raised signal comes first.
    Wait wait_for_descriptor(int descriptor, short events, Clock::time_point deadline) const;

    /// The same, ended by hurry() alone.
    Wait wait_patiently_for_descriptor(int descriptor, short events, Clock::time_point deadline) const;

    /// To be polled: readable from the moment the signal is raised.
    int descriptor() const {
        return event_.number();
    }

private:
    Descriptor event_, hurry_event_;
    std::atomic<bool> raised_{false};
    std::atomic<bool> hurried_{false};
};

}  // namespace kelpo
