#pragma once

#include "plc/memory/moving_values.h"
#include "plc/memory/preset.h"
#include "plc/memory/table.h"

#include <cstdint>
#include <vector>

namespace plc {

/// What a request has written to a station.
struct Change {
    Table table;
    unsigned address;                   ///< of the first value written
    std::vector<std::uint16_t> before;  ///< what this address and those after it held until then
};

/// What one station holds. Everything outside the moving zones is zero until it is written.
class StationMemory {
public:
    /// Begins with the moving zones at moment 0. `station` is 1 to 247.
    explicit StationMemory(unsigned station);

    /// Gives every address in the moving zones its value at `moment`, over what was written there.
    void move_to(Moment moment);

    /// Stores the values of a preset; the station that it names does not matter.
    void put(const Preset &preset);

    unsigned station() const {
        return station_;
    }

    /// The value at this address, below address_count.
    std::uint16_t value(Table table, unsigned address) const {
        return table == Table::coils ? coils[address] : registers[address];
    }

    std::vector<std::uint8_t> coils;       ///< one for each address, 0 or 1
    std::vector<std::uint16_t> registers;  ///< one for each address

private:
    void store(Table table, unsigned address, std::uint16_t value);

    unsigned station_;
};

}  // namespace plc
