#pragma once

#include "host/list/poll_list.h"
#include "host/plan/dry_run.h"

namespace kelpo {

/// Warnings about what a usable list asks for but will surprise its author: bits whose word is not polled, places that
/// overlap, types that cannot be written, addresses beyond what frames and caches can tell apart, no station on.
Remarks surprises(const PollList &list, DryRun &driver);

}  // namespace kelpo
