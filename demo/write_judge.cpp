#include "demo/write_judge.h"

#include "demo/judge.h"

#include <algorithm>
#include <map>
#include <optional>

namespace kelpo {
namespace {

// What a write should make of one address: the bits in `mask` become those of `bits`.
struct Expected {
    std::uint32_t mask = 0;
    std::uint32_t bits = 0;
    std::optional<std::uint16_t> last_written;
};
using ExpectedByAddress = std::map<unsigned, Expected>;

constexpr std::uint32_t whole_word = 0xFFFF;

void expect(ExpectedByAddress &all, int address, std::uint32_t mask, std::uint32_t bits) {
    Expected &expected = all[static_cast<unsigned>(address)];
    expected.mask |= mask;
    expected.bits |= bits;
}

void expect_value(ExpectedByAddress &all, Kind kind, const Place &place, int index, std::uint32_t value) {
    switch (kind) {
    case Kind::coil:
    case Kind::word:
        expect(all, place.modbus_address + index, whole_word, value & whole_word);
        return;
    case Kind::long_word:
        expect(all, place.modbus_address + 2 * index, whole_word, value >> 16);
        expect(all, place.modbus_address + 2 * index + 1, whole_word, value & whole_word);
        return;
    case Kind::word_bit:
        break;
    }
    const int bit = place.first_bit + index;
    expect(all, place.modbus_address + bit / 16, 1U << bit % 16, value << bit % 16);
}

ExpectedByAddress expected_of(const DemoRow &target, const Values &values) {
    ExpectedByAddress all;
    auto next = values.begin();
    for (const Place &place : target.places)
        for (int index = 0; index < place.values; ++index)
            expect_value(all, target.kind, place, index, static_cast<std::uint32_t>(*next++));
    return all;
}

// Whether the word is `held` with one of the expected bits set as expected, and no other change.
bool changes_one_bit(const Expected &expected, std::uint32_t held, std::uint32_t written) {
    for (std::uint32_t bit = 1; bit < whole_word; bit <<= 1)
        if ((expected.mask & bit) != 0 && written == ((held & ~bit) | (expected.bits & bit)))
            return true;
    return false;
}

bool merges_one_bit(const Expected &expected, const LoggedWrite &write, const ControllerMemory &memory) {
    if (changes_one_bit(expected, write.before, write.after))
        return true;
    const auto read = write.moment == 0 ? std::nullopt
                                        : memory.holding_register(static_cast<int>(write.station),
                                                                  static_cast<int>(write.address), write.moment - 1);
    return read && changes_one_bit(expected, *read, write.after);
}

std::string text_of(const LoggedWrite &write) {
    return "the controller's log has " + std::to_string(write.before) + " -> " + std::to_string(write.after) + " in " +
           (write.table == plc::Table::coils ? "coil " : "register ") + std::to_string(write.address) + " of station " +
           std::to_string(write.station);
}

bool is_as_expected(const DemoRow &target, const Expected &expected, const LoggedWrite &write,
                    const ControllerMemory &memory) {
    if (target.kind == Kind::word_bit)
        return merges_one_bit(expected, write, memory);
    return write.after == expected.bits;
}

bool holds_now(const DemoRow &target, const Values &values, const ControllerMemory &memory) {
    const Moment now = memory.moment();
    return Judge(memory).judge(target, values, {now, memory.moment()}) == Verdict::right;
}

}  // namespace

std::string fault_of_write(const DemoRow &target, const Values &values, const std::vector<LoggedWrite> &log,
                           const ControllerMemory &memory) {
    ExpectedByAddress all = expected_of(target, values);
    const auto table = target.kind == Kind::coil ? plc::Table::coils : plc::Table::registers;
    for (const LoggedWrite &write : log) {
        const auto expected = all.find(write.address);
        const bool meant =
            static_cast<int>(write.station) == target.variable.station && write.table == table && expected != all.end();
        if (!meant || !is_as_expected(target, expected->second, write, memory))
            return text_of(write);
        expected->second.last_written = write.after;
    }
    for (const auto &[address, expected] : all)
        if (!expected.last_written || (*expected.last_written & expected.mask) != expected.bits)
            return "the controller's log has no such write to address " + std::to_string(address);
    if (!target.moves && !holds_now(target, values, memory))
        return "the controller does not hold the value";
    return std::string();
}

}  // namespace kelpo
