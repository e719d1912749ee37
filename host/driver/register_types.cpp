#include "host/driver/register_types.h"

namespace kelpo {
namespace {

using Syntax = RegisterType::Syntax;
using TypeUnit = RegisterType::Unit;
using Writes = RegisterType::Writes;

constexpr auto coils = ModbusTable::coils;
constexpr auto holding = ModbusTable::holding_registers;
constexpr std::optional<int> one_range;

// The tests ask the driver about every row.
constexpr RegisterType register_types[] = {
    {0, Syntax::octal, TypeUnit::bit, 0, false, Writes::never, coils, 1, 1200, one_range, 0},
    {1, Syntax::octal, TypeUnit::bit, 1, false, Writes::in_blocks, coils, 1, 0, one_range, 0},
    {2, Syntax::decimal, TypeUnit::bit, 2, false, Writes::one_by_one, coils, 1, 2000, 2048, 12000},
    {3, Syntax::decimal, TypeUnit::bit, 3, false, Writes::one_by_one, coils, 1, 4400, 256, 30000},
    {4, Syntax::decimal, TypeUnit::bit, 4, false, Writes::in_blocks, coils, 1, 6000, one_range, 0},
    {5, Syntax::decimal, TypeUnit::bit, 5, false, Writes::in_blocks, coils, 1, 8000, one_range, 0},
    {6, Syntax::decimal, TypeUnit::bit, 6, false, Writes::in_blocks, coils, 1, 9200, one_range, 0},
    {7, Syntax::decimal, TypeUnit::word, 7, false, Writes::in_blocks, holding, 1, 0, 8000, 50000},
    {8, Syntax::decimal, TypeUnit::word, 8, false, Writes::in_blocks, holding, 1, 8000, 256, 12000},
    {9, Syntax::decimal, TypeUnit::word, 9, false, Writes::in_blocks, holding, 1, 9000, one_range, 0},
    {10, Syntax::decimal, TypeUnit::word, 10, false, Writes::in_blocks, holding, 1, 9500, one_range, 0},
    {11, Syntax::decimal, TypeUnit::word, 11, false, Writes::in_blocks, holding, 1, 8500, one_range, 0},
    {12, Syntax::decimal, TypeUnit::double_word, 7, false, Writes::in_blocks, holding, 1, 0, 8000, 50000},
    {13, Syntax::decimal_from_200, TypeUnit::double_word, 13, false, Writes::in_blocks, holding, 2, 9700, one_range, 0},
    {14, Syntax::decimal, TypeUnit::double_word, 8, false, Writes::in_blocks, holding, 1, 8000, 256, 12000},
    {15, Syntax::word_dot_bit, TypeUnit::bit, 7, true, Writes::one_by_one, holding, 1, 0, 8000, 50000},
    {16, Syntax::word_dot_bit, TypeUnit::bit, 8, true, Writes::one_by_one, holding, 1, 8000, 256, 12000},
    {17, Syntax::word_dot_bit, TypeUnit::bit, 11, true, Writes::one_by_one, holding, 1, 8500, one_range, 0},
};

constexpr RegisterType unknown_type{
    -1, Syntax::decimal, TypeUnit::bit, -1, false, Writes::never, coils, 1, 0, one_range, 0};

// Numbers of the class that one value of 32 bits takes.
int numbers_per_double_word(const RegisterType &type) {
    return type.modbus_per_number == 2 ? 1 : 2;
}

}  // namespace

const RegisterType &register_type(int type) {
    return is_register_type(type) ? register_types[type] : unknown_type;
}

bool is_register_type(int type) {
    return type >= 0 && type <= last_register_type;
}

NumberRange range_in_class(const RegisterType &type, std::int64_t number, int count) {
    if (type.is_bit_of_register)
        return {number / bits_in_register, (number + count - 1) / bits_in_register};
    if (type.unit == TypeUnit::double_word)
        return {number, number + std::int64_t{(count + 1) / 2} * numbers_per_double_word(type) - 1};
    return {number, number + count - 1};
}

int value_size(const RegisterType &type, int count) {
    switch (type.unit) {
    case TypeUnit::word:
        return 2 * count;
    case TypeUnit::double_word:
        return (count + 1) / 2 * 4;
    case TypeUnit::bit:
        break;
    }
    return count;
}

std::int64_t number_of_byte(const RegisterType &type, std::int64_t number, int index) {
    if (type.is_bit_of_register)
        return (number + index) / bits_in_register;
    switch (type.unit) {
    case TypeUnit::word:
        return number + index / 2;
    case TypeUnit::double_word:
        if (numbers_per_double_word(type) == 1)
            return number + index / 4;
        // Four bytes, those of the low word first; the high word has the lower number.
        return number + std::int64_t{index / 4} * 2 + (index % 4 < 2 ? 1 : 0);
    case TypeUnit::bit:
        break;
    }
    return number + index;
}

std::int64_t modbus_address(const RegisterType &type, std::int64_t number) {
    if (type.high_start && number >= *type.high_start)
        return type.high_base + (number - *type.high_start) * type.modbus_per_number;
    return type.low_base + number * type.modbus_per_number;
}

std::optional<int> number_at(const RegisterType &type, int modbus_address) {
    const int above_low = modbus_address - type.low_base;
    const bool is_low = above_low >= 0 && above_low % type.modbus_per_number == 0;
    if (is_low && (!type.high_start || above_low / type.modbus_per_number < *type.high_start))
        return above_low / type.modbus_per_number;
    if (type.high_start && modbus_address >= type.high_base)
        return *type.high_start + modbus_address - type.high_base;
    return std::nullopt;
}

}  // namespace kelpo
