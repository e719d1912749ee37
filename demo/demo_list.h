#pragma once

#include "host/driver/variable.h"

#include <vector>

namespace kelpo {

/// How a variable's values are stored in the controller.
enum class Kind {
    coil,       ///< a value is a coil
    word,       ///< a value is a holding register
    long_word,  ///< a value takes two holding registers, the high word at the lower address
    word_bit    ///< a value is a bit of a holding register
};

/// Adjacent values of a variable that come with one reply.
struct Place {
    int modbus_address;  ///< of the first value
    int values;          ///< how many
    int first_bit = 0;   ///< for Kind::word_bit: the first value's bit, 0 the lowest
};

/// One variable of the demonstration, with what a judge must know about it.
struct DemoRow {
    Variable variable;
    Kind kind;
    std::vector<Place> places;
    bool moves;  ///< the controller changes the value every few moments
};

/// The demonstration's variables: every register type, low and high ranges, three stations. The Modbus addresses are
/// written out by hand, so that they can disagree with the driver.
const std::vector<DemoRow> &demo_list();

}  // namespace kelpo
