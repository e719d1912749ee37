#include "frames/reply_check.h"

#include "driver_test.h"
#include "hex_text.h"

using support::bytes;
using support::DriverTest;
using support::int_max;
using support::int_min;
using support::make_frame;
using support::make_var;

namespace {

// A read of two registers of station 1 is in flight.
class ReplyCheck : public DriverTest {
protected:
    ReplyCheck() {
        put_in_flight(make_var(7, 100, 2), "01 03 00 64 00 02 85 D4");
    }

    static void put_in_flight(const RW_VAR &var, const char *frame) {
        PLC_driver.frame_list.clear();
        PLC_driver.frame_list.append(make_frame(var, bytes(frame), 4));
    }

    static int check(const QByteArray &reply) {
        QByteArray copy = reply;
        return CheckGetData(&copy, static_cast<int>(copy.size()));
    }

    static int check(const char *reply) {
        return check(bytes(reply));
    }
};

TEST_F(ReplyCheck, AReplyOfAtMost3BytesIsRejected) {
    EXPECT_EQ(check("01 03 00"), 0);
    EXPECT_EQ(check("01 7E 80"), 0);
    EXPECT_EQ(check("01 03"), 0);
    EXPECT_EQ(check("FF FF"), 0);
    EXPECT_EQ(check("01"), 0);
    EXPECT_EQ(check(QByteArray()), 0);
    EXPECT_EQ(check(QByteArray("")), 0);
}

TEST_F(ReplyCheck, ANullReplyIsRejected) {
    EXPECT_EQ(CheckGetData(nullptr, 0), 0);
    EXPECT_EQ(CheckGetData(nullptr, 9), 0);
}

TEST_F(ReplyCheck, AnyReplyWhileNoFrameIsInFlightIsRejected) {
    PLC_driver.frame_list.clear();
    EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 0);
    EXPECT_EQ(CheckGetData(nullptr, 0), 0);
}

TEST_F(ReplyCheck, AWrongByteAnywhereIsRejected) {
    const QByteArray good = bytes("01 03 04 12 34 AB CD 00 20");
    for (int at = 0; at < good.size(); ++at)
        for (int bit = 0; bit < 8; ++bit) {
            QByteArray bad = good;
            bad[at] = static_cast<char>(bad.at(at) ^ (1 << bit));
            ASSERT_EQ(check(bad), 0) << "byte " << at << ", bit " << bit;
        }
}

TEST_F(ReplyCheck, AnyRemoteModeExceptZeroLeavesTheFunctionCodeUnchecked) {
    for (int remote_mode : {1, 2, -1, int_max, int_min}) {
        info.remote_mode = remote_mode;
        EXPECT_EQ(check("01 04 04 12 34 AB CD 01 97"), 1) << remote_mode;
    }
}

// In local mode the first byte of the frame is compared too: no reply matches a frame for a station above 255.
TEST_F(ReplyCheck, InLocalModeTheRequestsFirstByteMustBeTheStationToo) {
    put_in_flight(make_var(7, 100, 2, 1), "02 03 00 64 00 02 85 E7");
    EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 0);
    EXPECT_EQ(check("02 03 04 12 34 AB CD 33 20"), 0);
    info.remote_mode = 1;
    EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 1);
}

TEST_F(ReplyCheck, AStationOutside0To255NeverMatches) {
    for (int station : {256, 257, -1, -255, int_max, int_min}) {
        put_in_flight(make_var(7, 100, 2, station), "01 03 00 64 00 02 85 D4");
        EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 0) << station;
        EXPECT_EQ(check("FF 03 04 12 34 AB CD 1F EF"), 0) << station;
        EXPECT_EQ(check("00 03 04 12 34 AB CD 10 E0"), 0) << station;
        info.remote_mode = 1;
        EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 0) << station;
        EXPECT_EQ(check("FF 03 04 12 34 AB CD 1F EF"), 0) << station;
        info.remote_mode = 0;
    }
}

TEST_F(ReplyCheck, TheStationIsComparedAsAnUnsignedByte) {
    put_in_flight(make_var(7, 100, 2, 247), "F7 03 00 64 00 02 91 42");
    EXPECT_EQ(check("F7 03 04 12 34 AB CD 96 2F"), 1);
    put_in_flight(make_var(7, 100, 2, 255), "FF 03 00 64 00 02 90 0A");
    EXPECT_EQ(check("FF 03 04 12 34 AB CD 1F EF"), 1);
    put_in_flight(make_var(7, 100, 2, 0), "00 03 00 64 00 02 84 05");
    EXPECT_EQ(check("00 03 04 12 34 AB CD 10 E0"), 1);
}

TEST_F(ReplyCheck, TheLengthArgumentIsNotUsed) {
    QByteArray reply = bytes("01 03 04 12 34 AB CD 00 20");
    for (int length : {0, 1, 4, 8, 10, 100000, -1, int_max, int_min})
        EXPECT_EQ(CheckGetData(&reply, length), 1) << length;
    QByteArray bad = bytes("01 03 04 12 34 AB CD 00 00");
    for (int length : {0, 9, 5, int_max, int_min})
        EXPECT_EQ(CheckGetData(&bad, length), 0) << length;
}

// The caller compares the length with what the request expects.
TEST_F(ReplyCheck, TheByteCountAndTheExpectedLengthAreNotChecked) {
    EXPECT_EQ(check("01 03 FF 12 34 AB CD E5 F4"), 1);
    EXPECT_EQ(check("01 03 00 12 34 AB CD F1 E0"), 1);
    EXPECT_EQ(check("01 03 04 12 34 AB CD EF 01 23 68 7C"), 1);
    EXPECT_EQ(check("01 03 04 12 73 15"), 1);
}

TEST_F(ReplyCheck, AGoodReplyToAWriteHasNothingToStore) {
    for (int marker : {1, 2, -1}) {
        PLC_driver.frame_list.first().var.host_ref2 = marker;
        EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 2) << marker;
        EXPECT_EQ(check("01 03 04 12 34 AB CD 20 00"), 0) << marker;
    }
}

TEST_F(ReplyCheck, TheReadHalfOfABitWriteGives1AndItsWriteHalf2) {
    RW_VAR read_half = make_var(15, 163, 1);
    read_half.store_mode = -1;
    put_in_flight(read_half, "01 03 00 0A 00 01 A4 08");
    EXPECT_EQ(check("01 03 02 12 34 B5 33"), 1);

    RW_VAR write_half = make_var(15, 163, 1);
    write_half.host_ref2 = 1;
    put_in_flight(write_half, "01 06 00 0A 12 3C A5 79");
    EXPECT_EQ(check("01 06 00 0A 12 3C A5 79"), 2);
}

TEST_F(ReplyCheck, OnlyTheHeadOfTheFrameListIsAnswered) {
    PLC_driver.frame_list.append(make_frame(make_var(7, 100, 2, 2), bytes("02 03 00 64 00 02 85 E7"), 4));
    EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 1);
    EXPECT_EQ(check("02 03 04 12 34 AB CD 33 20"), 0);
}

TEST_F(ReplyCheck, ChangesNeitherTheReplyNorTheState) {
    QByteArray reply = bytes("01 03 04 12 34 AB CD 00 20");
    info.success_count = 3;
    info.retry_count = 4;
    EXPECT_EQ(CheckGetData(&reply, 9), 1);
    EXPECT_EQ(support::hex(reply), "01 03 04 12 34 AB CD 00 20");
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
    EXPECT_EQ(support::hex(PLC_driver.frame_list.first().frame), "01 03 00 64 00 02 85 D4");
    EXPECT_EQ(info.success_count, 3);
    EXPECT_EQ(info.retry_count, 4);
    EXPECT_TRUE(PLC_driver.word_cache.isEmpty());
}

TEST_F(ReplyCheck, AReplyThatTheHostSharesStaysShared) {
    const QByteArray kept = bytes("01 03 04 12 34 AB CD 00 20");
    QByteArray reply = kept;
    EXPECT_EQ(CheckGetData(&reply, 9), 1);
    EXPECT_EQ(reply.constData(), kept.constData());
    EXPECT_FALSE(reply.isDetached());
}

TEST_F(ReplyCheck, TakesNoLock) {
    EXPECT_TRUE(support::takes_only({}, [] { EXPECT_EQ(check("01 03 00 20 F0"), 1); }));
}

// The CRC covers size - 2 bytes modulo 65536: at 65538 bytes that is none at all, whose CRC is FFFF. A count that did
// not wrap would be different from what is deployed.
TEST_F(ReplyCheck, TheCrcCoversTheSizeLess2Modulo65536) {
    QByteArray reply = bytes("01 03 00") + QByteArray(65535 - 2, 0x5A) + bytes("FF FF");
    ASSERT_EQ(reply.size(), 65538);
    EXPECT_EQ(check(reply), 1);

    // 65541 bytes: the first three are covered.
    reply = bytes("01 03 00") + QByteArray(65536, 0x5A) + bytes("20 F0");
    ASSERT_EQ(reply.size(), 65541);
    EXPECT_EQ(check(reply), 1);
    reply[100] = 0x00;
    EXPECT_EQ(check(reply), 1);
    reply[2] = 0x01;
    EXPECT_EQ(check(reply), 0);
}

TEST_F(ReplyCheck, InLocalModeNoReplyMatchesARequestWithoutBytes) {
    PLC_driver.frame_list.first().frame.clear();
    EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 0);
    PLC_driver.frame_list.first().frame = bytes("01");
    EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 0);
    // Not even a reply with the zero that follows the end of a byte array.
    EXPECT_EQ(check(support::with_crc(bytes("01 00 00"))), 0);
}

TEST_F(ReplyCheck, ARequestOfTwoBytesIsEnoughForTheComparison) {
    PLC_driver.frame_list.first().frame = bytes("01 03");
    EXPECT_EQ(check("01 03 04 12 34 AB CD 00 20"), 1);
}

TEST_F(ReplyCheck, ReadsNothingOutsideAReplyOfAnyLength) {
    for (int size = 0; size <= 300; ++size) {
        const support::TightBytes ones(QByteArray(size, 0x01));
        QByteArray reply = ones.borrowed();
        ASSERT_EQ(CheckGetData(&reply, int_max), 0) << size;
        if (size >= 5) {
            QByteArray body(size - 2, 0x03);
            body[0] = 0x01;
            const support::TightBytes good(support::with_crc(body));
            QByteArray good_reply = good.borrowed();
            ASSERT_EQ(CheckGetData(&good_reply, -1), 1) << size;
        }
    }
}

}  // namespace
