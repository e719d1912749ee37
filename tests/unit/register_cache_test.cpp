#include "driver_test.h"
#include "hex_text.h"

#include <limits>

using support::DriverTest;
using support::hex;

namespace {

const int int_max = std::numeric_limits<int>::max();
const int int_min = std::numeric_limits<int>::min();

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

    static void put_dword(unsigned key, unsigned value) {
        PLC_driver.dword_cache.insert(key, value);
    }
};

}  // namespace

TEST_F(RegisterCache, BitsComeAsOneByteEach) {
    for (unsigned type = 0; type <= 6; ++type) {
        PLC_driver.bit_cache.clear();
        put_bit(0x01000007u + (type << 16), 1);
        put_bit(0x01000008u + (type << 16), 0);
        put_bit(0x0100000Au + (type << 16), 1);
        EXPECT_EQ(read(static_cast<int>(type), "7", 4), "01 00 00 01") << "type " << type;
    }
}

TEST_F(RegisterCache, ABitIs1WheneverItsEntryIsNotZero) {
    put_bit(0x01020005, 0x80);
    put_bit(0x01020006, 0xFF);
    EXPECT_EQ(read(2, "5", 2), "01 01");
}

TEST_F(RegisterCache, RegistersComeAsTwoBytesLowByteFirst) {
    for (unsigned type = 7; type <= 11; ++type) {
        PLC_driver.word_cache.clear();
        put_word(0x0100000Au + (type << 16), 0x1234);
        put_word(0x0100000Cu + (type << 16), 0xABCD);
        EXPECT_EQ(read(static_cast<int>(type), "10", 3), "34 12 00 00 CD AB") << "type " << type;
    }
}

TEST_F(RegisterCache, Types12And14TakeTheHighHalfFromTheLowerAddress) {
    put_word(0x0107000A, 0x1234);
    put_word(0x0107000B, 0x5678);
    put_word(0x0108000A, 0x9ABC);
    put_word(0x0108000B, 0xDEF0);
    EXPECT_EQ(read(12, "10", 2), "78 56 34 12");
    EXPECT_EQ(read(14, "10", 2), "F0 DE BC 9A");
}

TEST_F(RegisterCache, Type12WithCount3Gives8Bytes) {
    put_word(0x0107000A, 0x0102);
    put_word(0x0107000B, 0x0304);
    put_word(0x0107000C, 0x0506);
    put_word(0x0107000D, 0x0708);
    EXPECT_EQ(read(12, "10", 3), "04 03 02 01 08 07 06 05");
    EXPECT_EQ(read(12, "10", 4), "04 03 02 01 08 07 06 05");
    EXPECT_EQ(read(12, "10", 1), "04 03 02 01");
}

TEST_F(RegisterCache, EachHalfOfAPairIsFilledOnlyIfItsEntryExists) {
    put_word(0x0107000A, 0x1234);
    put_word(0x0107000D, 0x5678);
    EXPECT_EQ(read(12, "10", 4), "00 00 34 12 78 56 00 00");
}

TEST_F(RegisterCache, Type13StepsByOneAddressPerValueAndCountsIn16BitRegisters) {
    put_dword(0x010D0000, 0x12345678);
    put_dword(0x010D0001, 100000);
    EXPECT_EQ(read(13, "200", 2), "78 56 34 12");
    EXPECT_EQ(read(13, "200", 3), "78 56 34 12 A0 86 01 00");
    EXPECT_EQ(read(13, "200", 4), "78 56 34 12 A0 86 01 00");
    EXPECT_EQ(read(13, "201", 1), "A0 86 01 00");
    EXPECT_EQ(read(13, "202", 1), "00 00 00 00");
}

TEST_F(RegisterCache, Reading3BitsOfType15AtAddress2FHexTakesBit15OfRegister2AndBits0And1OfRegister3) {
    put_word(0x01070002, 0x8000);
    put_word(0x01070003, 0x0002);
    EXPECT_EQ(read(15, "2.15", 3), "01 00 01");
    put_word(0x01070002, 0x7FFF);
    put_word(0x01070003, 0x0001);
    EXPECT_EQ(read(15, "2.15", 3), "00 01 00");
}

TEST_F(RegisterCache, Types15To17ReadTheBitsOfTheRegistersOfTheirClass) {
    put_word(0x01070005, 0x0008);
    put_word(0x01080005, 0x0010);
    put_word(0x010B0005, 0x0020);
    EXPECT_EQ(read(15, "5.3", 3), "01 00 00");
    EXPECT_EQ(read(16, "5.3", 3), "00 01 00");
    EXPECT_EQ(read(17, "5.3", 3), "00 00 01");
}

TEST_F(RegisterCache, ARunOfBitsWalksThroughEveryRegister) {
    put_word(0x01070000, 0xFFFF);
    put_word(0x01070002, 0xFFFF);
    std::string expected;
    for (int i = 0; i < 48; ++i)
        expected += std::string(i > 0 ? " " : "") + (i / 16 == 1 ? "00" : "01");
    EXPECT_EQ(read(15, "0.0", 48), expected);
}

TEST_F(RegisterCache, ABitBeyond15ReadsTheRegistersThatFollow) {
    put_word(0x01070002, 0x0010);
    EXPECT_EQ(read(15, "1.20", 1), "01");
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

TEST_F(RegisterCache, AnUnparsableAddressGives2TimesCountZeroBytesAnd0WhateverTheType) {
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

TEST_F(RegisterCache, WithMultiStation0TheDefaultStationReplacesTheHosts) {
    put_word(0x03070005, 0x0333);
    put_word(0x09070005, 0x0999);
    put_bit(0x09020005, 1);
    put_dword(0x090D0005, 7);
    info.multi_station = 0;
    info.default_station = 9;
    EXPECT_EQ(read(7, "5", 1, 3), "99 09");
    EXPECT_EQ(read(2, "5", 1, 3), "01");
    EXPECT_EQ(read(13, "205", 1, 3), "07 00 00 00");
    EXPECT_EQ(read(15, "5.0", 1, 3), "01");
}

TEST_F(RegisterCache, TwoStationsNeverCollideBelowAddress65536) {
    put_word(0x0107FFFF, 0x1111);
    put_word(0x0207FFFF, 0x2222);
    EXPECT_EQ(read(7, "65535", 1, 1), "11 11");
    EXPECT_EQ(read(7, "65535", 1, 2), "22 22");
    EXPECT_EQ(read(8, "65535", 1, 1), "00 00");
}

// By plain OR an address of 65536 or more runs into the class bits. Hosts number registers through the classes this
// way; a mask would give them zeros.
TEST_F(RegisterCache, AnAddressOf65536OrMoreRunsIntoTheClassBits) {
    put_word(0x01090005, 0x1234);
    put_word(0x01070005, 0x5678);
    EXPECT_EQ(read(8, "65541", 1), "34 12");
    EXPECT_EQ(read(7, "65541", 1), "78 56");
    put_bit(0x01010000, 1);
    EXPECT_EQ(read(0, "200000", 1), "01");
    EXPECT_EQ(read(0, "177777", 2), "00 01");
}

// A bit's register is found by its own address, carried by the shift.
TEST_F(RegisterCache, ABitAddressBeyondTheRegistersRunsIntoTheClassBitsToo) {
    put_word(0x01090005, 0x0002);
    EXPECT_EQ(read(16, "65541.1", 1), "01");
}

TEST_F(RegisterCache, StationsAbove127AndBeyond255AreTakenAsBits) {
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

TEST_F(RegisterCache, ReadingSendsNothing) {
    read(7, "5", 1);
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
    EXPECT_TRUE(PLC_driver.read_list.isEmpty());
}

TEST_F(RegisterCache, ReadingTakesCacheMutexAndNoOther) {
    for (int type : {2, 7, 12})
        EXPECT_TRUE(support::waits_for(PLC_driver.cache_mutex, [type] { read(type, "5", 1); })) << "type " << type;
    EXPECT_TRUE(support::passes_by(PLC_driver.list_mutex, [] { read(7, "5", 1); }));
    EXPECT_TRUE(support::passes_by(PLC_driver.station_mutex, [] { read(7, "5", 1); }));
}

TEST_F(RegisterCache, AnUnparsableAddressTakesNoLock) {
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, [] { read_invalid(7, "abc", 1); }));
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
