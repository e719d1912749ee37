#pragma once

#include "host/driver/driver_queries.h"
#include "host/driver/variable.h"

#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// Requests that one of the driver's queues holds at most. What does not fit, the driver drops without a report.
extern const int most_queued;

/// The place as it is to be read: a bit in a register (types 15 to 17) through the registers that hold it, since the
/// driver reads other registers for such a type; every other place as it is. Nothing when the driver takes no such
/// address for such a bit.
std::optional<Variable> place_to_read(const DriverQueries &driver, const Variable &place);

/// The same for each of them; a place without an address stays as it is.
std::vector<Variable> places_to_read(const DriverQueries &driver, const std::vector<Variable> &places);

/// `place`, one that place_to_read gave, in parts that can be queued as they are: the driver cuts what it reads once at
/// `max_count` units, and of 32-bit registers (type 13) that is more than Modbus lets one request read.
std::vector<Variable> parts_to_read(const DriverQueries &driver, const Variable &place, int max_count);

/// How many requests the driver makes of reading the parts of `place` once.
int requests_of_read(const Variable &place, int max_count);

/// How many requests the driver makes of writing the whole of `place`. 0 for a place that it does not write.
int requests_of_write(const Variable &place, int max_count);

/// A write that the driver makes one request of.
struct WritePart {
    int station;
    int type;             ///< register type
    std::string address;  ///< in the syntax of the type
    int count;            ///< bits, or 16-bit registers
    std::string bytes;    ///< the value, low byte first
};

/// The write of `values`, one for each value of `place`, in parts of which the driver makes one request each: cut where
/// the driver would cut the whole. `place` has an address that the driver takes. Nothing for a type that the driver
/// does not write.
std::vector<WritePart> parts_of_write(const DriverQueries &driver, const Variable &place, const Values &values,
                                      int max_count);

}  // namespace kelpo
