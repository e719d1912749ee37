#pragma once

#include "host/driver/dry_run.h"
#include "host/list/poll_list.h"

namespace kelpo {

/// Warnings about what a usable list asks for but will surprise its author: bits whose word is not polled, places that
/// overlap, types that cannot be written, addresses beyond what frames and caches can tell apart, no station on, and
/// what torn_values finds.
Remarks surprises(const PollList &list, DryRun &driver);

/// Warnings about 32-bit values in two registers that the driver reads in two requests, because a block ends between
/// them or the address map parts them: while such a value changes, it is shown half old and half new. With the cure.
Remarks torn_values(const PollList &list, DryRun &driver);

}  // namespace kelpo
