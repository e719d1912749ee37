#include "demo/demo_list.h"

namespace kelpo {

// Variables of types 15 to 17 (bits in words): the driver polls the register whose number is word x 16 + bit, but
// answers from the word itself. So the list polls the word as well, through a variable of type 7, 8 or 11, wherever
// bits of it are shown.
//
// A variable has two places where its values come with two replies: where a low range ends and the high range begins at
// another Modbus address (2048 of type 2, 256 of types 3 and 8, 8000 of type 7), and where a block has reached its
// greatest length (100 words or 160 bits after a "spare" variable that opens it).
const std::vector<DemoRow> &demo_list() {
    using V = View;
    using K = Kind;
    // clang-format off
    static const std::vector<DemoRow> rows = {
        // name, station, type, address, count, view; where it is in the controller; whether it moves

        // Station 1: every register type once at least.
        {{"pump 1 runs",       1,  0, "0",     1, V::bits},           K::coil,      {{1200, 1}},                   true},
        {{"pump 2 runs",       1,  0, "17",    1, V::bits},           K::coil,      {{1215, 1}},                   true},
        {{"filter valves",     1,  0, "20",    8, V::bits},           K::coil,      {{1216, 8}},                   true},
        {{"inlet gates",       1,  1, "10",    8, V::bits},           K::coil,      {{8, 8}},                      true},
        {{"float switches",    1,  2, "0",     8, V::bits},           K::coil,      {{2000, 8}},                   true},
        {{"basin alarms",      1,  2, "2044",  8, V::bits},           K::coil,      {{4044, 4}, {12000, 4}},       true},
        {{"siren",             1,  2, "2050",  1, V::bits},           K::coil,      {{12002, 1}},                  true},
        {{"doors",             1,  3, "3",     4, V::bits},           K::coil,      {{4403, 4}},                   true},
        {{"blowers",           1,  4, "16",    8, V::bits},           K::coil,      {{6016, 8}},                   true},
        {{"heaters",           1,  5, "2",     8, V::bits},           K::coil,      {{8002, 8}},                   true},
        {{"lamp test",         1,  6, "39",    1, V::bits},           K::coil,      {{9239, 1}},                   true},
        {{"inflow pulses",     1,  7, "0",     1, V::unsigned_words}, K::word,      {{0, 1}},                      true},
        {{"basin level",       1,  7, "1",     1, V::unsigned_words}, K::word,      {{1, 1}},                      true},
        {{"outdoor temp",      1,  7, "2",     1, V::signed_words},   K::word,      {{2, 1}},                      true},
        {{"plant number",      1,  7, "3",     1, V::unsigned_words}, K::word,      {{3, 1}},                      false},
        {{"gate stepper",      1,  7, "6",     1, V::unsigned_words}, K::word,      {{6, 1}},                      true},
        {{"gate positions",    1, 15, "6.4",   8, V::bits},           K::word_bit,  {{6, 8, 4}},                   true},
        {{"pulse, lowest bit", 1, 15, "0.0",   1, V::bits},           K::word_bit,  {{0, 1, 0}},                   true},
        {{"shift counters",    1,  7, "7999",  2, V::unsigned_words}, K::word,      {{7999, 1}, {50000, 1}},       true},
        {{"turbidity",         1,  7, "8002",  1, V::signed_words},   K::word,      {{50002, 1}},                  true},
        {{"inflow total",      1, 12, "4",     2, V::unsigned_longs}, K::long_word, {{4, 1}},                      true},
        {{"energy total",      1, 12, "8004",  2, V::unsigned_longs}, K::long_word, {{50004, 1}},                  true},
        {{"hours by level",    1, 13, "200",   2, V::unsigned_longs}, K::long_word, {{9700, 1}},                   true},
        {{"dosing total",      1, 13, "202",   2, V::signed_longs},   K::long_word, {{9704, 1}},                   true},
        {{"valve cycles",      1,  8, "0",     1, V::unsigned_words}, K::word,      {{8000, 1}},                   true},
        {{"cycle bits",        1, 16, "0.0",   4, V::bits},           K::word_bit,  {{8000, 4, 0}},                true},
        {{"line pressures",    1,  8, "255",   2, V::unsigned_words}, K::word,      {{8255, 1}, {12000, 1}},       true},
        {{"outflow total",     1, 14, "4",     2, V::unsigned_longs}, K::long_word, {{8004, 1}},                   true},
        {{"tank temp",         1,  9, "2",     1, V::signed_words},   K::word,      {{9002, 1}},                   true},
        {{"tank level",        1, 10, "1",     1, V::unsigned_words}, K::word,      {{9501, 1}},                   true},
        {{"backwash count",    1, 11, "0",     1, V::unsigned_words}, K::word,      {{8500, 1}},                   true},
        {{"backwash bits",     1, 17, "0.0",   8, V::bits},           K::word_bit,  {{8500, 8, 0}},                true},

        // Station 2: blocks that the longest request cuts in two, beside the ends of the low ranges.
        {{"mixer runs",        2,  0, "37",    1, V::bits},           K::coil,      {{1231, 1}},                   true},
        {{"lid closed",        2,  1, "0",     1, V::bits},           K::coil,      {{0, 1}},                      true},
        {{"spare input",       2,  2, "1900",  1, V::bits},           K::coil,      {{3900, 1}},                   false},
        {{"dosing valves",     2,  2, "2056",  8, V::bits},           K::coil,      {{12008, 4}, {12012, 4}},      true},
        {{"agitators",         2,  3, "252",   8, V::bits},           K::coil,      {{4652, 4}, {30000, 4}},       true},
        {{"cooling fans",      2,  5, "24",    8, V::bits},           K::coil,      {{8024, 8}},                   true},
        {{"batch and weight",  2,  7, "8",     2, V::unsigned_words}, K::word,      {{8, 2}},                      true},
        {{"viscosity",         2,  7, "15",    1, V::unsigned_words}, K::word,      {{15, 1}},                     true},
        {{"viscosity bits",    2, 15, "15.0",  8, V::bits},           K::word_bit,  {{15, 8, 0}},                  true},
        {{"spare word",        2,  7, "7910",  1, V::unsigned_words}, K::word,      {{7910, 1}},                   false},
        {{"recipe and trend",  2,  7, "8009",  2, V::signed_words},   K::word,      {{50009, 1}, {50010, 1}},      true},
        {{"batch total",       2, 12, "12",    2, V::signed_longs},   K::long_word, {{12, 1}},                     true},
        {{"valve stepper",     2,  8, "262",   1, V::unsigned_words}, K::word,      {{12006, 1}},                  true},
        {{"valve positions",   2, 16, "262.0", 8, V::bits},           K::word_bit,  {{12006, 8, 0}},               true},
        {{"steam total",       2, 14, "260",   2, V::unsigned_longs}, K::long_word, {{12004, 1}},                  true},
        {{"water total",       2, 13, "206",   2, V::unsigned_longs}, K::long_word, {{9712, 1}},                   true},
        {{"motor current",     2,  9, "7",     1, V::unsigned_words}, K::word,      {{9007, 1}},                   true},
        {{"jacket temp",       2, 10, "10",    1, V::signed_words},   K::word,      {{9510, 1}},                   true},

        // Station 3: the same for the short ranges.
        {{"belt runs",         3,  0, "7",     1, V::bits},           K::coil,      {{1207, 1}},                   true},
        {{"spare sensor",      3,  3, "100",   1, V::bits},           K::coil,      {{4500, 1}},                   false},
        {{"light barriers",    3,  3, "256",   8, V::bits},           K::coil,      {{30000, 4}, {30004, 4}},      true},
        {{"ejectors",          3,  4, "32",    8, V::bits},           K::coil,      {{6032, 8}},                   true},
        {{"stack lights",      3,  6, "0",     8, V::bits},           K::coil,      {{9200, 8}},                   true},
        {{"belt speed",        3,  7, "8001",  1, V::unsigned_words}, K::word,      {{50001, 1}},                  true},
        {{"spare register",    3,  8, "160",   1, V::unsigned_words}, K::word,      {{8160, 1}},                   false},
        {{"line and pallets",  3,  8, "259",   2, V::unsigned_words}, K::word,      {{12003, 1}, {12004, 1}},      true},
        {{"code scanner",      3, 11, "7",     1, V::unsigned_words}, K::word,      {{8507, 1}},                   true},
        {{"scanner flags",     3, 17, "7.8",   8, V::bits},           K::word_bit,  {{8507, 8, 8}},                true},
        {{"packs by speed",    3, 13, "204",   2, V::unsigned_longs}, K::long_word, {{9708, 1}},                   true},
        {{"packs total",       3, 12, "4",     2, V::signed_longs},   K::long_word, {{4, 1}},                      true},
    };
    // clang-format on
    return rows;
}

}  // namespace kelpo
