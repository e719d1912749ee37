#pragma once

#include "plc/memory/table.h"

#include <cstdint>
#include <string>
#include <vector>

namespace plc {

/// Values that a station's memory holds from the start.
struct Preset {
    unsigned station;
    Table table;
    unsigned address;                   ///< of the first value; the others follow
    std::vector<std::uint16_t> values;  ///< 0 or 1 for coils
};

/// Reads a preset from text such as "3,register,100,0x1234,-5" or "1,coil,7,1,0,1": station, coil or register, address
/// and values. The last value is at address 65535 at most. Throws std::invalid_argument, whose text names what
/// is wrong and what would be right.
Preset parse_preset(const std::string &text);

}  // namespace plc
