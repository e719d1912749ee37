#pragma once

#include "host/driver/driver_queries.h"
#include "host/driver/variable.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// The most requests that one of the driver's queues holds. The driver drops what does not fit, without a report.
extern const int most_queued;

/// The place to read: for a bit in a register (types 15 to 17) the registers that hold it, since the driver reads other
/// registers for such a type; any other place unchanged. Nothing when the driver does not accept the address of such a
/// bit.
std::optional<Variable> place_to_read(const DriverQueries &driver, const Variable &place);

/// The same for each of them; a place without an address is not changed.
std::vector<Variable> places_to_read(const DriverQueries &driver, const std::vector<Variable> &places);

/// `place`, which comes from place_to_read, in parts that can be queued unchanged, each for one request. The driver
/// cuts once-reads at `max_count` units itself, but without regard to values of two registers, and for 32-bit registers
/// (type 13) that is more than one Modbus request may read.
std::vector<Variable> parts_to_read(const DriverQueries &driver, const Variable &place, int max_count);

/// A part of a variable, and which of the variable's bytes is its first.
struct VariablePart {
    Variable variable;
    int first_byte;
};

/// The least part of `variable`, whose address has this `number`, that holds all its bytes of the numbers `first` to
/// `last` of its class, both of which it covers.
VariablePart part_around(const Variable &variable, int number, std::int64_t first, std::int64_t last);

/// How many requests the driver makes to read the parts of `place` once.
int requests_of_read(const Variable &place, int max_count);

/// How many requests the driver makes to write the whole of `place`. 0 for a place that it does not write.
int requests_of_write(const Variable &place, int max_count);

/// A write for which the driver makes one request.
struct WritePart {
    int station;
    int type;             ///< register type
    std::string address;  ///< in the syntax of the type
    int count;            ///< bits, or 16-bit registers
    std::string bytes;    ///< the value, low byte first
};

/// The write of `values`, one for each value of `place`, in parts for each of which the driver makes one request: cut
/// where the driver would cut the whole. `place` has an address that the driver accepts. Nothing for a type that the
/// driver does not write.
std::vector<WritePart> parts_of_write(const DriverQueries &driver, const Variable &place, const Values &values,
                                      int max_count);

}  // namespace kelpo
