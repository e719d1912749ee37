#include "register_types.h"

#include "ozna_kelpo_constants.h"

namespace {

const int most_bits = ozna_kelpo::most_bits_per_block;
const int most_values = ozna_kelpo::most_double_words;
const int no_limit = no_block_limit;
const int one_range = no_high_range;

}  // namespace

const RegisterType register_types[register_type_count] = {
    // class, address text, count, unit, writes, block factor and limit, width, low base, high range starts, high base
    {0, OctalNumber, CountAsGiven, Bit, NotWritable, 8, most_bits, 1, 1200, one_range, 1200},                     // 0
    {1, OctalNumber, CountAsGiven, Bit, InGroups, 8, most_bits, 1, 0, one_range, 0},                              // 1
    {2, DecimalNumber, CountAsGiven, Bit, OneByOne, 8, most_bits, 1, 2000, 2048, 9952},                           // 2
    {3, DecimalNumber, CountAsGiven, Bit, OneByOne, 8, most_bits, 1, 4400, 256, 29744},                           // 3
    {4, DecimalNumber, CountAsGiven, Bit, InGroups, 8, most_bits, 1, 6000, one_range, 6000},                      // 4
    {5, DecimalNumber, CountAsGiven, Bit, InGroups, 8, most_bits, 1, 8000, one_range, 8000},                      // 5
    {6, DecimalNumber, CountAsGiven, Bit, InGroups, 8, most_bits, 1, 9200, one_range, 9200},                      // 6
    {7, DecimalNumber, CountAsGiven, Word, InGroups, 1, no_limit, 1, 0, 8000, 42000},                             // 7
    {8, DecimalNumber, CountAsGiven, Word, InGroups, 1, no_limit, 1, 8000, 256, 11744},                           // 8
    {9, DecimalNumber, CountAsGiven, Word, InGroups, 1, no_limit, 1, 9000, one_range, 9000},                      // 9
    {10, DecimalNumber, CountAsGiven, Word, InGroups, 1, no_limit, 1, 9500, one_range, 9500},                     // 10
    {11, DecimalNumber, CountAsGiven, Word, InGroups, 1, no_limit, 1, 8500, one_range, 8500},                     // 11
    {7, DecimalNumber, CountRoundedUpToEven, WordPair, InGroups, 1, no_limit, 1, 0, 8000, 42000},                 // 12
    {13, DecimalFrom200, CountHalvedRoundingUp, DoubleWord, InGroups, 1, most_values, 2, 9700, one_range, 9700},  // 13
    {8, DecimalNumber, CountRoundedUpToEven, WordPair, InGroups, 1, no_limit, 1, 8000, 256, 11744},               // 14
    {7, WordDotBit, CountAsGiven, BitOfWord, OneByOne, 1, no_limit, 1, 0, 8000, 42000},                           // 15
    {8, WordDotBit, CountAsGiven, BitOfWord, OneByOne, 1, no_limit, 1, 8000, 256, 11744},                         // 16
    {11, WordDotBit, CountAsGiven, BitOfWord, OneByOne, 1, no_limit, 1, 8500, one_range, 8500},                   // 17
};
