// What write records store in the cache. What the host reads back is tested in register_cache_test and
// host_access_test.
#include "store/register_cache.h"

#include "exchange.h"

using support::bytes;
using support::DriverTest;
using support::entries;
using support::int_max;
using support::int_min;
using support::TightBytes;
using support::write_var;

namespace {

class CacheWrite : public DriverTest {
protected:
    static std::string bits() {
        return entries(PLC_driver.bit_cache);
    }

    static std::string words() {
        return entries(PLC_driver.word_cache);
    }

    static std::string dwords() {
        return entries(PLC_driver.dword_cache);
    }

    // The cache after one write alone. Only the bytes given can be read.
    static void store(int type, int addr, int count, const char *value, int station = 1) {
        support::clear_caches();
        const TightBytes tight{bytes(value)};
        WriteDataToLocal(write_var(type, addr, count, tight.borrowed(), station));
    }
};

// ---- bits

TEST_F(CacheWrite, EveryBitTypeHasItsOwnKeys) {
    for (int type = 0; type <= 6; ++type) {
        store(type, 9, 1, "01");
        EXPECT_EQ(bits(), "010" + std::to_string(type) + "0009=1");
        EXPECT_EQ(words() + dwords(), "");
    }
}

TEST_F(CacheWrite, TheNumberOfBitsIsTheCountAndNotTheLengthOfTheValue) {
    store(1, 0, 2, "FF FF");
    EXPECT_EQ(bits(), "01010000=1 01010001=1");
    store(1, 0, 0, "FF");
    EXPECT_EQ(bits(), "");
    store(1, 0, 8, "01 FF");
    EXPECT_EQ(bits(), "01010000=1 01010001=0 01010002=0 01010003=0 01010004=0 01010005=0 01010006=0 01010007=0");
}

TEST_F(CacheWrite, BitsThatTheValueDoesNotHoldKeepTheirOldValue) {
    for (unsigned i = 0; i < 12; ++i)
        PLC_driver.bit_cache.insert(0x01010000 + i, 1);
    const TightBytes value{bytes("00")};
    WriteDataToLocal(write_var(1, 0, 11, value.borrowed()));
    EXPECT_EQ(bits(), "01010000=0 01010001=0 01010002=0 01010003=0 01010004=0 01010005=0 01010006=0 01010007=0 "
                      "01010008=1 01010009=1 0101000A=1 0101000B=1");
}

TEST_F(CacheWrite, ABitWriteWithoutValueBytesChangesNothing) {
    for (int count : {0, 1, 7, 8, 9, -1, int_max, int_min}) {
        store(1, 0, count, "");
        EXPECT_TRUE(support::caches_empty()) << "count " << count;
    }
}

// The count is used as an unsigned number, and the run ends with the value.
TEST_F(CacheWrite, ANegativeOrHugeCountOfBitsEndsWithTheValue) {
    const char *all = "01010000=1 01010001=0 01010002=1 01010003=0 01010004=0 01010005=0 01010006=0 01010007=1";
    for (int count : {-1, int_max, int_min, 8, 9, 15, 16, 65536}) {
        store(1, 0, count, "85");
        EXPECT_EQ(bits(), all) << "count " << count;
    }
}

// ---- registers

TEST_F(CacheWrite, TheNumberOfRegistersIsTheLengthOfTheValueAndNotTheCount) {
    for (int count : {0, 1, 100, -1, int_max, int_min}) {
        store(7, 10, count, "34 12 CD AB");
        EXPECT_EQ(words(), "0107000A=1234 0107000B=ABCD") << "count " << count;
    }
}

TEST_F(CacheWrite, AnOddLastByteOfRegistersIsIgnored) {
    store(7, 10, 2, "34 12 CD");
    EXPECT_EQ(words(), "0107000A=1234");
    store(7, 10, 1, "34");
    EXPECT_TRUE(support::caches_empty());
    store(7, 10, 1, "");
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(CacheWrite, TheNumberOfPairsIsTheLengthOfTheValue) {
    for (int type : {12, 14}) {
        store(type, 0, 99, "12 34 AB");
        EXPECT_EQ(PLC_driver.word_cache.size(), 1) << "type " << type;
        store(type, 0, 99, "12");
        EXPECT_TRUE(support::caches_empty()) << "type " << type;
        store(type, 0, 0, "12 34 AB CD EF 01");
        EXPECT_EQ(PLC_driver.word_cache.size(), 3) << "type " << type;
    }
}

TEST_F(CacheWrite, Type13WithFewerThan4BytesLeftStoresNothingMore) {
    const char *short_values[] = {"", "01", "01 02", "01 02 03"};
    for (const char *value : short_values) {
        store(13, 10, 1, value);
        EXPECT_TRUE(support::caches_empty()) << value;
    }
    const char *longer_values[] = {"01 02 03 04", "01 02 03 04 05", "01 02 03 04 05 06", "01 02 03 04 05 06 07"};
    for (const char *value : longer_values) {
        store(13, 10, 9, value);
        EXPECT_EQ(dwords(), "010D000A=4030201") << value;
    }
}

// ---- one bit inside a register

TEST_F(CacheWrite, Types15To17WriteToTheRegistersOf7And8And11) {
    store(15, 0x2F, 1, "01");
    EXPECT_EQ(words(), "01070002=8000");
    store(16, 0x2F, 1, "80");
    EXPECT_EQ(words(), "01080002=8000");
    store(17, 0x30, 1, "FF");
    EXPECT_EQ(words(), "010B0003=1");
}

TEST_F(CacheWrite, SettingOrClearingABitLeavesTheOtherFifteen) {
    for (int bit = 0; bit < 16; ++bit) {
        PLC_driver.word_cache.insert(0x01070002, 0x5A5A);
        WriteDataToLocal(write_var(15, 0x20 + bit, 1, "01"));
        EXPECT_EQ(PLC_driver.word_cache.value(0x01070002), 0x5A5A | (1 << bit)) << "bit " << bit;
        PLC_driver.word_cache.insert(0x01070002, 0x5A5A);
        WriteDataToLocal(write_var(15, 0x20 + bit, 1, "00"));
        EXPECT_EQ(PLC_driver.word_cache.value(0x01070002), 0x5A5A & ~(1 << bit)) << "bit " << bit;
    }
}

TEST_F(CacheWrite, ABitInARegisterWithoutValueBytesIsCleared) {
    PLC_driver.word_cache.insert(0x01070002, 0xFFFF);
    WriteDataToLocal(write_var(15, 0x23, 1, ""));
    EXPECT_EQ(words(), "01070002=FFF7");
    store(17, 0x23, 1, "");
    EXPECT_EQ(words(), "010B0002=0");
}

TEST_F(CacheWrite, OnlyOneBitIsWrittenWhateverTheCountAndTheLength) {
    for (int count : {0, 1, 16, -1, int_max, int_min}) {
        store(15, 0x23, count, "01 01 01 01");
        EXPECT_EQ(words(), "01070002=8") << "count " << count;
    }
}

// ---- types, keys, locks

TEST_F(CacheWrite, ATypeOutside0To17ChangesNothing) {
    for (int type : {18, 19, 255, -1, int_max, int_min}) {
        store(type, 10, 8, "01 02 03 04");
        EXPECT_TRUE(support::caches_empty()) << "type " << type;
    }
}

// The parts of a key are combined by OR and never masked. For hosts that number their areas consecutively, an address
// of 65536 or more is in the next class.
TEST_F(CacheWrite, AnAddressOf65536OrMoreRunsIntoTheClass) {
    store(8, 65536, 1, "34 12");
    EXPECT_EQ(words(), "01090000=1234");
    store(7, 65536, 1, "34 12");
    EXPECT_EQ(words(), "01070000=1234");
    store(8, 65535, 2, "34 12 78 56");
    EXPECT_EQ(words(), "0108FFFF=1234 01090000=5678");
}

TEST_F(CacheWrite, TheStationIsShiftedAsAnUnsignedNumber) {
    store(7, 10, 1, "34 12", 255);
    EXPECT_EQ(words(), "FF07000A=1234");
    store(7, 10, 1, "34 12", -1);
    EXPECT_EQ(words(), "FF07000A=1234");
    store(7, 10, 1, "34 12", 256);
    EXPECT_EQ(words(), "0007000A=1234");
    store(7, 10, 1, "34 12", int_min);
    EXPECT_EQ(words(), "0007000A=1234");
}

TEST_F(CacheWrite, ARunThatPasses2To32ContinuesAt0) {
    store(7, 0xFFFFFF, 2, "34 12 78 56", 255);
    EXPECT_EQ(words(), "00000000=5678 FFFFFFFF=1234");
    store(12, -1, 2, "12 34 56 78");
    EXPECT_EQ(words(), "00000000=5678 FFFFFFFF=1234");
    store(2, -1, 3, "05");
    EXPECT_EQ(bits(), "00000000=0 00000001=1 FFFFFFFF=1");
    store(13, -1, 2, "01 00 00 00 02 00 00 00");
    EXPECT_EQ(dwords(), "00000000=2 FFFFFFFF=1");
}

TEST_F(CacheWrite, TheLargestAndSmallestAddressesSetEveryBitThatTheyHave) {
    store(7, int_max, 1, "34 12", 0);
    EXPECT_EQ(words(), "7FFFFFFF=1234");
    store(7, int_min, 1, "34 12", 0);
    EXPECT_EQ(words(), "80070000=1234");
}

// The register of a bit is its address shifted as an unsigned number, so register and bit of a negative address are
// those of its 32 bits.
TEST_F(CacheWrite, TheRegisterOfABitIsItsAddressShiftedUnsigned) {
    store(15, -1, 1, "01", 0);
    EXPECT_EQ(words(), "0FFFFFFF=8000");
    store(15, int_min, 1, "01", 0);
    EXPECT_EQ(words(), "08070000=1");
    store(15, int_max, 1, "01", 0);
    EXPECT_EQ(words(), "07FFFFFF=8000");
}

TEST_F(CacheWrite, EveryTypeReadsNoMoreThanAShortValueHolds) {
    const QByteArray all = bytes("11 22 33 44 55 66 77 88 99");
    for (int type = 0; type <= 17; ++type)
        for (int size = 0; size <= 9; ++size)
            for (int count : {int_min, -1, 0, 1, 7, 8, 9, 64, 72, 73, int_max}) {
                PLC_driver.bit_cache.clear();
                PLC_driver.word_cache.clear();
                PLC_driver.dword_cache.clear();
                const TightBytes value(all.left(size));
                WriteDataToLocal(write_var(type, 0, count, value.borrowed()));
                const int expected_words = type >= 15 ? 1 : type >= 7 && type != 13 ? size / 2 : 0;
                EXPECT_EQ(PLC_driver.word_cache.size(), expected_words) << "type " << type << ", size " << size;
                EXPECT_EQ(PLC_driver.dword_cache.size(), type == 13 ? size / 4 : 0) << "type " << type;
                const int bits_there = count < 0 || count > 8 * size ? 8 * size : count;
                EXPECT_EQ(PLC_driver.bit_cache.size(), type <= 6 ? bits_there : 0)
                    << "type " << type << ", size " << size << ", count " << count;
            }
}

TEST_F(CacheWrite, TakesCacheMutexAndNoOther) {
    const auto write = [] {
        WriteDataToLocal(write_var(7, 10, 1, "34 12"));
    };
    EXPECT_TRUE(support::takes_only({&PLC_driver.cache_mutex}, write));
}

}  // namespace
