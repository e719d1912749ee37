#pragma once

#include "host/driver_library.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kelpo {

/// The values of a variable, in the order of their addresses.
using Values = std::vector<std::int64_t>;

/// How the value bytes of a variable are to be read. The register type decides which views fit: bits for types 0 to 6
/// and 15 to 17, words for 7 to 11, longs for 12 to 14.
enum class View {
    bits,            ///< one byte per bit, 0 or 1
    unsigned_words,  ///< two bytes per value
    signed_words,    ///< two bytes per value, two's complement
    unsigned_longs,  ///< four bytes per value
    signed_longs     ///< four bytes per value, two's complement
};

/// One variable of the host's screens.
struct Variable {
    std::string name;
    int station;          ///< 1 to 247
    int type;             ///< register type code 0 to 17
    std::string address;  ///< in the syntax of the register type
    int count;            ///< bits, or 16-bit registers also where a value takes two of them
    View view;
};

/// The values that lie in `bytes` (low byte first, as the driver hands them out). A rest too short for a value is left
/// out.
Values values_in(View view, const QByteArray &bytes);

/// The values as a screen shows them: bits in a row, first bit leftmost; numbers in decimal with blanks between.
std::string text_of(View view, const Values &values);

/// The bytes of the values, as the driver takes them: the reverse of values_in.
QByteArray bytes_of(View view, const Values &values);

/// What the driver shows for the variable at this moment, from its cache.
Values shown_by(const DriverEntryPoints &driver, const Variable &variable);

/// The variables as the driver's ReCreatReadVarList takes them.
QList<HOST_VAR> polled(const std::vector<Variable> &variables);

}  // namespace kelpo
