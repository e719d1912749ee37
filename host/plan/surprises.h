#pragma once

#include "host/driver/dry_run.h"
#include "host/list/poll_list.h"

namespace kelpo {

/// Warnings about what may surprise the author of a usable list: bits whose word is not polled, places that overlap,
/// types that cannot be written, addresses beyond what frames and caches can distinguish, no station on, and what
/// torn_values finds.
Remarks surprises(const PollList &list, DryRun &driver);

/// Warnings about 32-bit values in two registers that are read in two requests, because the address map separates them,
/// or values overlap so that no end of a block spares all: while such a value changes, it is shown half old and half
/// new. They say what helps.
Remarks torn_values(const PollList &list, DryRun &driver);

}  // namespace kelpo
