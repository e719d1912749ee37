#pragma once

#include <cstddef>
#include <cstdint>

namespace plc {

/// The two tables of values that each station has.
enum class Table : std::uint8_t {
    coils = 0,     ///< values 0 and 1
    registers = 1  ///< holding registers
};

constexpr std::size_t table_count = 2;

/// Each table has addresses 0 to 65535.
constexpr std::size_t address_count = 65536;

}  // namespace plc
