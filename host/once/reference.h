#pragma once

#include "host/driver/variable.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace kelpo {

/// A place in a controller, and perhaps the values to be written there, as a user types them on the command line.
struct Reference {
    Variable place;  ///< its name is the text up to the values; its count is in bits or registers
    Values values;   ///< to be written, one for each value of the place; empty when there were none
};

/// A text that is not a reference; what() says what is wrong and what would be right.
class ReferenceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The reference that `text` means: STATION:TYPE:ADDRESS[xCOUNT][/VIEW][=VALUE[,VALUE...]].
///
/// STATION is 1 to 247 and may be left out, with its colon, when `station` is given. TYPE is a register type, 0 to 17.
/// ADDRESS is taken unchanged: only the driver knows whether it is valid. COUNT counts values: bits, registers, or with
/// a view of 32 bits pairs of registers; without it there are as many as values given, or one. VIEW is a name that
/// view_named takes. One value for several places goes to all of them.
///
/// Throws ReferenceError.
Reference reference_from(const std::string &text, std::optional<int> station);

}  // namespace kelpo
