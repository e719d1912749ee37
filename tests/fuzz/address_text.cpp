/// \file
/// Fuzz target: address texts and the address map, at the driver's exported functions.
///
/// Input: type, station, count, then the text: bytes as Latin-1, or with the count's top bit set as UTF-16, low byte
/// first. Judged against a table of the map, and for texts of plain characters against a parser of its own.
#include "input.h"
#include "ozna_kelpo_port.h"
#include "require.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

namespace {

using fuzz::require;

enum class Syntax { octal, decimal, from_200, word_dot_bit };
enum class Count { kept, to_even, halved };

// An area of the map: its addresses below `boundary` lie at `low` + address, all others at `high` + address.
struct Area {
    std::int64_t boundary, low, high;
};

struct Row {
    Syntax syntax;
    int register_class;
    Count count;
    Area area;
    int bytes_per_unit;  // of a value: 4 stands for one value in two units
};

constexpr std::int64_t no_boundary = std::int64_t(1) << 40;
constexpr Area split_7{8000, 0, 42000}, split_8{256, 8000, 11744}, area_11{no_boundary, 8500, 0};

const Row rows[18] = {
    {Syntax::octal, 0, Count::kept, {no_boundary, 1200, 0}, 1},
    {Syntax::octal, 1, Count::kept, {no_boundary, 0, 0}, 1},
    {Syntax::decimal, 2, Count::kept, {2048, 2000, 9952}, 1},
    {Syntax::decimal, 3, Count::kept, {256, 4400, 29744}, 1},
    {Syntax::decimal, 4, Count::kept, {no_boundary, 6000, 0}, 1},
    {Syntax::decimal, 5, Count::kept, {no_boundary, 8000, 0}, 1},
    {Syntax::decimal, 6, Count::kept, {no_boundary, 9200, 0}, 1},
    {Syntax::decimal, 7, Count::kept, split_7, 2},
    {Syntax::decimal, 8, Count::kept, split_8, 2},
    {Syntax::decimal, 9, Count::kept, {no_boundary, 9000, 0}, 2},
    {Syntax::decimal, 10, Count::kept, {no_boundary, 9500, 0}, 2},
    {Syntax::decimal, 11, Count::kept, area_11, 2},
    {Syntax::decimal, 7, Count::to_even, split_7, 4},
    {Syntax::from_200, 13, Count::halved, {no_boundary, 9700, 0}, 4},
    {Syntax::decimal, 8, Count::to_even, split_8, 4},
    {Syntax::word_dot_bit, 7, Count::kept, split_7, 1},
    {Syntax::word_dot_bit, 8, Count::kept, split_8, 1},
    {Syntax::word_dot_bit, 11, Count::kept, area_11, 1},
};

bool in_map(int type) {
    return type >= 0 && type <= 17;
}

std::int32_t low_32_bits(std::int64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

std::int64_t mapped(int type, std::int64_t address) {
    const Area &area = rows[type].area;
    if (type == 13)
        return area.low + 2 * address;
    return address + (address < area.boundary ? area.low : area.high);
}

// A number with blanks around and a sign, within 32 bits.
std::optional<std::int64_t> number_in(const std::string &text, int base) {
    const char *const blanks = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return std::nullopt;
    std::string digits = text.substr(first, text.find_last_not_of(blanks) - first + 1);
    const bool negative = digits.front() == '-';
    if (negative || digits.front() == '+')
        digits.erase(0, 1);
    if (digits.empty() || digits.find_first_not_of(base == 8 ? "01234567" : "0123456789") != std::string::npos)
        return std::nullopt;
    std::int64_t value = 0;
    for (const char digit : digits)
        value = std::min(value * base + (digit - '0'), no_boundary);
    value = negative ? -value : value;
    return low_32_bits(value) == value ? std::optional<std::int64_t>(value) : std::nullopt;
}

int expected_address(int type, const std::string &text) {
    const Syntax syntax = in_map(type) ? rows[type].syntax : Syntax::decimal;
    if (syntax == Syntax::word_dot_bit) {
        const std::size_t point = text.find('.');
        if (point == std::string::npos || text.find('.', point + 1) != std::string::npos)
            return -1;
        const auto word = number_in(text.substr(0, point), 10), bit = number_in(text.substr(point + 1), 10);
        return word && bit ? low_32_bits(*word * 16 + *bit) : -1;
    }
    const auto number = number_in(text, syntax == Syntax::octal ? 8 : 10);
    if (!number)
        return -1;
    if (syntax == Syntax::from_200)
        return *number >= 200 ? static_cast<int>(*number - 200) : -1;
    return static_cast<int>(*number);
}

bool is_plain(const std::string &text) {
    for (const char character : text)
        if ((character < ' ' || character > '~') && (character < '\t' || character > '\r'))
            return false;
    return true;
}

int next_count(const Row &row, int count) {
    switch (row.count) {
    case Count::to_even:
        return count + (count & 1);
    case Count::halved:
        return (count + 1) / 2;
    case Count::kept:
        break;
    }
    return count;
}

void judge_map(int type, int address, int count) {
    const Row &row = rows[type];
    require(PLC_driver.get_plc_reg(type) == row.register_class, "the class of the type");

    RW_VAR var;
    var.reg_type = type;
    var.reg_count = count;
    PLC_driver.update_info(&var);
    require(var.reg_type == row.register_class && var.reg_count == next_count(row, count), "the folded record");

    const int place = type >= 15 ? address / 16 : address;
    int offset = place;
    PLC_driver.get_offset_address(type, offset);
    require(offset == low_32_bits(mapped(type, place)), "the Modbus address");
}

void judge_value(int type, const QString &text, bool is_address, int station, int count) {
    QByteArray out("what stood there before");
    const int taken = GetRegisterData(QString(), type, text, station, out, count);
    const int bytes = rows[type].bytes_per_unit;
    const int size = !is_address ? 2 * count : bytes == 4 ? (count + 1) / 2 * 4 : count * bytes;
    require(taken == (is_address ? 1 : 0), "a value is given for an address, and for nothing else");
    require(out == QByteArray(size, '\0'), "a value that was never read is so many zeros");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int type = static_cast<signed char>(input.byte());
    const int station = input.byte();
    const int choice = input.byte();
    const bool wide = (choice & 0x80) != 0;
    const int count = choice & 0x7F;
    static ComInfo block = {};
    SetComInfo(&block);
    QString text;
    std::string plain;
    while (!input.ended()) {
        const std::uint16_t character = wide ? input.word() : input.byte();
        text += QChar(character);
        plain += character < 0x80 ? static_cast<char>(character) : '\x7F';
    }

    const int address = PLCAddressChangeIntef(type, text);
    require(address == StringAddressToInt(type, text), "both functions give the same address");
    if (is_plain(plain))
        require(address == expected_address(type, plain), "the address that the text names");
    if (in_map(type)) {
        judge_value(type, text, address >= 0, station, count);
        if (address >= 0)
            judge_map(type, address, count);
    } else {
        int offset = address;
        PLC_driver.get_offset_address(type, offset);
        require(offset == address && PLC_driver.get_plc_reg(type) == type, "a type that is none changes nothing");
    }
    return 0;
}
