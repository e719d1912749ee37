#include "frames/read_request.h"

#include "driver_test.h"
#include "hex_text.h"

#include <limits>

using support::DriverTest;
using support::hex;
using support::make_var;

namespace {

const int int_max = std::numeric_limits<int>::max();
const int int_min = std::numeric_limits<int>::min();

class ReadRequest : public DriverTest {
protected:
    static const Protocol &frame(int index) {
        return PLC_driver.frame_list.at(index);
    }

    static int frames() {
        return static_cast<int>(PLC_driver.frame_list.size());
    }

    // The one frame that a read of the whole variable gives.
    static Protocol whole(const RW_VAR &var) {
        PLC_driver.frame_list.clear();
        ReadRegister(var);
        EXPECT_EQ(frames(), 1);
        return PLC_driver.frame_list.isEmpty() ? Protocol() : PLC_driver.frame_list.first();
    }

    // The parts that a read is made of: "(address,count)" of each record.
    static std::string parts(const RW_VAR &var) {
        PLC_driver.frame_list.clear();
        ReadRegister(var);
        QList<RW_VAR> vars;
        for (const Protocol &request : PLC_driver.frame_list)
            vars.append(request.var);
        return support::spans(vars);
    }
};

struct FrameRow {
    const char *name;
    int type;
    int count;
    const char *frame;
    int data_len;
};

class ReadFrame : public ReadRequest, public ::testing::WithParamInterface<FrameRow> {};

void PrintTo(const FrameRow &row, std::ostream *out) {
    *out << row.name;
}

}  // namespace

TEST_P(ReadFrame, HasTheFunctionCodeTheQuantityAndTheReplySizeOfItsType) {
    const FrameRow &row = GetParam();
    info.success_count = 9;
    info.success_limit = 9;
    ReadRegister(make_var(row.type, 5, row.count));
    ASSERT_EQ(frames(), 1);
    EXPECT_EQ(hex(frame(0).frame), row.frame);
    EXPECT_EQ(frame(0).send_len, 8);
    EXPECT_EQ(frame(0).reply_len, row.data_len + 5);
    EXPECT_EQ(frame(0).data_offset, 3);
    EXPECT_EQ(frame(0).data_len, row.data_len);
    EXPECT_EQ(frame(0).var.reg_addr, 5);
    EXPECT_EQ(frame(0).var.reg_count, row.count);
    EXPECT_EQ(info.success_count, 0);
    EXPECT_EQ(info.success_limit, 1);
}

INSTANTIATE_TEST_SUITE_P(Types, ReadFrame,
                         ::testing::Values(FrameRow{"Type0_Coils", 0, 10, "01 01 04 B5 00 0A AC DB", 2},
                                           FrameRow{"Type1_Coils", 1, 10, "01 01 00 05 00 0A AC 0C", 2},
                                           FrameRow{"Type2_Coils", 2, 10, "01 01 07 D5 00 0A AC 81", 2},
                                           FrameRow{"Type3_Coils", 3, 10, "01 01 11 35 00 0A A9 3F", 2},
                                           FrameRow{"Type4_Coils", 4, 10, "01 01 17 75 00 0A A8 63", 2},
                                           FrameRow{"Type5_Coils", 5, 10, "01 01 1F 45 00 0A AA 0C", 2},
                                           FrameRow{"Type6_Coils", 6, 10, "01 01 23 F5 00 0A A7 BB", 2},
                                           FrameRow{"Type7_Registers", 7, 10, "01 03 00 05 00 0A D5 CC", 20},
                                           FrameRow{"Type8_Registers", 8, 10, "01 03 1F 45 00 0A D3 CC", 20},
                                           FrameRow{"Type9_Registers", 9, 10, "01 03 23 2D 00 0A 5E 40", 20},
                                           FrameRow{"Type10_Registers", 10, 10, "01 03 25 21 00 0A 9E CB", 20},
                                           FrameRow{"Type11_Registers", 11, 10, "01 03 21 39 00 0A 1F FC", 20},
                                           FrameRow{"Type13_TwoRegistersEach", 13, 10, "01 03 25 EE 00 14 2E FC", 40},
                                           FrameRow{"Type0_7Bits", 0, 7, "01 01 04 B5 00 07 6D 1E", 1},
                                           FrameRow{"Type0_8Bits", 0, 8, "01 01 04 B5 00 08 2D 1A", 1},
                                           FrameRow{"Type0_9Bits", 0, 9, "01 01 04 B5 00 09 EC DA", 2},
                                           FrameRow{"Type6_160Bits", 6, 160, "01 01 23 F5 00 A0 27 C4", 20},
                                           FrameRow{"Type7_1Register", 7, 1, "01 03 00 05 00 01 94 0B", 2},
                                           FrameRow{"Type7_100Registers", 7, 100, "01 03 00 05 00 64 54 20", 200},
                                           FrameRow{"Type13_50Values", 13, 50, "01 03 25 EE 00 64 2F 18", 200}),
                         [](const ::testing::TestParamInfo<FrameRow> &row) { return std::string(row.param.name); });

TEST_F(ReadRequest, Type8Of10RegistersFrom0IsTheFrame01_03_1F40_000A) {
    const Protocol request = whole(make_var(8, 0, 10));
    EXPECT_EQ(hex(request.frame), "01 03 1F 40 00 0A C3 CD");
    EXPECT_EQ(request.reply_len, 25);
    EXPECT_EQ(request.data_len, 20);
}

TEST_F(ReadRequest, Type0Of10BitsIsFunction1Quantity10DataLen2ReplyLen7) {
    const Protocol request = whole(make_var(0, 0, 10));
    EXPECT_EQ(hex(request.frame), "01 01 04 B0 00 0A BC DA");
    EXPECT_EQ(request.data_len, 2);
    EXPECT_EQ(request.reply_len, 7);
}

TEST_F(ReadRequest, Type13Of3ValuesIsQuantity6DataLen12ReplyLen17) {
    const Protocol request = whole(make_var(13, 0, 3));
    EXPECT_EQ(hex(request.frame), "01 03 25 E4 00 06 8E F3");
    EXPECT_EQ(request.data_len, 12);
    EXPECT_EQ(request.reply_len, 17);
}

TEST_F(ReadRequest, Type8From250Count10IsTwoFramesAt8250And12000) {
    info.success_count = 9;
    ReadRegister(make_var(8, 250, 10));
    ASSERT_EQ(frames(), 2);
    EXPECT_EQ(hex(frame(0).frame), "01 03 20 3A 00 06 EE 05");
    EXPECT_EQ(frame(0).var.reg_addr, 250);
    EXPECT_EQ(frame(0).var.reg_count, 6);
    EXPECT_EQ(frame(0).send_len, 8);
    EXPECT_EQ(frame(0).reply_len, 17);
    EXPECT_EQ(frame(0).data_offset, 3);
    EXPECT_EQ(frame(0).data_len, 12);
    EXPECT_EQ(hex(frame(1).frame), "01 03 2E E0 00 04 4C D7");
    EXPECT_EQ(frame(1).var.reg_addr, 256);
    EXPECT_EQ(frame(1).var.reg_count, 4);
    EXPECT_EQ(frame(1).send_len, 8);
    EXPECT_EQ(frame(1).reply_len, 13);
    EXPECT_EQ(frame(1).data_offset, 3);
    EXPECT_EQ(frame(1).data_len, 8);
    EXPECT_EQ(info.success_count, 0);
    EXPECT_EQ(info.success_limit, 2);
}

TEST_F(ReadRequest, Type2From2040Count8StaysOneFrameAndCount9SplitsInto8BitsAnd1Bit) {
    EXPECT_EQ(hex(whole(make_var(2, 2040, 8)).frame), "01 01 0F C8 00 08 BF 26");
    EXPECT_EQ(info.success_limit, 1);

    PLC_driver.frame_list.clear();
    ReadRegister(make_var(2, 2040, 9));
    ASSERT_EQ(frames(), 2);
    EXPECT_EQ(hex(frame(0).frame), "01 01 0F C8 00 08 BF 26");
    EXPECT_EQ(frame(0).data_len, 1);
    EXPECT_EQ(frame(0).reply_len, 6);
    EXPECT_EQ(hex(frame(1).frame), "01 01 2E E0 00 01 F5 14");
    EXPECT_EQ(frame(1).data_len, 1);
    EXPECT_EQ(frame(1).reply_len, 6);
    EXPECT_EQ(info.success_limit, 2);
}

TEST_F(ReadRequest, Type7From8000StaysOneFrameEvenWithALargeCount) {
    const Protocol request = whole(make_var(7, 8000, 1000));
    EXPECT_EQ(hex(request.frame), "01 03 C3 50 03 E8 79 21");
    EXPECT_EQ(request.data_len, 2000);
}

TEST_F(ReadRequest, Type3SplitsAt256) {
    ReadRegister(make_var(3, 250, 20));
    ASSERT_EQ(frames(), 2);
    EXPECT_EQ(hex(frame(0).frame), "01 01 12 2A 00 06 98 B8");
    EXPECT_EQ(frame(0).data_len, 1);
    EXPECT_EQ(hex(frame(1).frame), "01 01 75 30 00 0E A7 CD");
    EXPECT_EQ(frame(1).data_len, 2);
}

TEST_F(ReadRequest, Type7SplitsAt8000) {
    ReadRegister(make_var(7, 7990, 100, 17));
    ASSERT_EQ(frames(), 2);
    EXPECT_EQ(hex(frame(0).frame), "11 03 1F 36 00 0A 20 87");
    EXPECT_EQ(frame(0).data_len, 20);
    EXPECT_EQ(hex(frame(1).frame), "11 03 C3 50 00 5A FB 34");
    EXPECT_EQ(frame(1).data_len, 180);
}

TEST_F(ReadRequest, EveryRowOfTheSplitTableSplitsJustAcrossItsBoundary) {
    struct Row {
        int type;
        int split;
    };
    for (const Row &row : {Row{2, 2048}, Row{3, 256}, Row{7, 8000}, Row{8, 256}}) {
        SCOPED_TRACE(row.type);
        const std::string last = std::to_string(row.split - 1);
        const std::string split = std::to_string(row.split);
        EXPECT_EQ(parts(make_var(row.type, row.split - 1, 1)), "(" + last + ",1)");
        EXPECT_EQ(info.success_limit, 1);
        EXPECT_EQ(parts(make_var(row.type, row.split - 1, 2)), "(" + last + ",1) (" + split + ",1)");
        EXPECT_EQ(info.success_limit, 2);
        EXPECT_EQ(parts(make_var(row.type, row.split, 2)), "(" + split + ",2)");
        EXPECT_EQ(parts(make_var(row.type, 0, row.split)), "(0," + split + ")");
        EXPECT_EQ(parts(make_var(row.type, 0, row.split + 1)), "(0," + split + ") (" + split + ",1)");
    }
}

TEST_F(ReadRequest, EveryOtherClassNeverSplits) {
    for (int type : {0, 1, 4, 5, 6, 9, 10, 11, 13})
        for (int boundary : {256, 2048, 8000}) {
            EXPECT_EQ(parts(make_var(type, boundary - 6, 10)), "(" + std::to_string(boundary - 6) + ",10)")
                << "type " << type;
            EXPECT_EQ(info.success_limit, 1);
        }
    EXPECT_EQ(parts(make_var(2, 250, 10)), "(250,10)");
    EXPECT_EQ(parts(make_var(7, 2040, 10)), "(2040,10)");
    EXPECT_EQ(parts(make_var(8, 7990, 20)), "(7990,20)");
}

TEST_F(ReadRequest, TheRecordCarriesTheVariableUnchangedWithItsUnmappedAddress) {
    RW_VAR var = support::full_var();
    var.reg_type = 8;
    ReadRegister(var);
    ASSERT_EQ(frames(), 1);
    EXPECT_EQ(support::describe(frame(0).var), support::describe(var));
}

TEST_F(ReadRequest, TheRecordsOfASplitCarryTheVariableReducedToTheirPart) {
    RW_VAR var = support::full_var();
    var.reg_type = 8;
    var.reg_addr = 250;
    var.reg_count = 10;
    ReadRegister(var);
    ASSERT_EQ(frames(), 2);
    RW_VAR low = var;
    low.reg_count = 6;
    RW_VAR high = var;
    high.reg_addr = 256;
    high.reg_count = 4;
    EXPECT_EQ(support::describe(frame(0).var), support::describe(low));
    EXPECT_EQ(support::describe(frame(1).var), support::describe(high));
    EXPECT_EQ(var.reg_addr, 250);
    EXPECT_EQ(var.reg_count, 10);
}

TEST_F(ReadRequest, FramesAreAppendedBehindThoseAlreadyThere) {
    ReadRegister(make_var(7, 1, 1));
    ReadRegister(make_var(7, 2, 1));
    ASSERT_EQ(frames(), 2);
    EXPECT_EQ(hex(frame(0).frame), "01 03 00 01 00 01 D5 CA");
    EXPECT_EQ(hex(frame(1).frame), "01 03 00 02 00 01 25 CA");
}

TEST_F(ReadRequest, TheStationIsItsLow8BitsInTheFrameAndWholeInTheRecord) {
    EXPECT_EQ(hex(whole(make_var(7, 1, 1, 247)).frame), "F7 03 00 01 00 01 C1 5C");
    EXPECT_EQ(hex(whole(make_var(7, 1, 1, 0)).frame), "00 03 00 01 00 01 D4 1B");
    const Protocol request = whole(make_var(7, 1, 1, 0x1FF));
    EXPECT_EQ(hex(request.frame), "FF 03 00 01 00 01 C0 14");
    EXPECT_EQ(request.var.station_no, 0x1FF);
    EXPECT_EQ(hex(whole(make_var(7, 1, 1, -1)).frame), "FF 03 00 01 00 01 C0 14");
}

// The builder neither checks nor clamps a count; keeping it within the protocol is the planner's business.
TEST_F(ReadRequest, TheCountIsItsLow16BitsInTheFrameAndWholeInTheReplySize) {
    const Protocol request = whole(make_var(9, 0, 0x12345));
    EXPECT_EQ(hex(request.frame), "01 03 23 28 23 45 16 85");
    EXPECT_EQ(request.data_len, 0x2468A);
    EXPECT_EQ(request.reply_len, 0x2468F);
    EXPECT_EQ(request.var.reg_count, 0x12345);
    EXPECT_EQ(hex(whole(make_var(9, 0, 0)).frame), "01 03 23 28 00 00 CE 46");
    EXPECT_EQ(whole(make_var(9, 0, 0)).reply_len, 5);
    EXPECT_EQ(hex(whole(make_var(9, 0, -1)).frame), "01 03 23 28 FF FF CF F6");
}

TEST_F(ReadRequest, TheMappedAddressIsItsLow16BitsInTheFrame) {
    EXPECT_EQ(hex(whole(make_var(7, 100000, 1)).frame), "01 03 2A B0 00 01 8D F5");
    EXPECT_EQ(hex(whole(make_var(7, -1, 1)).frame), "01 03 FF FF 00 01 84 2E");
    EXPECT_EQ(hex(whole(make_var(0, -1201, 1)).frame), "01 01 FF FF 00 01 FD EE");
}

TEST_F(ReadRequest, TheSplitIsDecidedBySumsOf64Bits) {
    EXPECT_EQ(parts(make_var(7, 7999, int_max)), "(7999,1) (8000,2147483646)");
    EXPECT_EQ(parts(make_var(7, int_min, int_max)), "(-2147483648,2147483647)");
    EXPECT_EQ(parts(make_var(7, int_max, int_max)), "(2147483647,2147483647)");
    EXPECT_EQ(parts(make_var(7, int_min, int_min)), "(-2147483648,-2147483648)");
    EXPECT_EQ(parts(make_var(2, 2047, int_max)), "(2047,1) (2048,2147483646)");
    EXPECT_EQ(parts(make_var(8, 255, int_max)), "(255,1) (256,2147483646)");
    EXPECT_EQ(parts(make_var(7, -1, 8002)), "(-1,8001) (8000,1)");
}

TEST_F(ReadRequest, TheLargestAndSmallestFieldsDoNoHarm) {
    for (int type = 0; type <= 13; ++type)
        for (int address : {int_min, -1, 0, 255, 2047, 7999, int_max})
            for (int count : {int_min, -1, 0, 1, int_max})
                for (int station : {int_min, -1, 0, 256, int_max}) {
                    PLC_driver.frame_list.clear();
                    ReadRegister(make_var(type, address, count, station));
                    for (const Protocol &request : PLC_driver.frame_list)
                        ASSERT_EQ(request.frame.size(), 8);
                }
}

TEST_F(ReadRequest, ATypeWithoutReadFrameQueuesNothingAndChangesNothing) {
    info.success_count = 7;
    info.success_limit = 8;
    for (int type : {12, 14, 15, 16, 17, 18, 255, -1, int_max, int_min}) {
        ReadRegister(make_var(type, 5, 10));
        ReadAnalog(make_var(type, 5, 10));
        ReadAnalog_2(make_var(type, 5, 10), 8);
        EXPECT_EQ(frames(), 0) << "type " << type;
        EXPECT_EQ(info.success_count, 7) << "type " << type;
        EXPECT_EQ(info.success_limit, 8) << "type " << type;
    }
}

TEST_F(ReadRequest, ReadAnalogNeverSplits) {
    ReadAnalog(make_var(8, 250, 10));
    ASSERT_EQ(frames(), 1);
    EXPECT_EQ(hex(frame(0).frame), "01 03 20 3A 00 0A EE 00");
    EXPECT_EQ(info.success_limit, 1);
}

TEST_F(ReadRequest, ReadAnalog_2CutsWhereItIsTold) {
    info.success_count = 5;
    ReadAnalog_2(make_var(7, 100, 10), 103);
    ASSERT_EQ(frames(), 2);
    EXPECT_EQ(hex(frame(0).frame), "01 03 00 64 00 03 44 14");
    EXPECT_EQ(frame(0).reply_len, 11);
    EXPECT_EQ(hex(frame(1).frame), "01 03 00 67 00 07 B5 D7");
    EXPECT_EQ(frame(1).reply_len, 19);
    EXPECT_EQ(info.success_count, 0);
    EXPECT_EQ(info.success_limit, 2);
}

TEST_F(ReadRequest, ReadAnalog_2QueuesNothingForAClassThatHasNoBoundary) {
    info.success_limit = 8;
    for (int type : {0, 1, 4, 5, 6, 9, 10, 11, 13})
        ReadAnalog_2(make_var(type, 5, 10), 8);
    EXPECT_EQ(frames(), 0);
    EXPECT_EQ(info.success_limit, 8);
}

TEST_F(ReadRequest, ABlockThatReachesPast2To31StaysOneFrameWhereThereIsNoHighRange) {
    ReadRegister(make_var(9, 2147483644, 8));
    ASSERT_EQ(frames(), 1);
    EXPECT_EQ(hex(frame(0).frame.left(6)), "01 03 23 24 00 08");
}

TEST_F(ReadRequest, TheFrameIsComposedInTheFirst8BytesOfTheSendBuffer) {
    for (unsigned char &byte : PLC_driver.send_buf)
        byte = 0xEE;
    ReadRegister(make_var(7, 100, 2));
    EXPECT_EQ(hex(QByteArray(reinterpret_cast<const char *>(PLC_driver.send_buf), 8)), "01 03 00 64 00 02 85 D4");
    for (unsigned i = 8; i < 1024; ++i)
        ASSERT_EQ(PLC_driver.send_buf[i], 0xEE) << "byte " << i;
}

TEST_F(ReadRequest, AQueuedFrameIsItsOwnCopy) {
    ReadRegister(make_var(7, 100, 2));
    for (unsigned char &byte : PLC_driver.send_buf)
        byte = 0xEE;
    EXPECT_EQ(hex(frame(0).frame), "01 03 00 64 00 02 85 D4");
}

// The cycle calls with `list_mutex` held, which is not recursive.
TEST_F(ReadRequest, TheBuildersTakeNoLock) {
    for (QMutex *mutex : {&PLC_driver.list_mutex, &PLC_driver.cache_mutex, &PLC_driver.station_mutex})
        EXPECT_TRUE(support::passes_by(*mutex, [] { ReadRegister(make_var(8, 250, 10)); }));
    EXPECT_EQ(frames(), 6);
}

TEST_F(ReadRequest, OnlyTheFrameListTheSendBufferAndTwoWordsChange) {
    PLC_driver.last_op = 2;
    PLC_driver.read_pass_count = 3;
    info.finish_flag = 1;
    info.retry_count = 4;
    ReadRegister(make_var(8, 250, 10));
    EXPECT_EQ(PLC_driver.last_op, 2);
    EXPECT_EQ(PLC_driver.read_pass_count, 3);
    EXPECT_EQ(info.finish_flag, 1);
    EXPECT_EQ(info.retry_count, 4);
    EXPECT_TRUE(PLC_driver.read_list.isEmpty());
    EXPECT_TRUE(PLC_driver.word_cache.isEmpty());
}
