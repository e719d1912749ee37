#pragma once

#include "host/plan/plan.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// The limits with which a station's part of a cycle takes the least time.
struct TunedStation {
    int station = 0;
    BlockLimits limits;
    Traffic before;  ///< with the limits of the list
    Traffic after;
};

/// Tries every `max-count` for each station that is on, as a whole number of registers, with the `max-gap` of the list;
/// and, for a list that has none, the longest gap that costs less than a request of its own. Of several that take the
/// same time, that of the list comes first, and then the largest.
std::vector<TunedStation> tuned(const PollList &list, DryRun &driver);

/// What is to be changed in the list, as lines to copy, and what it saves.
void print_tuned(const std::vector<TunedStation> &stations, const std::string &title, std::ostream &out);

}  // namespace kelpo
