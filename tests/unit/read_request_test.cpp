#include "frames/read_request.h"

#include "driver_test.h"
#include "hex_text.h"

using support::DriverTest;
using support::hex;
using support::int_max;
using support::int_min;
using support::make_var;

namespace {

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

TEST_F(ReadRequest, TheReplyHoldsWholeBytesOfBitsAndTwoOrFourBytesPerUnit) {
    const struct {
        int type;
        int count;
        int data_len;
    } rows[] = {{0, 7, 1}, {0, 8, 1}, {0, 9, 2}, {6, 160, 20}, {7, 1, 2}, {7, 100, 200}, {13, 50, 200}};
    for (const auto &row : rows) {
        const Protocol request = whole(make_var(row.type, 5, row.count));
        EXPECT_EQ(request.data_len, row.data_len) << "type " << row.type << ", " << row.count << " units";
        EXPECT_EQ(request.reply_len, row.data_len + 5) << "type " << row.type << ", " << row.count << " units";
    }
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

TEST_F(ReadRequest, OtherClassesNeverSplit) {
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

TEST_F(ReadRequest, TheRecordCarriesTheVariableUnmapped) {
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

TEST_F(ReadRequest, FramesAreAppendedToThoseAlreadyThere) {
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

// The builder neither checks nor limits a count; the planner keeps it within the protocol.
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

TEST_F(ReadRequest, TheLargestAndSmallestFieldsGiveWholeFrames) {
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

TEST_F(ReadRequest, ReadAnalog_2CutsAtItsArgument) {
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

TEST_F(ReadRequest, ABlockThatReachesPast2To31StaysOneFrame) {
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
    EXPECT_TRUE(support::takes_only({}, [] { ReadRegister(make_var(8, 250, 10)); }));
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

}  // namespace
