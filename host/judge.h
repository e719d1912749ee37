#pragma once

#include "host/controller_memory.h"
#include "host/demo_list.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace kelpo {

using Values = std::vector<std::int64_t>;

/// Moments of the controller, both included.
struct MomentRange {
    Moment first;
    Moment last;
};

/// Remembers which moment the controller was in at which time, to tell how old a polled value can be.
class MomentLog {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Notes that the controller was in `moment` at `time`. Times must not run backwards.
    void note(TimePoint time, Moment moment);

    /// The last moment noted at or before `time`: the controller was in it or had passed it. What was noted longest ago
    /// when there is nothing as early; a note must have been made. Forgets everything older, so later calls must not
    /// ask for earlier times.
    Moment at(TimePoint time);

private:
    struct Note {
        TimePoint time;
        Moment moment;
    };
    std::deque<Note> notes_;
};

enum class Verdict {
    right,    ///< the controller held the shown value in the range
    wrong,    ///< it did not
    unproven  ///< part of the range has left the controller's record, and the rest does not show the value
};

/// Compares shown values with what the controller held, by the controller's own account.
///
/// The values of one place must all be of one moment, since one reply brought them; two places of a variable may be of
/// different moments.
class Judge {
public:
    explicit Judge(const ControllerMemory &memory) : memory_(memory) {}

    /// Judges the values shown for `row`, which the host polled at some time in `range`, and counts the verdict.
    Verdict judge(const DemoRow &row, const Values &shown, MomentRange range);

    std::uint64_t right() const {
        return right_;
    }
    std::uint64_t wrong() const {
        return wrong_;
    }
    std::uint64_t unproven() const {
        return unproven_;
    }

    /// The first few wrong values: which variable, what was shown, what the controller held.
    const std::vector<std::string> &complaints() const {
        return complaints_;
    }

private:
    Verdict judge_place(const DemoRow &row, const Place &place, const Values &shown, MomentRange range) const;
    void complain(const DemoRow &row, const Values &shown, MomentRange range);

    const ControllerMemory &memory_;
    std::uint64_t right_ = 0;
    std::uint64_t wrong_ = 0;
    std::uint64_t unproven_ = 0;
    std::vector<std::string> complaints_;
};

}  // namespace kelpo
