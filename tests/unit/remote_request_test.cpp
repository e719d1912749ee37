#include "frames/remote_request.h"

#include "exchange.h"

#include <cstring>

using support::bytes;
using support::describe;
using support::DriverTest;
using support::hex;
using support::int_max;
using support::int_min;
using support::lengths;
using support::make_var;
using support::TightBytes;
using support::write_var;

namespace {

class RemoteRequest : public DriverTest {
protected:
    RemoteRequest() {
        info.remote_mode = 1;
        info.success_count = 9;
        info.success_limit = 9;
    }

    static const Protocol &frame() {
        return PLC_driver.frame_list.first();
    }

    static std::string read(const RW_VAR &var) {
        PLC_driver.frame_list.clear();
        Remote_ReadVar(var);
        EXPECT_EQ(PLC_driver.frame_list.size(), 1);
        return hex(frame().frame);
    }

    static std::string written(const RW_VAR &var) {
        PLC_driver.frame_list.clear();
        Remote_WriteVar(var);
        EXPECT_EQ(PLC_driver.frame_list.size(), 1);
        return hex(frame().frame);
    }

    // The lengths of the read of `count` units.
    static std::string read_lengths(int type, int count) {
        read(make_var(type, 0, count));
        return lengths(frame());
    }
};

// The low byte of the sum of all bytes but the last.
int sum_of(const QByteArray &frame) {
    unsigned sum = 0;
    for (int i = 0; i + 1 < frame.size(); ++i)
        sum += static_cast<unsigned char>(frame.at(i));
    return static_cast<int>(sum & 0xFF);
}

int byte_of(const QByteArray &frame, int index) {
    return static_cast<unsigned char>(frame.at(index));
}

// ---- reads

TEST_F(RemoteRequest, EveryFieldHasItsPlaceHighByteFirst) {
    RW_VAR var = support::full_var();
    var.var_group = 0x11;
    var.host_ref2 = 0x22;
    var.area_no = 0x33;
    var.station_no = 0x44;
    var.reg_type = 0x5566;
    var.reg_addr = 0x778899AA;
    var.reg_count = 0x1BCC;
    var.store_mode = 0x1DEEFF01;
    var.aux_word = 0x02030405;
    EXPECT_EQ(read(var), "16 11 22 33 44 55 66 77 88 99 AA 1B CC 1D EE FF 01 02 03 04 05 BD");
    EXPECT_EQ(describe(frame().var), describe(var));
}

TEST_F(RemoteRequest, FieldsWiderThanTheirPlaceAreCutToTheirLowBits) {
    RW_VAR var = make_var(0x12345, int_min, 0x7654321, 0x101);
    var.var_group = 0x1FE;
    var.host_ref2 = -1;
    var.area_no = int_min;
    EXPECT_EQ(read(var), "16 FE FF 00 01 23 45 80 00 00 00 43 21 00 00 00 00 00 00 00 00 60");
    EXPECT_EQ(describe(frame().var), describe(var));
    var = make_var(-1, int_max, -1, -1);
    var.var_group = int_max;
    var.store_mode = int_min;
    var.aux_word = int_max;
    EXPECT_EQ(read(var), "16 FF 00 00 FF FF FF 7F FF FF FF FF FF 80 00 00 00 7F FF FF FF 88");
    EXPECT_EQ(read(make_var(int_min, -1, int_min)),
              "16 00 00 00 01 00 00 FF FF FF FF 00 00 00 00 00 00 00 00 00 00 13");
}

TEST_F(RemoteRequest, TheValueBytesOfAReadAreNotSent) {
    EXPECT_EQ(read(write_var(8, 100, 10, "AA BB CC")),
              "16 00 01 00 01 00 08 00 00 00 64 00 0A 00 00 00 00 00 00 00 00 8E");
}

TEST_F(RemoteRequest, TheReplySizeFollowsFromTheType) {
    for (int type : {0, 1, 2, 3, 4, 5, 6}) {
        EXPECT_EQ(read_lengths(type, 8), "send 22, reply 6, 1 data bytes at 3") << "type " << type;
        EXPECT_EQ(read_lengths(type, 1), "send 22, reply 6, 1 data bytes at 3") << "type " << type;
        EXPECT_EQ(read_lengths(type, 0), "send 22, reply 5, 0 data bytes at 3") << "type " << type;
    }
    for (int type : {7, 8, 9, 10, 11, 12, 14, 15, 16, 17, 18, 255, int_max, -1, -13, int_min}) {
        EXPECT_EQ(read_lengths(type, 9), "send 22, reply 23, 18 data bytes at 3") << "type " << type;
        EXPECT_EQ(read_lengths(type, 0), "send 22, reply 5, 0 data bytes at 3") << "type " << type;
        EXPECT_EQ(read_lengths(type, -1), "send 22, reply 3, -2 data bytes at 3") << "type " << type;
    }
    EXPECT_EQ(read_lengths(13, 9), "send 22, reply 41, 36 data bytes at 3");
}

TEST_F(RemoteRequest, TheReplySizeOfAHugeCountIsTheLow32BitsOfItsSum) {
    EXPECT_EQ(read_lengths(0, int_max), "send 22, reply 268435461, 268435456 data bytes at 3");
    EXPECT_EQ(read_lengths(7, int_max), "send 22, reply 3, -2 data bytes at 3");
    EXPECT_EQ(read_lengths(13, int_max), "send 22, reply 1, -4 data bytes at 3");
    EXPECT_EQ(read_lengths(7, int_min), "send 22, reply 5, 0 data bytes at 3");
    EXPECT_EQ(read_lengths(13, int_min), "send 22, reply 5, 0 data bytes at 3");
    EXPECT_EQ(read_lengths(7, 1 << 30), "send 22, reply -2147483643, -2147483648 data bytes at 3");
}

// ---- writes

TEST_F(RemoteRequest, OnlyStation0ExpectsNoReply) {
    for (int station : {256, -1, -256, 1, int_min}) {
        written(write_var(8, 100, 1, "12 34", station));
        EXPECT_EQ(lengths(frame()), "send 24, reply 8, 0 data bytes at 0") << "station " << station;
    }
}

TEST_F(RemoteRequest, AWriteWithoutValueBytesIs22BytesLong) {
    EXPECT_EQ(written(write_var(8, 100, 2, "")), "16 00 01 00 01 00 08 00 00 00 64 00 02 00 00 00 00 00 00 00 00 86");
    EXPECT_EQ(lengths(frame()), "send 22, reply 8, 0 data bytes at 0");
}

// The value is sent in the order that the record has it, for every type and length.
TEST_F(RemoteRequest, TheValueBytesAreSentUnchangedForEveryTypeAndLength) {
    const QByteArray all = bytes("11 22 33 44 55 66 77 88 99");
    for (int type = -1; type <= 18; ++type)
        for (int size = 0; size <= 9; ++size) {
            const TightBytes value(all.left(size));
            written(write_var(type, 10, 5, value.borrowed()));
            const QByteArray &sent = frame().frame;
            ASSERT_EQ(sent.size(), 22 + size);
            EXPECT_EQ(hex(sent.mid(21, size)), hex(all.left(size))) << "type " << type;
            EXPECT_EQ(byte_of(sent, 0), 22 + size);
            EXPECT_EQ(byte_of(sent, 5) * 256 + byte_of(sent, 6), type & 0xFFFF);
            EXPECT_EQ(byte_of(sent, 21 + size), sum_of(sent)) << "type " << type;
        }
}

TEST_F(RemoteRequest, AWriteOfMoreThan1015BytesIsSentWhole) {
    const QByteArray value(5000, '\x5A');
    written(write_var(7, 100, 2500, value));
    EXPECT_EQ(lengths(frame()), "send 5022, reply 8, 0 data bytes at 0");
    EXPECT_EQ(frame().frame.mid(21, 5000), value);
    EXPECT_EQ(byte_of(frame().frame, 0), 5022 % 256);
    EXPECT_EQ(byte_of(frame().frame, 5021), sum_of(frame().frame));
}

// The checksum helper counts its bytes in 16 bits; the sum of a longer write still covers every byte.
TEST_F(RemoteRequest, AWriteOfMoreThan65535BytesIsSummedWhole) {
    for (int size : {65514, 65515, 65536, 70000, 200000}) {
        QByteArray value(size, '\x01');
        value[size - 1] = '\x40';
        written(write_var(18, 100, 1, value));
        const QByteArray &sent = frame().frame;
        ASSERT_EQ(sent.size(), 22 + size);
        EXPECT_EQ(frame().send_len, 22 + size);
        EXPECT_EQ(byte_of(sent, 0), (22 + size) % 256);
        EXPECT_EQ(byte_of(sent, 21 + size), sum_of(sent)) << size << " bytes";
    }
}

TEST_F(RemoteRequest, AWriteOfAnUnknownTypeIsSentButNotCached) {
    for (int type : {18, -1, int_max, int_min})
        written(write_var(type, 100, 1, "34 12"));
    EXPECT_TRUE(support::caches_empty());
}

// ---- both

TEST_F(RemoteRequest, RequestsAreAppendedToThoseAlreadyThere) {
    Remote_ReadVar(make_var(8, 1, 1));
    Remote_WriteVar(write_var(8, 2, 1, "01 02"));
    Remote_ReadVar(make_var(8, 3, 1));
    ASSERT_EQ(PLC_driver.frame_list.size(), 3);
    EXPECT_EQ(PLC_driver.frame_list.at(0).var.reg_addr, 1);
    EXPECT_EQ(PLC_driver.frame_list.at(1).var.reg_addr, 2);
    EXPECT_EQ(PLC_driver.frame_list.at(2).var.reg_addr, 3);
}

TEST_F(RemoteRequest, TheSendBufferIsNotUsed) {
    std::memset(PLC_driver.send_buf, 0x5A, sizeof PLC_driver.send_buf);
    Remote_ReadVar(make_var(8, 1, 1));
    Remote_WriteVar(write_var(8, 2, 1, "01 02"));
    for (unsigned i = 0; i < sizeof PLC_driver.send_buf; ++i)
        ASSERT_EQ(PLC_driver.send_buf[i], 0x5A) << "byte " << i;
}

TEST_F(RemoteRequest, OnlyAWriteTakesALockAndOnlyCacheMutex) {
    const auto read_one = [] {
        Remote_ReadVar(make_var(8, 1, 1));
    };
    const auto write_one = [] {
        Remote_WriteVar(write_var(8, 2, 1, "01 02"));
    };
    EXPECT_TRUE(support::takes_only({}, read_one));
    EXPECT_TRUE(support::takes_only({&PLC_driver.cache_mutex}, write_one));
}

}  // namespace
