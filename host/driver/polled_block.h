#pragma once

#include <chrono>

namespace kelpo {

/// A read of the driver's cyclic list.
struct PolledBlock {
    int station;
    int register_class;
    int first;  ///< first number, as the class counts
    int count;

    bool operator==(const PolledBlock &other) const {
        return station == other.station && register_class == other.register_class && first == other.first &&
               count == other.count;
    }
};

/// A block that is not in the cycle.
struct SlowBlock {
    PolledBlock block;
    std::chrono::milliseconds every;  ///< how often it is read
};

}  // namespace kelpo
