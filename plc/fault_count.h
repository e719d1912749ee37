#pragma once

#include <cstddef>
#include <cstdint>

namespace plc {

/// A controller has no more faults than this.
constexpr std::size_t max_faults = 256;

/// How often a fault came up.
struct FaultCount {
    std::uint64_t fitted = 0;    // requests that fitted it
    std::uint64_t happened = 0;  // those of them to which it happened
};

}  // namespace plc
