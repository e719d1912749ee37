#pragma once

#include "host/driver/dry_run.h"
#include "host/list/poll_list.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// What goes over the line.
struct Traffic {
    int requests = 0;
    std::int64_t bytes_out = 0;
    std::int64_t bytes_in = 0;
    std::chrono::nanoseconds time{0};  ///< estimate, if every reply comes at once and is good

    Traffic &operator+=(const Traffic &more);
};

/// A range of units in a block that no variable uses.
struct UnusedUnits {
    int first;
    int count;
};

/// One block read of the cycle.
struct PlannedBlock {
    DryBlock block;
    bool enabled;                        ///< false: its station is off
    std::vector<std::size_t> variables;  ///< whose values are in it, as indices into PollList::variables
    std::vector<UnusedUnits> unused;
    Traffic traffic;

    int unused_units() const;  ///< all of them
};

/// What one station takes of a cycle, or would take if it were on. The blocks are those with a rate of their own too.
struct StationPlan {
    Station station;
    int blocks = 0;
    int unused_units = 0;  ///< bits and registers
    Traffic traffic;
};

/// What would make the cycle shorter, or what the user should know about it.
struct Advice {
    std::string text;
    std::chrono::nanoseconds saves;  ///< per cycle; 0 if there is no estimate
};

/// How the driver polls a list, and what that takes.
struct Plan {
    PollList list;
    std::vector<PlannedBlock> blocks;
    std::vector<StationPlan> stations;  ///< those that have variables
    Traffic cycle;                      ///< of all stations that are on
    double slow_share = 0;              ///< of the line's time, for what has a rate of its own; 1: all of it
    std::vector<Advice> advice;         ///< what can be changed comes first

    /// How much of the line's time is needed, 1 for all of it. Nothing where cycles follow each other at once: they
    /// take what is left.
    std::optional<double> load() const;
};

/// Time of one exchange with the station: the silence before the request, the request, the controller's turnaround, and
/// the reply.
std::chrono::nanoseconds exchange_time(const PollList &list, int station, const PlannedRequest &request);

/// What the requests of the block take of a cycle.
Traffic traffic_of(const PollList &list, const DryBlock &block);

/// Finds out by a dry run how the driver polls the list. Gives no advice.
Plan make_plan(PollList list_as_given, DryRun &driver);

}  // namespace kelpo
