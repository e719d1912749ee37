#pragma once

#include <cstdint>

namespace plc {

/// Numbers that look random and are the same on every machine for the same start.
class Random {
public:
    /// Each of the three gives a row of numbers of its own.
    Random(std::uint32_t seed, std::uint32_t row, std::uint64_t place)
        : state_(scattered(scattered(seed + step) + (std::uint64_t(row) << 32 ^ place))) {}

    /// 0 to limit - 1, all about as often. `limit` is above 0.
    std::uint32_t below(std::uint32_t limit) {
        state_ += step;
        return static_cast<std::uint32_t>(scattered(state_) % limit);
    }

private:
    static constexpr std::uint64_t step = 0x9E3779B97F4A7C15u;  // odd, so that every state comes once

    // Each bit of the result depends on every bit of the value.
    static std::uint64_t scattered(std::uint64_t value) {
        value = (value ^ value >> 32) * 0xD6E8FEB86659FD93u;
        value = (value ^ value >> 32) * 0xD6E8FEB86659FD93u;
        return value ^ value >> 32;
    }

    std::uint64_t state_;
};

}  // namespace plc
