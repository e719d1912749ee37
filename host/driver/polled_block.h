#pragma once

namespace kelpo {

/// A read of the driver's cyclic list.
struct PolledBlock {
    int station;
    int register_class;
    int first;  ///< first number, as the class counts
    int count;
};

}  // namespace kelpo
