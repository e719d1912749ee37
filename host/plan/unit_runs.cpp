#include "host/plan/unit_runs.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace kelpo {

UnitRuns::UnitRuns(std::vector<UnitRun> runs) : runs_(std::move(runs)) {
    std::sort(runs_.begin(), runs_.end(),
              [](const UnitRun &one, const UnitRun &other) { return one.first < other.first; });
    for (std::size_t i = 1; i < runs_.size(); ++i)
        runs_[i].end = std::max(runs_[i].end, runs_[i - 1].end);
}

bool UnitRuns::hold(const UnitRun &wanted) const {
    const auto after = std::upper_bound(runs_.begin(), runs_.end(), wanted.first,
                                        [](std::int64_t first, const UnitRun &run) { return first < run.first; });
    return after != runs_.begin() && std::prev(after)->end >= wanted.end;
}

}  // namespace kelpo
