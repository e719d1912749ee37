#include "driver_test.h"
#include "hex_text.h"

using support::DriverTest;
using support::hex;
using support::int_max;
using support::int_min;

namespace {

class RegisterCache : public DriverTest {
protected:
    RegisterCache() {
        info.multi_station = 1;
    }

    // What the host gets, as hexadecimal pairs. The call must return 1.
    static std::string read(int type, const char *address, int count, int station = 1) {
        QByteArray out("what was there before");
        EXPECT_EQ(GetRegisterData(QString(), type, QString::fromLatin1(address), station, out, count), 1);
        return hex(out);
    }

    // As above for an address that does not parse. The call must return 0.
    static std::string read_invalid(int type, const char *address, int count) {
        QByteArray out("what was there before");
        EXPECT_EQ(GetRegisterData(QString(), type, QString::fromLatin1(address), 1, out, count), 0);
        return hex(out);
    }

    static void put_bit(unsigned key, int value) {
        PLC_driver.bit_cache.insert(key, static_cast<unsigned char>(value));
    }

    static void put_word(unsigned key, int value) {
        PLC_driver.word_cache.insert(key, static_cast<unsigned short>(value));
    }
};

TEST_F(RegisterCache, ABitIs1WheneverItsEntryIsNotZero) {
    put_bit(0x01020005, 0x80);
    put_bit(0x01020006, 0xFF);
    EXPECT_EQ(read(2, "5", 2), "01 01");
}

TEST_F(RegisterCache, ARunOfBitsReadsEachRegisterInTurn) {
    put_word(0x01070000, 0xFFFF);
    put_word(0x01070002, 0xFFFF);
    std::string expected;
    for (int i = 0; i < 48; ++i)
        expected += std::string(i > 0 ? " " : "") + (i / 16 == 1 ? "00" : "01");
    EXPECT_EQ(read(15, "0.0", 48), expected);
}

TEST_F(RegisterCache, AMissingEntryReadsAsZeroAndNoneIsMade) {
    for (int type = 0; type <= 6; ++type)
        EXPECT_EQ(read(type, "5", 2), "00 00") << "type " << type;
    for (int type = 7; type <= 11; ++type)
        EXPECT_EQ(read(type, "5", 1), "00 00") << "type " << type;
    for (int type : {12, 14})
        EXPECT_EQ(read(type, "5", 1), "00 00 00 00") << "type " << type;
    EXPECT_EQ(read(13, "205", 1), "00 00 00 00");
    for (int type : {15, 16, 17})
        EXPECT_EQ(read(type, "5.1", 2), "00 00") << "type " << type;
    EXPECT_TRUE(PLC_driver.bit_cache.isEmpty());
    EXPECT_TRUE(PLC_driver.word_cache.isEmpty());
    EXPECT_TRUE(PLC_driver.dword_cache.isEmpty());
}

TEST_F(RegisterCache, AnUnparsableAddressGivesZerosAnd0WhateverTheType) {
    for (int type : {0, 2, 7, 12, 13, 14, 15, 18, -1})
        EXPECT_EQ(read_invalid(type, "abc", 3), "00 00 00 00 00 00") << "type " << type;
    EXPECT_EQ(read_invalid(0, "18", 1), "00 00");
    EXPECT_EQ(read_invalid(13, "199", 2), "00 00 00 00");
    EXPECT_EQ(read_invalid(15, "10", 1), "00 00");
    EXPECT_EQ(read_invalid(7, "abc", 0), "");
}

TEST_F(RegisterCache, ANegativeAddressIsUnparsable) {
    put_word(0x01070000, 0x1234);
    EXPECT_EQ(read_invalid(7, "-1", 1), "00 00");
    EXPECT_EQ(read_invalid(7, "-5", 2), "00 00 00 00");
    EXPECT_EQ(read_invalid(15, "-1.3", 1), "00 00");
}

TEST_F(RegisterCache, AnUnknownTypeGives2TimesCountZeroBytesAnd1) {
    put_word(0x01120005, 0x1234);
    for (int type : {18, 19, 255, -1, int_max, int_min})
        EXPECT_EQ(read(type, "5", 2), "00 00 00 00") << "type " << type;
}

TEST_F(RegisterCache, ACountOf0GivesNothingAnd1) {
    for (int type = -1; type <= 18; ++type)
        EXPECT_EQ(read(type, type >= 15 && type <= 17 ? "5.1" : (type == 13 ? "200" : "5"), 0), "") << "type " << type;
}

TEST_F(RegisterCache, ANegativeCountGivesNothing) {
    for (int count : {-1, -2, -7, int_min})
        for (int type = -1; type <= 18; ++type) {
            EXPECT_EQ(read(type, type >= 15 && type <= 17 ? "5.1" : (type == 13 ? "200" : "5"), count), "")
                << "type " << type << ", count " << count;
            EXPECT_EQ(read_invalid(type, "abc", count), "") << "type " << type << ", count " << count;
        }
}

TEST_F(RegisterCache, WithMultiStationSetTheHostsStationIsUsed) {
    put_word(0x03070005, 0x0333);
    put_word(0x09070005, 0x0999);
    info.default_station = 9;
    EXPECT_EQ(read(7, "5", 1, 3), "33 03");
    info.multi_station = -1;
    EXPECT_EQ(read(7, "5", 1, 3), "33 03");
}

TEST_F(RegisterCache, TwoStationsNeverCollideBelowAddress65536) {
    put_word(0x0107FFFF, 0x1111);
    put_word(0x0207FFFF, 0x2222);
    EXPECT_EQ(read(7, "65535", 1, 1), "11 11");
    EXPECT_EQ(read(7, "65535", 1, 2), "22 22");
    EXPECT_EQ(read(8, "65535", 1, 1), "00 00");
}

// With a plain OR, an address of 65536 or more runs into the class bits. Hosts number registers across classes this
// way; with a mask they would get zeros.
TEST_F(RegisterCache, AnAddressOf65536OrMoreRunsIntoTheClassBits) {
    put_word(0x01090005, 0x1234);
    put_word(0x01070005, 0x5678);
    EXPECT_EQ(read(8, "65541", 1), "34 12");
    EXPECT_EQ(read(7, "65541", 1), "78 56");
    put_bit(0x01010000, 1);
    EXPECT_EQ(read(0, "200000", 1), "01");
    EXPECT_EQ(read(0, "177777", 2), "00 01");
}

// The register of a bit is the bit's whole address, shifted.
TEST_F(RegisterCache, ALargeBitAddressRunsIntoTheClassBits) {
    put_word(0x01090005, 0x0002);
    EXPECT_EQ(read(16, "65541.1", 1), "01");
}

TEST_F(RegisterCache, OnlyTheLow8BitsOfAStationAreUsed) {
    put_word(0xFF070005, 0x1234);
    put_word(0x00070005, 0x5678);
    EXPECT_EQ(read(7, "5", 1, 255), "34 12");
    EXPECT_EQ(read(7, "5", 1, -1), "34 12");
    EXPECT_EQ(read(7, "5", 1, 256), "78 56");
    EXPECT_EQ(read(7, "5", 1, int_min), "78 56");
    EXPECT_EQ(read(7, "5", 1, int_max), "34 12");
}

TEST_F(RegisterCache, TheLargestAddressesAreReadWithoutHarm) {
    EXPECT_EQ(read(7, "2147483647", 3), "00 00 00 00 00 00");
    EXPECT_EQ(read(0, "17777777777", 3), "00 00 00");
    EXPECT_EQ(read(12, "2147483647", 3), "00 00 00 00 00 00 00 00");
    EXPECT_EQ(read(13, "2147483647", 3), "00 00 00 00 00 00 00 00");
    EXPECT_EQ(read(15, "134217727.15", 3), "00 00 00");
}

TEST_F(RegisterCache, TheFirstArgumentIsNotUsed) {
    put_word(0x01070005, 0x1234);
    QByteArray out;
    EXPECT_EQ(GetRegisterData(QString::fromLatin1("anything"), 7, QString::fromLatin1("5"), 1, out, 1), 1);
    EXPECT_EQ(hex(out), "34 12");
}

TEST_F(RegisterCache, ReadingTakesCacheMutexAndNoOther) {
    for (int type : {2, 7, 12})
        EXPECT_TRUE(support::takes_only({&PLC_driver.cache_mutex}, [type] { read(type, "5", 1); })) << "type " << type;
}

TEST_F(RegisterCache, AnUnparsableAddressTakesNoLock) {
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.cache_mutex, [] { read_invalid(7, "abc", 1); }));
}

TEST_F(RegisterCache, ValuesStayAfterTheStationIsDisabledOrTheListRebuilt) {
    put_word(0x01070005, 0x1234);
    EnableEthernet(1, 0);
    QList<HOST_VAR> vars;
    vars.append(support::host_var(8, 1, "1", 1));
    ReCreatReadVarList(&vars);
    PLC_driver.comm_failed = true;
    EXPECT_EQ(read(7, "5", 1), "34 12");
}

}  // namespace
