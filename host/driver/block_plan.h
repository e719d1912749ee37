#pragma once

#include "host/driver/polled_block.h"
#include "host/driver/variable.h"

#include <ozna_kelpo_constants.h>

#include <map>
#include <optional>
#include <utility>
#include <vector>

struct RW_VAR;

namespace kelpo {

class DriverLibrary;

/// The driver makes no request for more units.
constexpr int most_max_count = ozna_kelpo::most_units_per_request;

/// How large the blocks of a station may be.
struct BlockLimits {
    int max_count = most_max_count;  ///< most units in one request, 1 to 100
    std::optional<int> max_gap{};    ///< most unused units in a row inside a block; none: as many as the driver joins
};

/// The limits of every station.
struct PollRules {
    BlockLimits usual{};
    std::map<int, BlockLimits> stations{};  ///< those that have limits of their own

    const BlockLimits &of(int station) const;
    int greatest_max_count() const;
};

/// How variables are polled.
struct BlockPlan {
    std::vector<PolledBlock> cycle;
    std::vector<SlowBlock> slow;  ///< the more frequent ones first
};

/// The blocks of all variables: those without a rate of their own in the cycle, the others in blocks with those of the
/// same rate, unless a block that is read as often or more often has them already. Those of one rate are the blocks
/// that the driver makes of them when each station has its own limits, by station, class and number. No value of two
/// registers is in two blocks, except where values overlap so that every end of a block would part one; where
/// `max_count` is 1, such a value is a block. Replaces the driver's read list. Only while no link runs.
BlockPlan planned(const DriverLibrary &driver, const std::vector<Variable> &variables, const PollRules &rules);

/// By station and register class.
using PlacesByGroup = std::map<std::pair<int, int>, std::vector<PolledBlock>>;

/// What the driver polls for each of the variables alone, in the order of the first numbers.
PlacesByGroup places_of(const DriverLibrary &driver, const std::vector<Variable> &variables);

/// Makes the driver cycle through these blocks, in this order. For the thread that runs the link, or while none runs,
/// and while no polled request is in flight.
void put_in_place(const DriverLibrary &driver, const std::vector<PolledBlock> &blocks);

/// The block as an entry of the driver's read list.
RW_VAR polled_record(const DriverLibrary &driver, const PolledBlock &block);

}  // namespace kelpo
