#include "demo/exercises.h"

#include <string>

namespace kelpo {
namespace {

using V = View;
using K = Kind;

// From text such as "1011", the first bit leftmost.
Values bits(const std::string &text) {
    Values values;
    for (const char digit : text)
        values.push_back(digit - '0');
    return values;
}

Values counted_up(std::int64_t first, int count) {
    Values values;
    for (int i = 0; i < count; ++i)
        values.push_back(first + i);
    return values;
}

}  // namespace

Values WriteExercise::values_in_round(int round) const {
    constexpr int rounds_before_numbers_repeat = 1000;
    Values result = values;
    for (std::int64_t &value : result) {
        if (target.variable.view == View::bits)
            value = round % 2 == 0 ? value : 1 - value;
        else
            value += round % rounds_before_numbers_repeat;
    }
    return result;
}

// Where a low range ends, the high range begins in a moving zone: a write across the boundary is overwritten there at
// the next moment, but is in the controller's log. Bits of types 2 and 3 are written one by one, bits in words with a
// read of the word before each.
const std::vector<WriteExercise> &write_exercises() {
    // clang-format off
    static const std::vector<WriteExercise> exercises = {
        // name, station, type, address, count, view; where it is; whether it moves; values
        {{{"inlet release",    1,  1, "200",       1, V::bits},           K::coil,      {{128, 1}},                 false}, {1}},
        {{{"gate commands",    2,  1, "310",      10, V::bits},           K::coil,      {{200, 10}},                false}, bits("1011001011")},
        {{{"alarm reset",      1,  2, "100",       1, V::bits},           K::coil,      {{2100, 1}},                false}, {1}},
        {{{"alarm masks",      3,  2, "2046",      2, V::bits},           K::coil,      {{4046, 2}},                false}, bits("10")},
        {{{"horn releases",    2,  2, "2100",      3, V::bits},           K::coil,      {{12052, 3}},               false}, bits("011")},
        {{{"door lock",        2,  3, "60",        1, V::bits},           K::coil,      {{4460, 1}},                false}, {1}},
        {{{"door lamps",       1,  3, "300",       3, V::bits},           K::coil,      {{30044, 3}},               false}, bits("110")},
        {{{"blower on",        3,  4, "50",        1, V::bits},           K::coil,      {{6050, 1}},                false}, {1}},
        {{{"blower groups",    1,  4, "64",       12, V::bits},           K::coil,      {{6064, 12}},               false}, bits("110010100111")},
        {{{"heater on",        1,  5, "50",        1, V::bits},           K::coil,      {{8050, 1}},                false}, {1}},
        {{{"heater groups",    3,  5, "80",        9, V::bits},           K::coil,      {{8080, 9}},                false}, bits("010110101")},
        {{{"lamp on",          2,  6, "50",        1, V::bits},           K::coil,      {{9250, 1}},                false}, {1}},
        {{{"lamp pattern",     1,  6, "100",      16, V::bits},           K::coil,      {{9300, 16}},               false}, bits("1001110000101011")},
        {{{"level setpoint",   1,  7, "4900",      1, V::unsigned_words}, K::word,      {{4900, 1}},                false}, {0x1234}},
        {{{"recipe",           3,  7, "5200",      8, V::unsigned_words}, K::word,      {{5200, 8}},                false}, counted_up(300, 8)},
        {{{"profile",          1,  7, "5300",    120, V::unsigned_words}, K::word,      {{5300, 120}},              false}, counted_up(20000, 120)},
        {{{"wide curve",       2,  7, "7996",      8, V::unsigned_words}, K::word,      {{7996, 4}, {50000, 4}},    true},  counted_up(0xA0F8, 8)},
        {{{"valve setpoint",   3,  8, "200",       1, V::unsigned_words}, K::word,      {{8200, 1}},                false}, {777}},
        {{{"wide ramp",        2,  8, "250",      10, V::unsigned_words}, K::word,      {{8250, 6}, {12000, 4}},    true},  counted_up(4000, 10)},
        {{{"tank setpoint",    2,  9, "100",       1, V::unsigned_words}, K::word,      {{9100, 1}},                false}, {5005}},
        {{{"tank limits",      3, 10, "100",       3, V::unsigned_words}, K::word,      {{9600, 3}},                false}, {11, 22, 33}},
        {{{"backwash time",    1, 11, "100",       1, V::unsigned_words}, K::word,      {{8600, 1}},                false}, {60}},
        {{{"batch size",       3, 12, "5000",      2, V::unsigned_longs}, K::long_word, {{5000, 1}},                false}, {0x12345678}},
        {{{"dosing amounts",   1, 12, "5100",      4, V::unsigned_longs}, K::long_word, {{5100, 2}},                false}, {100000, 0xFEDCBA98}},
        {{{"wide totals",      2, 12, "7998",      4, V::unsigned_longs}, K::long_word, {{7998, 1}, {50000, 1}},    true},  {0x0A0B0C0D, 0x01020304}},
        {{{"hour preset",      1, 13, "300",       1, V::unsigned_longs}, K::long_word, {{9900, 1}},                false}, {0x00010002}},
        {{{"pack presets",     3, 13, "400",       4, V::unsigned_longs}, K::long_word, {{10100, 2}},               false}, {70000, 3000000000}},
        {{{"steam preset",     1, 14, "100",       2, V::unsigned_longs}, K::long_word, {{8100, 1}},                false}, {65537}},
        {{{"flow preset",      3, 14, "400",       2, V::unsigned_longs}, K::long_word, {{12144, 1}},               false}, {0x80000001}},
        {{{"mode bit",         1, 15, "4950.3",    1, V::bits},           K::word_bit,  {{4950, 1, 3}},             false}, {1}},
        {{{"mode bits",        3, 15, "4951.14",   4, V::bits},           K::word_bit,  {{4951, 4, 14}},            false}, bits("1011")},
        {{{"bit in a counter", 2, 15, "0.15",      1, V::bits},           K::word_bit,  {{0, 1, 15}},               true},  {1}},
        {{{"bit in noise",     1, 16, "7.2",       1, V::bits},           K::word_bit,  {{8007, 1, 2}},             true},  {1}},
        {{{"high bit",         3, 16, "300.0",     1, V::bits},           K::word_bit,  {{12044, 1, 0}},            false}, {1}},
        {{{"bit in a total",   3, 17, "8.15",      1, V::bits},           K::word_bit,  {{8508, 1, 15}},            true},  {1}},
    };
    // clang-format on
    return exercises;
}

const WriteExercise &read_only_exercise() {
    static const WriteExercise exercise = {{{"read-only bit", 1, 0, "1000", 1, V::bits}, K::coil, {{1712, 1}}, false},
                                           {1}};
    return exercise;
}

const std::vector<DemoRow> &once_read_exercises() {
    // clang-format off
    static const std::vector<DemoRow> exercises = {
        {{"service bits",     3, 1, "0",    8, V::bits},           K::coil,      {{0, 8}},     true},
        {{"service counter",  1, 7, "8032", 1, V::unsigned_words}, K::word,      {{50032, 1}}, true},
        {{"service levels",   2, 11, "8",   3, V::unsigned_words}, K::word,      {{8508, 3}},  true},
        {{"service total",    3, 14, "4",   2, V::unsigned_longs}, K::long_word, {{8004, 1}},  true},
        {{"service hours",    1, 13, "218", 2, V::unsigned_longs}, K::long_word, {{9736, 1}},  true},
        {{"service noise",    2, 8, "15",   1, V::unsigned_words}, K::word,      {{8015, 1}},  true},
    };
    // clang-format on
    return exercises;
}

const DemoRow &dropped_reply_exercise() {
    static const DemoRow exercise = {{"late answer", 3, 9, "8", 1, V::unsigned_words}, K::word, {{9008, 1}}, true};
    return exercise;
}

const WriteExercise &unanswered_exercise() {
    static const WriteExercise exercise = {
        {{"no answer", 3, 9, "60", 1, V::unsigned_words}, K::word, {{9060, 1}}, false}, {404}};
    return exercise;
}

}  // namespace kelpo
