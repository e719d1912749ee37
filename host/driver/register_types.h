#pragma once

#include <cstdint>
#include <optional>

namespace kelpo {

constexpr int last_register_type = 17;
constexpr int bits_in_register = 16;

/// One of the two tables of a controller that the address map knows (docs/address-map.md).
enum class ModbusTable { coils, holding_registers };

/// How the driver treats a register type: the only place in the host where its rules are written down. A register type
/// says how an address is written, what one unit is, and where it is in the controller. A register class is the type
/// whose numbers it shares: the driver polls and keeps values by class.
struct RegisterType {
    enum class Syntax { octal, decimal, decimal_from_200, word_dot_bit };
    enum class Unit {
        bit,         ///< one byte in the driver's value bytes
        word,        ///< a 16-bit register, two bytes
        double_word  ///< 32 bits, four bytes; counts are in 16-bit registers, two for each value
    };
    enum class Writes { never, one_by_one, in_blocks };

    int type;
    Syntax syntax;
    Unit unit;
    int register_class;
    bool is_bit_of_register;  ///< its number is register x 16 + bit
    Writes writes;
    ModbusTable table;
    int modbus_per_number;          ///< Modbus addresses that one number of the class takes: 1 or 2
    int low_base;                   ///< Modbus address of number 0
    std::optional<int> high_start;  ///< the first number that is elsewhere, if there is one
    int high_base;                  ///< its Modbus address
};

/// The rules of `type`, 0 to 17; for any other number those of a decimal coil that cannot be written, which is how the
/// driver treats it.
const RegisterType &register_type(int type);

/// True for 0 to 17.
bool is_register_type(int type);

/// The numbers of a register class that a place covers, both ends included.
struct NumberRange {
    std::int64_t first;
    std::int64_t last;
};

/// What `count` units of `type` from `number` on cover: for bits in registers, the registers.
NumberRange range_in_class(const RegisterType &type, std::int64_t number, int count);

/// Bytes that the driver holds for `count` units.
int value_size(const RegisterType &type, int count);

/// Which number of the class holds byte `index` of the value at `number`.
std::int64_t number_of_byte(const RegisterType &type, std::int64_t number, int index);

/// The Modbus address of a number of the class. Not cut to the 16 bits that a frame has for it.
std::int64_t modbus_address(const RegisterType &type, std::int64_t number);

/// The number of the class that is at a Modbus address; nothing when there is none.
std::optional<int> number_at(const RegisterType &type, int modbus_address);

}  // namespace kelpo
