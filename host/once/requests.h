#pragma once

#include "host/driver/variables.h"

#include <optional>
#include <vector>

namespace kelpo {

/// Requests that wait in one of the driver's queues at most; more are dropped by it.
constexpr int most_queued = ozna_kelpo::most_queued;

/// The place as it is to be read: a bit in a register (types 15 to 17) through the registers that hold it, since the
/// driver reads other registers for such a type; every other place as it is. Nothing when the driver takes no such
/// address for such a bit.
std::optional<Variable> place_to_read(const DriverEntryPoints &driver, const Variable &place);

/// `place`, one that place_to_read gave, in parts that can be queued as they are: the driver cuts what it reads once at
/// `max_count` units, and of 32-bit registers (type 13) that is more than Modbus lets one request read.
std::vector<Variable> parts_to_read(const DriverEntryPoints &driver, const Variable &place, int max_count);

/// How many requests the driver makes of reading the parts of `place` once.
int requests_of_read(const Variable &place, int max_count);

/// How many requests the driver makes of writing the whole of `place`. 0 for a place that it does not write.
int requests_of_write(const Variable &place, int max_count);

/// The record with which the driver reads `place` once.
RW_VAR once_read_record(const Variable &place, int group, int id);

}  // namespace kelpo
