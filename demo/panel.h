#pragma once

#include "demo/controller_memory.h"
#include "demo/demo_list.h"
#include "demo/judge.h"
#include "host/driver/driver_library.h"
#include "host/engine/read_values.h"
#include "host/poll/poll_row.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// What the panel knows about one variable.
struct Shown {
    using Time = std::chrono::steady_clock::time_point;

    std::string text;
    std::uint64_t changes = 0;
    Time changed_at{};
    std::optional<Time> read_at;
    bool proven = false;  ///< was right at least once
    PollRow::State state = PollRow::State::asked;
};

/// The screen's side: takes the values of the demonstration's list from the driver and has them judged. A value is
/// right if it is what the controller held at that moment or the moment before. For one thread.
class Panel {
public:
    /// Values that `at_rest` names, as Exerciser::at_rest does, are shown but not judged. `reads` knows when each
    /// variable was read.
    Panel(const DriverEntryPoints &driver, const ControllerMemory &memory, ReadValues &reads,
          const std::atomic<int> &at_rest);

    void refresh();

    /// The variables as the screen shows them. One that was wrong when it was last judged is marked as failing.
    std::vector<PollRow> rows() const;

    const Judge &judge() const {
        return judge_;
    }

    std::size_t moving() const;    ///< number of variables that the controller moves
    std::size_t unmoved() const;   ///< of these, how many were never seen to change
    std::size_t unproven() const;  ///< number of variables that were never right

private:
    void take(const DemoRow &row, Shown &shown);

    const DriverEntryPoints &driver_;
    const ControllerMemory &memory_;
    ReadValues &reads_;
    const std::atomic<int> &at_rest_;
    Judge judge_;
    std::vector<Shown> shown_;
};

}  // namespace kelpo
