#pragma once

#include "host/driver/variables.h"

#include <optional>

namespace kelpo {

/// Requests that wait in one of the driver's queues at most; more are dropped by it.
constexpr int most_queued = 1024;

/// The place as it is to be read: a bit in a register (types 15 to 17) through the registers that hold it, since the
/// driver reads other registers for such a type; every other place as it is. Nothing when the driver takes no such
/// address for such a bit.
std::optional<Variable> place_to_read(const DriverEntryPoints &driver, const Variable &place);

/// How many requests the driver makes of reading `place` once, in one that place_to_read gave.
int requests_of_read(const Variable &place, int max_count);

/// How many requests the driver makes of writing the whole of `place`. 0 for a place that it does not write.
int requests_of_write(const Variable &place, int max_count);

/// The record with which the driver reads `place` once.
RW_VAR once_read_record(const Variable &place, int group, int id);

}  // namespace kelpo
