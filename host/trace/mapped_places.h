#pragma once

#include "host/trace/trace_record.h"

#include <optional>
#include <string>

namespace kelpo {

/// The two of the controller's tables that the address map knows (docs/address-map.md).
enum class MappedTable { coils, holding_registers };

/// The register types and numbers that the address map puts at `count` Modbus addresses from `address` on, as
/// "type 9 no. 8..9"; numbers are address texts, octal for types 0 and 1. With the `context` of a request that covers
/// the address, that request's type alone; without, every type that fits, joined by " or ", the nearest to the start
/// of its area first, at most three. Empty when none fits. Any numbers are taken.
std::string mapped_places(MappedTable table, int address, int count, const std::optional<TraceContext> &context);

/// The number of a register type as its address text: octal for types 0 and 1, from 200 on for type 13, "word.bit" for
/// types 15 to 17, decimal for all else.
std::string address_text(int type, int address);

}  // namespace kelpo
