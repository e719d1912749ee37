#pragma once

#include "demo/controller_memory.h"
#include "demo/demo_list.h"
#include "demo/judge.h"
#include "demo/screen.h"
#include "host/driver/driver_library.h"

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

namespace kelpo {

/// What the panel knows about one variable.
struct Shown {
    std::string text = "-";
    bool changed = false;  ///< ever
    bool proven = false;   ///< was right at least once
    std::chrono::steady_clock::time_point changed_at;
    Cell::Mark mark = Cell::Mark::plain;
};

/// The screen's side: takes the values of the demonstration's list from the driver and has them judged. A value is
/// right if it is what the controller held at that moment or the moment before. For one thread.
class Panel {
public:
    /// Values that `at_rest` names, as Exerciser::at_rest does, are shown but not judged.
    Panel(const DriverEntryPoints &driver, const ControllerMemory &memory, const std::atomic<int> &at_rest);

    void refresh();

    std::vector<Cell> cells() const;

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
    const std::atomic<int> &at_rest_;
    Judge judge_;
    std::vector<Shown> shown_;
};

}  // namespace kelpo
