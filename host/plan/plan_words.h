#pragma once

#include "host/driver/dry_run.h"
#include "host/driver/variable.h"

#include <string>

namespace kelpo {

/// "station 1, type 7, address 100".
std::string place_of(const Variable &variable);

/// What a unit of the request is: "bit" or "register".
std::string unit_of(const PlannedRequest &request);

}  // namespace kelpo
