#pragma once

#include <cstdint>
#include <vector>

namespace kelpo {

/// From `first` on, before `end`.
struct UnitRun {
    std::int64_t first;
    std::int64_t end;
};

/// Many runs of units, of which one may hold what is looked for.
class UnitRuns {
public:
    UnitRuns() = default;
    explicit UnitRuns(std::vector<UnitRun> runs);

    /// True when a single one of the runs holds all of `wanted`.
    bool hold(const UnitRun &wanted) const;

private:
    std::vector<UnitRun> runs_;  // by their first unit; `end` is the furthest of all runs up to this one
};

}  // namespace kelpo
