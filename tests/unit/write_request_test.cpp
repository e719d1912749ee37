#include "frames/write_request.h"

#include "exchange.h"

using support::bytes;
using support::describe;
using support::DriverTest;
using support::frames_in_flight;
using support::hex;
using support::int_max;
using support::int_min;
using support::lengths;
using support::Lines;
using support::TightBytes;
using support::write_var;

namespace {

class WriteRequest : public DriverTest {
protected:
    WriteRequest() {
        info.success_count = 9;
        info.success_limit = 9;
    }

    static const Protocol &frame(int index) {
        return PLC_driver.frame_list.at(index);
    }

    // The frames that the write of `var` gives.
    static Lines written(const RW_VAR &var) {
        PLC_driver.frame_list.clear();
        WriteRegister(var);
        return frames_in_flight();
    }

    // The write was refused: no frame, no word of the host's block, no cache entry.
    void expect_nothing_done(const char *why) {
        EXPECT_TRUE(PLC_driver.frame_list.isEmpty()) << why;
        EXPECT_EQ(info.success_count, 9) << why;
        EXPECT_EQ(info.success_limit, 9) << why;
        EXPECT_TRUE(support::caches_empty()) << why;
    }
};

// `size` bytes, no two adjacent ones equal.
QByteArray pattern(int size) {
    QByteArray value;
    for (int i = 0; i < size; ++i)
        value.append(static_cast<char>(i * 7 + 1));
    return value;
}

QByteArray pairs_swapped(const QByteArray &value) {
    QByteArray swapped;
    for (int i = 0; i + 1 < value.size(); i += 2) {
        swapped.append(value.at(i + 1));
        swapped.append(value.at(i));
    }
    return swapped;
}

struct WrittenType {
    const char *name;
    int type;
    int addr;
    int count;
    const char *value;
    const char *frame;
};

struct PairRow {
    const char *name;
    int type;
    int addr;
    const char *read;
    const char *write;
};

struct ShortRow {
    const char *name;
    int type;
    int count;
    const char *value;
    const char *frame;
};

void PrintTo(const WrittenType &row, std::ostream *out) {
    *out << row.name;
}

void PrintTo(const PairRow &row, std::ostream *out) {
    *out << row.name;
}

void PrintTo(const ShortRow &row, std::ostream *out) {
    *out << row.name;
}

class WriteFrame : public WriteRequest, public ::testing::WithParamInterface<WrittenType> {};
class BitWrite : public WriteRequest, public ::testing::WithParamInterface<PairRow> {};
class ShortValue : public WriteRequest, public ::testing::WithParamInterface<ShortRow> {};

// ---- one frame: every type, both ranges of its addresses

TEST_P(WriteFrame, IsBuiltAsItsTypeRequires) {
    const WrittenType &row = GetParam();
    const RW_VAR var = write_var(row.type, row.addr, row.count, row.value);
    WriteRegister(var);
    ASSERT_EQ(frames_in_flight(), Lines{row.frame});
    EXPECT_EQ(lengths(frame(0)), "send " + std::to_string(bytes(row.frame).size()) + ", reply 8, 0 data bytes at 0");
    EXPECT_EQ(describe(frame(0).var), describe(var));
    EXPECT_EQ(info.success_count, 0);
    EXPECT_EQ(info.success_limit, 1);
}

TEST_P(WriteFrame, IsWhatWriteAnalogQueuesForIt) {
    const WrittenType &row = GetParam();
    WriteAnalog(write_var(row.type, row.addr, row.count, row.value));
    EXPECT_EQ(frames_in_flight(), Lines{row.frame});
    EXPECT_TRUE(support::caches_empty());
}

INSTANTIATE_TEST_SUITE_P(
    Types, WriteFrame,
    ::testing::Values(
        WrittenType{"Type0_Bits", 0, 1, 11, "A5 03", "01 0F 04 B1 00 0B 02 A5 03 81 B4"},
        WrittenType{"Type2_Bits", 2, 0, 9, "55 01", "01 0F 07 D0 00 09 02 55 01 7E BC"},
        WrittenType{"Type7_FirstOfHighRange", 7, 8000, 2, "34 12 78 56", "01 10 C3 50 00 02 04 12 34 56 78 C9 52"},
        WrittenType{"Type12_HighRange", 12, 8000, 2, "12 34 56 78", "01 10 C3 50 00 02 04 12 34 56 78 C9 52"},
        WrittenType{"Type14_HighRange", 14, 256, 2, "12 34 56 78", "01 10 2E E0 00 02 04 12 34 56 78 53 72"}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(WriteRequest, AWriteThatReachesPast2To31StaysOneFrame) {
    const Lines frames = written(write_var(9, 2147483644, 4, "01 00 02 00 03 00 04 00"));
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames.at(0).substr(0, 44), "01 10 23 24 00 04 08 00 01 00 02 00 03 00 04");
    EXPECT_EQ(info.success_limit, 1);
}

TEST_F(WriteRequest, ACountOfBitsOtherThan1IsFunction15WhateverItIs) {
    EXPECT_EQ(written(write_var(1, 0, 0, "01")), Lines{"01 0F 00 00 00 00 01 01 BE 97"});
    EXPECT_EQ(written(write_var(1, 0, -1, "01")), Lines{"01 0F 00 00 FF FF 01 01 BE B3"});
    EXPECT_EQ(written(write_var(1, 0, 65537, "01")), Lines{"01 0F 00 00 00 01 01 01 EF 57"});
}

// Byte 6 is the number of bytes that follow, bytes 4 and 5 the units asked for. Computing one from the other
// would send a frame whose end is not where byte 6 says.
TEST_F(WriteRequest, TheByteCountIsTheValuesAndTheQuantityTheRecords) {
    EXPECT_EQ(written(write_var(7, 0, 1, "34 12 78 56")), Lines{"01 10 00 00 00 01 04 12 34 56 78 88 A8"});
    EXPECT_EQ(written(write_var(7, 0, 9, "34 12")), Lines{"01 10 00 00 00 09 02 12 34 A9 47"});
    EXPECT_EQ(written(write_var(12, 0, 1, "12 34 56 78")), Lines{"01 10 00 00 00 01 04 12 34 56 78 88 A8"});
    EXPECT_EQ(written(write_var(13, 0, 5, "78 56 34 12")), Lines{"01 10 25 E4 00 0A 04 12 34 56 78 20 F9"});
    EXPECT_EQ(written(write_var(4, 0, 100, "55")), Lines{"01 0F 17 70 00 64 01 55 BC 5B"});
}

TEST_F(WriteRequest, TheByteCountIsTheLow8BitsOfTheLength) {
    written(write_var(7, 0, 128, pattern(256)));
    EXPECT_EQ(hex(frame(0).frame.left(7)), "01 10 00 00 00 80 00");
    EXPECT_EQ(frame(0).send_len, 265);
    written(write_var(7, 0, 150, pattern(300)));
    EXPECT_EQ(hex(frame(0).frame.left(7)), "01 10 00 00 00 96 2C");
    EXPECT_EQ(frame(0).send_len, 309);
    written(write_var(1, 0, 2400, pattern(300)));
    EXPECT_EQ(hex(frame(0).frame.left(7)), "01 0F 00 00 09 60 2C");
}

TEST_F(WriteRequest, ALongFrameCarriesEveryByteInItsOrderAndTheCrcOfAll) {
    const QByteArray value = pattern(200);
    written(write_var(7, 0, 100, value));
    EXPECT_EQ(hex(frame(0).frame), hex(support::with_crc(bytes("01 10 00 00 00 64 C8") + pairs_swapped(value))));
    written(write_var(12, 0, 100, value));
    EXPECT_EQ(hex(frame(0).frame), hex(support::with_crc(bytes("01 10 00 00 00 64 C8") + value)));
    written(write_var(1, 0, 1600, value));
    EXPECT_EQ(hex(frame(0).frame), hex(support::with_crc(bytes("01 0F 00 00 06 40 C8") + value)));
}

// ---- values shorter than their count

// What the record does not hold is sent as 0. An odd byte is the low half of its register, so the zero is the first
// byte where pairs are swapped, and the second where they are not.
TEST_P(ShortValue, IsFilledUpWithZeros) {
    const ShortRow &row = GetParam();
    const TightBytes value(bytes(row.value));
    EXPECT_EQ(written(write_var(row.type, 0, row.count, value.borrowed())), Lines{row.frame});
    EXPECT_EQ(lengths(frame(0)), "send " + std::to_string(bytes(row.frame).size()) + ", reply 8, 0 data bytes at 0");
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, ShortValue,
    ::testing::Values(ShortRow{"OneBit_0Bytes", 0, 1, "", "01 05 04 B0 00 00 CD 1D"},
                      ShortRow{"Bits_0Bytes", 1, 72, "", "01 0F 00 00 00 48 00 3D 3F"},
                      ShortRow{"Registers_0Bytes", 7, 5, "", "01 10 00 00 00 05 00 0A 00"},
                      ShortRow{"DoubleWords_0Bytes", 13, 3, "", "01 10 25 E4 00 06 00 71 C7"},
                      ShortRow{"Registers_1Bytes", 7, 5, "11", "01 10 00 00 00 05 01 00 11 97 6C"},
                      ShortRow{"Pairs12_1Bytes", 12, 6, "11", "01 10 00 00 00 06 01 11 00 5B 74"},
                      ShortRow{"DoubleWords_1Bytes", 13, 3, "11", "01 10 25 E4 00 06 01 00 00 00 11 57 0D"},
                      ShortRow{"DoubleWords_2Bytes", 13, 3, "11 22", "01 10 25 E4 00 06 02 00 00 22 11 0B AD"},
                      ShortRow{"Bits_3Bytes", 1, 72, "11 22 33", "01 0F 00 00 00 48 03 11 22 33 88 C8"},
                      ShortRow{"Registers_3Bytes", 7, 5, "11 22 33", "01 10 00 00 00 05 03 22 11 00 33 5D B0"},
                      ShortRow{"DoubleWords_3Bytes", 13, 3, "11 22 33", "01 10 25 E4 00 06 03 00 33 22 11 C6 62"},
                      ShortRow{"Pairs14_3Bytes", 14, 6, "11 22 33", "01 10 1F 40 00 06 03 11 22 33 00 7E 2D"},
                      ShortRow{"Pairs12_4Bytes", 12, 6, "11 22 33 44", "01 10 00 00 00 06 04 11 22 33 44 43 DE"},
                      ShortRow{"DoubleWords_5Bytes", 13, 3, "11 22 33 44 55",
                               "01 10 25 E4 00 06 05 44 33 22 11 00 00 00 55 73 0A"},
                      ShortRow{"Pairs14_9Bytes", 14, 6, "11 22 33 44 55 66 77 88 99",
                               "01 10 1F 40 00 06 09 11 22 33 44 55 66 77 88 99 00 76 07"},
                      ShortRow{"Registers11_9Bytes", 11, 5, "11 22 33 44 55 66 77 88 99",
                               "01 10 21 34 00 05 09 22 11 44 33 66 55 88 77 00 99 E2 7A"}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(WriteRequest, NoTypeReadsBeyondAShortValue) {
    for (int type = 0; type <= 17; ++type)
        for (int size = 0; size <= 9; ++size)
            for (int count : {-1, 0, 1, 2, 5, 300}) {
                const TightBytes value(pattern(size));
                const RW_VAR var = write_var(type, 254, count, value.borrowed());
                PLC_driver.frame_list.clear();
                WriteRegister(var);
                EXPECT_FALSE(PLC_driver.frame_list.isEmpty())
                    << "type " << type << ", " << size << " bytes, count " << count;
            }
}

// ---- two frames

TEST_F(WriteRequest, EveryRowOfTheSplitTableSplitsJustAcrossItsBoundary) {
    const struct {
        int type;
        int boundary;
    } rows[] = {{7, 8000}, {8, 256}, {12, 8000}, {14, 256}};
    for (const auto &row : rows) {
        const auto frames = [&row](int addr, int count) {
            return written(write_var(row.type, addr, count, pattern(2 * count))).size();
        };
        EXPECT_EQ(frames(row.boundary - 10, 10), 1u) << "type " << row.type;
        EXPECT_EQ(frames(row.boundary - 10, 11), 2u) << "type " << row.type;
        EXPECT_EQ(frames(row.boundary - 1, 1), 1u) << "type " << row.type;
        EXPECT_EQ(frames(row.boundary - 1, 2), 2u) << "type " << row.type;
        EXPECT_EQ(frames(row.boundary, 100), 1u) << "type " << row.type;
    }
}

TEST_F(WriteRequest, OtherTypesNeverSplit) {
    for (int type : {0, 1, 2, 3, 4, 5, 6, 9, 10, 11, 13})
        for (int boundary : {256, 2048, 8000})
            EXPECT_EQ(written(write_var(type, boundary - 1, 2, "01 02 03 04")).size(), 1u)
                << "type " << type << " at " << boundary;
}

TEST_F(WriteRequest, ASplitOfAShortValueFillsBothPartsWithZeros) {
    const auto split = [](int type, const char *value) {
        const TightBytes tight{bytes(value)};
        return written(write_var(type, 254, 4, tight.borrowed()));
    };
    EXPECT_EQ(split(8, ""),
              (Lines{"01 10 20 3E 00 02 04 00 00 00 00 E8 F6", "01 10 2E E0 00 02 04 00 00 00 00 28 46"}));
    EXPECT_EQ(split(8, "11 22 33"),
              (Lines{"01 10 20 3E 00 02 04 22 11 00 33 F2 9E", "01 10 2E E0 00 02 04 00 00 00 00 28 46"}));
    EXPECT_EQ(split(8, "11 22 33 44 55"),
              (Lines{"01 10 20 3E 00 02 04 22 11 44 33 C1 9E", "01 10 2E E0 00 02 04 00 55 00 00 38 56"}));
    EXPECT_EQ(split(14, "11"),
              (Lines{"01 10 20 3E 00 02 04 11 00 00 00 ED CA", "01 10 2E E0 00 02 04 00 00 00 00 28 46"}));
    EXPECT_EQ(split(14, "11 22 33 44 55"),
              (Lines{"01 10 20 3E 00 02 04 11 22 33 44 59 03", "01 10 2E E0 00 02 04 55 00 00 00 39 8A"}));
}

TEST_F(WriteRequest, ASplitSendsNoMoreBytesThanItsRegistersTake) {
    EXPECT_EQ(written(write_var(8, 255, 2, "11 22 33 44 55 66 77 88")),
              (Lines{"01 10 20 3F 00 01 02 22 11 5A 31", "01 10 2E E0 00 01 02 44 33 0D 27"}));
}

TEST_F(WriteRequest, APartWithoutRegistersGetsNoDataBytes) {
    WriteAnalog_2(write_var(8, 10, 2, "11 22 33 44"), 10);
    EXPECT_EQ(frames_in_flight(), (Lines{"01 10 1F 4A 00 00 00 8A 8A", "01 10 1F 4A 00 02 04 22 11 44 33 D2 B8"}));
    PLC_driver.frame_list.clear();
    WriteAnalog_2(write_var(8, 10, 2, "11 22 33 44"), 12);
    EXPECT_EQ(frames_in_flight(), (Lines{"01 10 1F 4A 00 02 04 22 11 44 33 D2 B8", "01 10 1F 4C 00 00 00 8A 02"}));
    PLC_driver.frame_list.clear();
    WriteAnalog_3(write_var(14, 10, 2, "11 22 33 44"), 13);
    EXPECT_EQ(frames_in_flight(),
              (Lines{"01 10 1F 4A 00 03 06 11 22 33 44 00 00 14 B7", "01 10 1F 4D FF FF FE 7B BE"}));
}

TEST_F(WriteRequest, APartWithANegativeNumberOfRegistersReadsNothing) {
    const TightBytes value{bytes("11 22 33 44")};
    WriteAnalog_2(write_var(8, 10, 2, value.borrowed()), 5);
    ASSERT_EQ(frames_in_flight().size(), 2u);
    EXPECT_EQ(frames_in_flight().front(), "01 10 1F 4A FF FB F6 79 CC");
    EXPECT_EQ(frame(1).send_len, 23);
}

TEST_F(WriteRequest, WriteAnalog_2And3CutAtTheirArgument) {
    WriteAnalog_2(write_var(9, 0, 3, "01 02 03 04 05 06"), 1);
    EXPECT_EQ(frames_in_flight(),
              (Lines{"01 10 23 28 00 01 02 02 01 72 1A", "01 10 23 29 00 02 04 04 03 06 05 8E 7F"}));
    PLC_driver.frame_list.clear();
    WriteAnalog_3(write_var(9, 0, 3, "01 02 03 04 05 06"), 2);
    EXPECT_EQ(frames_in_flight(),
              (Lines{"01 10 23 28 00 02 04 01 02 03 04 DC 2F", "01 10 23 2A 00 01 02 05 06 30 0A"}));
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(WriteRequest, WriteAnalogNeverSplits) {
    WriteAnalog(write_var(8, 255, 2, "34 12 78 56"));
    EXPECT_EQ(frames_in_flight(), Lines{"01 10 20 3F 00 02 04 12 34 56 78 52 0E"});
}

// ---- one bit inside a register

TEST_P(BitWrite, ReadsTheRegisterAndQueuesItsWriteStillWithoutValueAndCrc) {
    const PairRow &row = GetParam();
    RW_VAR var = support::full_var();
    var.reg_type = row.type;
    var.reg_addr = row.addr;
    var.station_no = 1;
    WriteAnalog_bit(var);
    ASSERT_EQ(frames_in_flight(), (Lines{row.read, row.write}));
    EXPECT_EQ(lengths(frame(0)), "send 8, reply 7, 0 data bytes at 0");
    EXPECT_EQ(lengths(frame(1)), "send 8, reply 8, 0 data bytes at 0");
    RW_VAR read_half = var;
    read_half.host_ref2 = 0;
    read_half.store_mode = -1;
    RW_VAR write_half = var;
    write_half.host_ref2 = 1;
    write_half.store_mode = 0;
    EXPECT_EQ(describe(frame(0).var), describe(read_half));
    EXPECT_EQ(describe(frame(1).var), describe(write_half));
    EXPECT_EQ(info.success_count, 0);
    EXPECT_EQ(info.success_limit, 2);
    EXPECT_TRUE(support::caches_empty());
}

INSTANTIATE_TEST_SUITE_P(
    Types, BitWrite,
    ::testing::Values(
        PairRow{"Type15_LowRange", 15, 0x23, "01 03 00 02 00 01 25 CA", "01 06 00 02 00 00 00 00"},
        PairRow{"Type15_LastOfLowRange", 15, 7999 * 16 + 15, "01 03 1F 3F 00 01 B3 D2", "01 06 1F 3F 00 00 00 00"},
        PairRow{"Type15_FirstOfHighRange", 15, 8000 * 16, "01 03 C3 50 00 01 B8 5F", "01 06 C3 50 00 00 00 00"},
        PairRow{"Type16_LowRange", 16, 0x23, "01 03 1F 42 00 01 23 CA", "01 06 1F 42 00 00 00 00"},
        PairRow{"Type16_LastOfLowRange", 16, 255 * 16 + 15, "01 03 20 3F 00 01 BF C6", "01 06 20 3F 00 00 00 00"},
        PairRow{"Type16_FirstOfHighRange", 16, 256 * 16, "01 03 2E E0 00 01 8C D4", "01 06 2E E0 00 00 00 00"},
        PairRow{"Type17", 17, 0x23, "01 03 21 36 00 01 6E 38", "01 06 21 36 00 00 00 00"},
        PairRow{"Type15_MinusOneIsRegisterMinusOne", 15, -1, "01 03 FF FF 00 01 84 2E", "01 06 FF FF 00 00 00 00"},
        PairRow{"Type16_MinusOneIsRegisterMinusOne", 16, -1, "01 03 1F 3F 00 01 B3 D2", "01 06 1F 3F 00 00 00 00"},
        PairRow{"Type15_Largest", 15, int_max, "01 03 A4 0F 00 01 97 39", "01 06 A4 0F 00 00 00 00"},
        PairRow{"Type15_Smallest", 15, int_min, "01 03 00 00 00 01 84 0A", "01 06 00 00 00 00 00 00"},
        PairRow{"Type16_Largest", 16, int_max, "01 03 2D DF 00 01 BC 9C", "01 06 2D DF 00 00 00 00"},
        PairRow{"Type17_Largest", 17, int_max, "01 03 21 33 00 01 7E 39", "01 06 21 33 00 00 00 00"}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(WriteRequest, Types15To17AreAlwaysAPairOfFramesWhateverTheirCount) {
    for (int type : {15, 16, 17})
        for (int count : {-1, 0, 1, 2, 1000, int_max, int_min})
            EXPECT_EQ(written(write_var(type, 0x23, count, "01")).size(), 2u) << "type " << type << ", " << count;
}

// ---- the cache

TEST_F(WriteRequest, OnAFailedLinkTheCacheIsLeftAlone) {
    PLC_driver.comm_failed = true;
    for (int type = 0; type <= 17; ++type)
        EXPECT_FALSE(written(write_var(type, 255, 2, "34 12 78 56")).empty()) << "type " << type;
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(WriteRequest, OnlyTheCacheMutexIsTakenAndOnlyForTheCache) {
    const auto write = [] {
        WriteRegister(write_var(8, 0, 1, "34 12"));
    };
    EXPECT_TRUE(support::takes_only({&PLC_driver.cache_mutex}, write));
    PLC_driver.comm_failed = true;
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.cache_mutex, write));
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.cache_mutex, [] {
        WriteAnalog(write_var(8, 0, 1, "34 12"));
        WriteAnalog_2(write_var(8, 255, 2, "34 12"), 256);
        WriteAnalog_3(write_var(14, 255, 2, "34 12"), 256);
        WriteAnalog_bit(write_var(16, 0x23, 1, "01"));
    }));
}

// ---- refused writes

TEST_F(WriteRequest, ATypeOutside0To17QueuesNothingAndChangesNothing) {
    for (int type : {18, 19, 255, 1000, -1, -18, int_max, int_min}) {
        WriteRegister(write_var(type, 10, 1, "34 12"));
        WriteAnalog(write_var(type, 10, 1, "34 12"));
        expect_nothing_done(std::to_string(type).c_str());
    }
}

TEST_F(WriteRequest, WriteAnalogRefusesTheBitsInsideRegisters) {
    for (int type : {15, 16, 17}) {
        WriteAnalog(write_var(type, 10, 1, "34 12"));
        expect_nothing_done(std::to_string(type).c_str());
    }
}

TEST_F(WriteRequest, AFrameOf1015DataBytesIsTheLongest) {
    const struct {
        int type;
        int fits;
        int sent;
    } rows[] = {{1, 1015, 1024}, {7, 1014, 1023}, {12, 1014, 1023}, {13, 1012, 1021}, {14, 1014, 1023}};
    for (const auto &row : rows) {
        const TightBytes longest(pattern(row.fits));
        EXPECT_EQ(written(write_var(row.type, 9000, 2, longest.borrowed())).size(), 1u) << "type " << row.type;
        EXPECT_EQ(frame(0).send_len, row.sent) << "type " << row.type;
        EXPECT_EQ(frame(0).frame.size(), row.sent) << "type " << row.type;
        EXPECT_EQ(support::crc16(frame(0).frame), 0u) << "type " << row.type;
    }
    PLC_driver.frame_list.clear();
    support::clear_caches();
    info.success_count = 9;
    info.success_limit = 9;
    for (const auto &row : rows) {
        WriteRegister(write_var(row.type, 9000, 2, pattern(row.fits + 1)));
        WriteRegister(write_var(row.type, 9000, 2, pattern(65535)));
        WriteRegister(write_var(row.type, 9000, 2, pattern(65540)));
        WriteAnalog(write_var(row.type, 9000, 2, pattern(row.fits + 1)));
        expect_nothing_done(std::to_string(row.type).c_str());
    }
}

// What does not go into the frame cannot make it too long.
TEST_F(WriteRequest, ASingleBitIsSentHoweverManyValueBytesComeWithIt) {
    EXPECT_EQ(written(write_var(0, 0, 1, pattern(70000))), Lines{"01 05 04 B0 FF 00 8C ED"});
    EXPECT_EQ(written(write_var(16, 0x23, 1, pattern(70000))).size(), 2u);
}

TEST_F(WriteRequest, ASplitWriteIsRefusedWholeIfEitherPartDoesNotFit) {
    for (int type : {8, 14}) {
        EXPECT_EQ(written(write_var(type, 0, 256 + 507, pattern(2000))).size(), 2u) << "type " << type;
        EXPECT_EQ(frame(1).send_len, 9 + 2 * 507);
        EXPECT_EQ(support::crc16(frame(1).frame), 0u);
    }
    for (int type : {7, 12})
        EXPECT_EQ(written(write_var(type, 8000 - 507, 508, pattern(2000))).size(), 2u) << "type " << type;
    PLC_driver.frame_list.clear();
    PLC_driver.word_cache.clear();
    info.success_count = 9;
    info.success_limit = 9;
    for (int type : {8, 14})
        WriteRegister(write_var(type, 0, 256 + 508, pattern(2000)));
    for (int type : {7, 12})
        WriteRegister(write_var(type, 8000 - 508, 509, pattern(2000)));
    WriteAnalog_2(write_var(9, 0, 600, pattern(2000)), 508);
    WriteAnalog_3(write_var(9, 0, 600, pattern(2000)), 508);
    WriteAnalog_2(write_var(9, 0, 600, pattern(2000)), 92);
    WriteAnalog_3(write_var(9, 0, 600, pattern(2000)), 92);
    expect_nothing_done("too long");
}

// ---- numbers at the ends of their range

TEST_F(WriteRequest, TheStationIsItsLow8BitsInTheFrameAndWholeInTheRecord) {
    for (int station : {0x1FF, -1, 255, int_max}) {
        written(write_var(0, 0, 1, "01", station));
        EXPECT_EQ(hex(frame(0).frame.left(2)), "FF 05") << station;
        EXPECT_EQ(frame(0).var.station_no, station);
    }
    written(write_var(16, 0x23, 1, "01", 0x102));
    EXPECT_EQ(frames_in_flight(), (Lines{"02 03 1F 42 00 01 23 F9", "02 06 1F 42 00 00 00 00"}));
    written(write_var(8, 255, 2, "34 12 78 56", 0x102));
    EXPECT_EQ(frames_in_flight(), (Lines{"02 10 20 3F 00 01 02 12 34 9B 1A", "02 10 2E E0 00 01 02 56 78 55 40"}));
}

TEST_F(WriteRequest, TheCountIsItsLow16BitsInTheFrame) {
    const auto quantity = [](int type, int count) {
        written(write_var(type, 9000, count, "01 02 03 04"));
        return hex(frame(0).frame.mid(4, 2));
    };
    EXPECT_EQ(quantity(7, 0), "00 00");
    EXPECT_EQ(quantity(7, -5), "FF FB");
    EXPECT_EQ(quantity(7, 0x12345), "23 45");
    EXPECT_EQ(quantity(7, int_max), "FF FF");
    EXPECT_EQ(quantity(7, int_min), "00 00");
    EXPECT_EQ(quantity(4, int_max), "FF FF");
    EXPECT_EQ(quantity(12, -1), "FF FF");
    EXPECT_EQ(quantity(13, int_max), "FF FE");
    EXPECT_EQ(quantity(13, int_min), "00 00");
    EXPECT_EQ(quantity(13, -1), "FF FE");
    EXPECT_EQ(quantity(13, 0x8001), "00 02");
    EXPECT_EQ(quantity(14, int_min), "00 00");
}

TEST_F(WriteRequest, TheMappedAddressIsItsLow16BitsInTheFrame) {
    const auto address = [](int type, int addr) {
        written(write_var(type, addr, 1, "01 02 03 04"));
        return hex(frame(0).frame.mid(2, 2));
    };
    EXPECT_EQ(address(7, int_max), "A4 0F");
    EXPECT_EQ(address(7, int_min), "00 00");
    EXPECT_EQ(address(2, int_min), "07 D0");
    EXPECT_EQ(address(13, int_max), "25 E2");
    EXPECT_EQ(address(13, int_min), "25 E4");
    EXPECT_EQ(address(0, -1), "04 AF");
    EXPECT_EQ(address(8, int_max), "2D DF");
}

TEST_F(WriteRequest, TheSplitIsDecidedBySumsOf64Bits) {
    EXPECT_EQ(written(write_var(7, int_max, int_max, "34 12")).size(), 1u);
    EXPECT_EQ(written(write_var(7, int_min, int_max, "34 12")).size(), 1u);
    EXPECT_EQ(written(write_var(7, int_min, int_min, "34 12")).size(), 1u);
    PLC_driver.frame_list.clear();
    PLC_driver.word_cache.clear();
    info.success_count = 9;
    info.success_limit = 9;
    for (int type : {7, 12})
        WriteRegister(write_var(type, 7999, int_max, "34 12"));
    for (int type : {8, 14})
        WriteRegister(write_var(type, 255, int_max, "34 12"));
    WriteRegister(write_var(8, -1000000, int_max, "34 12"));
    expect_nothing_done("a second part of 2 to the 31 registers");
}

TEST_F(WriteRequest, ASplitAtTheEndsOfTheRangeReadsAndWritesNothingElse) {
    const TightBytes value{bytes("11 22 33")};
    for (int split : {int_min, int_min + 1, -1, 0, 1, int_max - 1, int_max})
        for (int addr : {int_min, -1, 0, 1, int_max})
            for (int count : {int_min, -1, 0, 1, int_max}) {
                WriteAnalog_2(write_var(7, addr, count, value.borrowed()), split);
                WriteAnalog_3(write_var(12, addr, count, value.borrowed()), split);
                for (const Protocol &request : PLC_driver.frame_list)
                    EXPECT_LE(request.send_len, 1024);
                PLC_driver.frame_list.clear();
            }
}

// ---- what the builders change

TEST_F(WriteRequest, FramesAreAppendedAsCopiesOfTheirOwn) {
    WriteRegister(write_var(0, 0, 1, "01"));
    WriteRegister(write_var(7, 0, 2, "34 12 78 56"));
    WriteRegister(write_var(15, 0x23, 1, "01"));
    EXPECT_EQ(frames_in_flight(), (Lines{"01 05 04 B0 FF 00 8C ED", "01 10 00 00 00 02 04 12 34 56 78 88 9B",
                                         "01 03 00 02 00 01 25 CA", "01 06 00 02 00 00 00 00"}));
}

TEST_F(WriteRequest, TheFrameIsComposedInTheSendBuffer) {
    WriteRegister(write_var(7, 0, 2, "34 12 78 56"));
    const QByteArray composed(reinterpret_cast<const char *>(PLC_driver.send_buf), 13);
    EXPECT_EQ(hex(composed), hex(frame(0).frame));
    for (unsigned i = 13; i < sizeof PLC_driver.send_buf; ++i)
        ASSERT_EQ(PLC_driver.send_buf[i], 0) << "byte " << i;
}

TEST_F(WriteRequest, OnlyTheFrameListTheSendBufferTheCacheAndTwoWordsChange) {
    RW_VAR queued = write_var(7, 1, 1, "01 02");
    AddListWriteVar(&queued);
    info.retry_count = 7;
    info.finish_flag = 5;
    WriteRegister(queued);
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.last_op, 100);
    EXPECT_EQ(PLC_driver.write_tries, 0);
    EXPECT_EQ(info.retry_count, 7);
    EXPECT_EQ(info.finish_flag, 5);
    EXPECT_TRUE(write_results.empty());
}

}  // namespace
