#pragma once

#include "host/driver/variables.h"
#include "host/plan/dry_run.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace kelpo {

/// Milliseconds with one decimal: "12.3".
std::string milliseconds_text(std::chrono::nanoseconds time);

/// "1 request", "2 requests".
std::string counted(std::int64_t count, const std::string &one);
std::string counted(std::int64_t count, const std::string &one, const std::string &several);

/// "7", or "7 to 19".
std::string range_text(std::int64_t first, std::int64_t count);

/// "station 1, type 7, address 100".
std::string place_of(const Variable &variable);

/// What a unit of the request is: "bit" or "register".
std::string unit_of(const PlannedRequest &request);

/// "01 03 00 64 00 0A 85 D2".
std::string hex_text(const PlannedRequest &request);

}  // namespace kelpo
