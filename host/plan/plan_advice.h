#pragma once

#include "host/plan/plan.h"

namespace kelpo {

/// The plan with advice: variables that open blocks of their own, the units that are read and not used, a max-count
/// that leads to more requests than needed, stations that are off, what a silent station costs. Each saving is
/// calculated by planning again.
Plan advised(Plan plan, DryRun &driver);

}  // namespace kelpo
