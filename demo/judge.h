#pragma once

#include "demo/controller_memory.h"
#include "demo/demo_list.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kelpo {

/// How many of the things that were wrong are described. All are counted.
constexpr std::size_t most_complaints = 10;

/// Moments of the controller, both included.
struct MomentRange {
    Moment first;
    Moment last;
};

enum class Verdict {
    right,    ///< the controller held the shown value in the range
    wrong,    ///< it did not
    unproven  ///< part of the range has left the controller's record, and the rest does not show the value
};

/// "name (station 1, type 7, address 100)".
std::string name_of(const Variable &variable);

/// Compares shown values with what the controller held, by the controller's memory.
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
