#include "register_types.h"

const RegisterType register_types[register_type_count] = {
    // class, address text, count, unit, writes, width, low base, high range starts, high base
    {0, OctalNumber, CountAsGiven, Bit, NotWritable, 1, 1200, no_high_range, 1200},                   // 0
    {1, OctalNumber, CountAsGiven, Bit, InGroups, 1, 0, no_high_range, 0},                            // 1
    {2, DecimalNumber, CountAsGiven, Bit, OneByOne, 1, 2000, 2048, 9952},                             // 2
    {3, DecimalNumber, CountAsGiven, Bit, OneByOne, 1, 4400, 256, 29744},                             // 3
    {4, DecimalNumber, CountAsGiven, Bit, InGroups, 1, 6000, no_high_range, 6000},                    // 4
    {5, DecimalNumber, CountAsGiven, Bit, InGroups, 1, 8000, no_high_range, 8000},                    // 5
    {6, DecimalNumber, CountAsGiven, Bit, InGroups, 1, 9200, no_high_range, 9200},                    // 6
    {7, DecimalNumber, CountAsGiven, Word, InGroups, 1, 0, 8000, 42000},                              // 7
    {8, DecimalNumber, CountAsGiven, Word, InGroups, 1, 8000, 256, 11744},                            // 8
    {9, DecimalNumber, CountAsGiven, Word, InGroups, 1, 9000, no_high_range, 9000},                   // 9
    {10, DecimalNumber, CountAsGiven, Word, InGroups, 1, 9500, no_high_range, 9500},                  // 10
    {11, DecimalNumber, CountAsGiven, Word, InGroups, 1, 8500, no_high_range, 8500},                  // 11
    {7, DecimalNumber, CountRoundedUpToEven, WordPair, InGroups, 1, 0, 8000, 42000},                  // 12
    {13, DecimalFrom200, CountHalvedRoundingUp, DoubleWord, InGroups, 2, 9700, no_high_range, 9700},  // 13
    {8, DecimalNumber, CountRoundedUpToEven, WordPair, InGroups, 1, 8000, 256, 11744},                // 14
    {7, WordDotBit, CountAsGiven, BitOfWord, OneByOne, 1, 0, 8000, 42000},                            // 15
    {8, WordDotBit, CountAsGiven, BitOfWord, OneByOne, 1, 8000, 256, 11744},                          // 16
    {11, WordDotBit, CountAsGiven, BitOfWord, OneByOne, 1, 8500, no_high_range, 8500},                // 17
};
