#pragma once

#include "host/driver/register_types.h"
#include "host/frames/trace_record.h"

#include <optional>
#include <string>

namespace kelpo {

/// The register types and numbers that the address map puts at `count` Modbus addresses from `address` on, as
/// "type 9 no. 8..9"; numbers are address texts, octal for types 0 and 1. With the `context` of a request that covers
/// the address, only that request's type; without, every type that fits, joined by " or ", the nearest to the start of
/// its area first, at most three. Empty when none fits. Any numbers are allowed.
std::string mapped_places(ModbusTable table, int address, int count, const std::optional<TraceContext> &context);

}  // namespace kelpo
