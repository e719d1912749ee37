#pragma once

#include <cstdint>
#include <vector>

#include "plc/moment.h"
#include "plc/presets.h"

namespace plc {

/// What one station holds. Everything outside the moving zones is zero until it is written.
class StationMemory {
public:
    /// Begins with the moving zones at moment 0. `station` is 1 to 247.
    explicit StationMemory(unsigned station);

    /// Gives every place in the moving zones its value at `moment`, over what was written there.
    void move_to(Moment moment);

    /// Stores the values of a preset, whose station does not matter here.
    void put(const Preset &preset);

    unsigned station() const {
        return station_;
    }

    /// 65536 coils, a byte each, 0 or 1.
    std::vector<std::uint8_t> coils;

    /// 65536 holding registers.
    std::vector<std::uint16_t> registers;

private:
    unsigned station_;
};

}  // namespace plc
