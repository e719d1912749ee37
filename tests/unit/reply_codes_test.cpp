// Which code a reply gives, depending on its bytes, its length, and the area and group of its request.
#include "link/replies.h"

#include "reply_exchange.h"

using support::answer;
using support::answer_nothing;
using support::bad_echo;
using support::bytes;
using support::describe;
using support::good_echo;
using support::int_max;
using support::int_min;
using support::other_area;
using support::own_area;
using support::ReplyTest;
using support::with_crc;

namespace {

class ReplyCodes : public ReplyTest {};

// ---- codes

TEST_F(ReplyCodes, AFailedWriteGivesTheCodeOfItsAreaItsFaultAndItsVarGroup) {
    const struct {
        int area;
        const char *reply;
        int base;
    } rows[] = {
        {own_area, bad_echo, 10},    {own_area, "", 40},    {own_area, "01 90 02 CD C1", 70},
        {other_area, bad_echo, 110}, {other_area, "", 140}, {other_area, "01 90 02 CD C1", 170},
    };
    for (const auto &row : rows) {
        for (int group = 0; group <= 11; ++group) {
            put_in_flight(group, row.area);
            EXPECT_EQ(answer(bytes(row.reply)), row.base + 1 + group) << "base " << row.base << ", group " << group;
        }
        for (int group : {-1, 12, 13, 255, int_max, int_min}) {
            put_in_flight(group, row.area);
            EXPECT_EQ(answer(bytes(row.reply)), row.base + 1) << "base " << row.base << ", group " << group;
        }
    }
}

TEST_F(ReplyCodes, EveryKindOfOutcomeHasItsCode) {
    put_in_flight(3, own_area);
    const int codes[8] = {1, 14, 44, 74, 100, 114, 144, 174};
    for (int kind = 0; kind < 8; ++kind)
        EXPECT_EQ(GetDriverReturnValue(kind), codes[kind]) << "kind " << kind;
    for (int kind : {8, 9, 100, -1, int_max, int_min})
        EXPECT_EQ(GetDriverReturnValue(kind), 200) << "kind " << kind;
}

TEST_F(ReplyCodes, TheOffsetIsThatOfTheFirstFrameInFlight) {
    put_in_flight(11, own_area);
    put_in_flight(2, own_area);
    EXPECT_EQ(SwitchErrorReturn(0), 12);
    EXPECT_EQ(SwitchErrorReturn(-5), 7);
    EXPECT_EQ(SwitchErrorReturn(1000), 1012);
    PLC_driver.frame_list.removeFirst();
    EXPECT_EQ(SwitchErrorReturn(0), 3);
    EXPECT_EQ(SwitchErrorReturn(int_max), int_min + 2);
}

TEST_F(ReplyCodes, WithNothingInFlightTheReplyIsRejectedAndTheBaseGrowsBy1) {
    QByteArray reply = bytes(good_echo);
    EXPECT_EQ(DealDataOfLocalArea(&reply, 8), 11);
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 8), 111);
    EXPECT_EQ(SwitchErrorReturn(40), 41);
    EXPECT_EQ(GetDriverReturnValue(7), 171);
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(ReplyCodes, TheFunctionsOfBothAreasGiveTheCodes) {
    QByteArray good = bytes(good_echo);
    QByteArray bad = bytes(bad_echo);
    put_in_flight(0, own_area);
    EXPECT_EQ(DealDataOfLocalArea(&good, 8), 1);
    EXPECT_EQ(DealDataOfLocalArea(&bad, 8), 11);
    EXPECT_EQ(DealDataOfLocalArea(&good, 0), 41);
    EXPECT_EQ(DealDataOfLocalArea(&good, 7), 71);
    EXPECT_EQ(DealDataOfRemoteArea(&good, 8), 100);
    EXPECT_EQ(DealDataOfRemoteArea(&bad, 8), 111);
    EXPECT_EQ(DealDataOfRemoteArea(&good, 0), 141);
    EXPECT_EQ(DealDataOfRemoteArea(&good, 9), 171);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
    EXPECT_EQ(info.retry_count, 0);
    EXPECT_EQ(info.success_count, 0);
}

// ---- which length is right

TEST_F(ReplyCodes, AReplyLenOfMinus1AcceptsAnyLength) {
    for (int size : {5, 8, 9, 300}) {
        put_in_flight(0, own_area, -1);
        QByteArray body(size - 2, '\0');
        body[0] = 1;
        body[1] = 0x10;
        EXPECT_EQ(answer(with_crc(body)), 1) << size;
    }
    put_in_flight(0, own_area, -1);
    EXPECT_EQ(answer(bytes(bad_echo)), 11);
}

TEST_F(ReplyCodes, AnEmptyReplyIsAMissingOneEvenIfAnyLengthIsAccepted) {
    put_in_flight(0, own_area, -1);
    EXPECT_EQ(answer_nothing(), 41);
    put_in_flight(0, other_area, -1);
    EXPECT_EQ(answer_nothing(), 141);
}

// A remote write to station 0 expects no reply, but what the host passes instead is checked like any other reply, and
// an empty one fails. The host knows that it did not wait, and decides what this failure means.
TEST_F(ReplyCodes, AReplyLenOf0WithLength0IsLeftToTheCheck) {
    put_in_flight(0, own_area, 0);
    EXPECT_EQ(answer_nothing(), 11);
    put_in_flight(0, other_area, 0);
    EXPECT_EQ(answer_nothing(), 111);
    put_in_flight(0, own_area, 0);
    QByteArray good = bytes(good_echo);
    EXPECT_EQ(DataCom(&good, 0)->ret_value, 1);
    put_in_flight(0, own_area, 0);
    EXPECT_EQ(answer(good), 71);
}

TEST_F(ReplyCodes, ANullReplyIsJudgedByItsLengthAndRejectedByTheCheck) {
    put_in_flight(0, own_area);
    EXPECT_EQ(DataCom(nullptr, 0)->ret_value, 41);
    put_in_flight(0, own_area);
    EXPECT_EQ(DataCom(nullptr, 5)->ret_value, 71);
    put_in_flight(0, own_area);
    EXPECT_EQ(DataCom(nullptr, 8)->ret_value, 11);
    put_in_flight(0, other_area);
    EXPECT_EQ(DataCom(nullptr, 8)->ret_value, 111);
    EXPECT_EQ(DataCom(nullptr, 8)->ret_value, 1);
}

TEST_F(ReplyCodes, ALengthBelow0OrBeyondTheReplyIsAWrongLength) {
    for (int length : {-1, 7, 9, int_max, int_min}) {
        put_in_flight(0, own_area);
        QByteArray reply = bytes(good_echo);
        EXPECT_EQ(DataCom(&reply, length)->ret_value, 71) << length;
    }
    put_in_flight(0, own_area);
    QByteArray shorter = bytes("01 10 00 0A");
    EXPECT_EQ(DataCom(&shorter, 8)->ret_value, 11);
}

// ---- nothing in flight, and the reply that changes nothing

TEST_F(ReplyCodes, WithNoFrameInFlightDataComReturns1AndChangesNothing) {
    queue_write(write_of(1));
    PLC_driver.last_op = 1;
    PLC_driver.comm_failed = true;
    PLC_driver.read_pass_count = 3;
    PLC_driver.ret_var = support::full_var();
    info.retry_count = 4;
    info.success_count = 5;
    for (const char *reply : {"", "01 6A 8B 00 00", good_echo}) {
        EXPECT_EQ(answer(bytes(reply)), 1) << reply;
        RW_VAR expected = support::full_var();
        expected.ret_value = 1;
        EXPECT_EQ(describe(PLC_driver.ret_var), describe(expected));
    }
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_TRUE(PLC_driver.comm_failed);
    EXPECT_EQ(PLC_driver.read_pass_count, 3);
    EXPECT_EQ(info.retry_count, 4);
    EXPECT_EQ(info.success_count, 5);
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_TRUE(write_results.empty());
    EXPECT_TRUE(comm_errors.empty());
}

TEST_F(ReplyCodes, TheResultIsTheDriversOwnRecord) {
    put_in_flight(0, own_area);
    QByteArray reply = bytes(good_echo);
    EXPECT_EQ(DataCom(&reply, 8), &PLC_driver.ret_var);
    EXPECT_EQ(DataCom(&reply, 8), &PLC_driver.ret_var);
}

TEST_F(ReplyCodes, TheSpecialReplyIsRecognisedByItsBytesAndNotItsLength) {
    put_in_flight(0, own_area);
    QByteArray special = bytes("01 6A 8B 00 00");
    for (int length : {0, 5, 8, -1})
        EXPECT_EQ(DataCom(&special, length)->ret_value, 1000) << "length " << length;
    for (const char *reply : {"01 6A 8B 00", "01 6A 8B 00 00 00", "01 6A 8C 00 00", "01 6B 8B 00 00"}) {
        PLC_driver.frame_list.clear();
        put_in_flight(0, own_area);
        EXPECT_EQ(answer(bytes(reply)), 71) << reply;
    }
}

}  // namespace
