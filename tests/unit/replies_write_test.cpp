// Replies to writes, once-reads and remote areas: codes, callbacks, give-up and purge.
#include "link/replies.h"

#include "write_exchange.h"

#include <chrono>
#include <limits>
#include <thread>

using support::answer;
using support::answer_nothing;
using support::answer_well;
using support::bytes;
using support::describe;
using support::DriverTest;
using support::entries;
using support::frames_in_flight;
using support::hex;
using support::Lines;
using support::make_var;
using support::seen;
using support::with_crc;
using support::write_var;

namespace {

const int int_max = std::numeric_limits<int>::max();
const int int_min = std::numeric_limits<int>::min();

const int own_area = 6;
const int other_area = 9;

class WriteReplies : public DriverTest {
protected:
    WriteReplies() {
        info.channel_id = 70;
        info.local_area_no = own_area;
        info.retry_times = 0;
    }

    // A write of register 10, var_group 20.
    static RW_VAR write_of(int id, int area = own_area, int station = 1) {
        RW_VAR var = write_var(7, 10, 1, "34 12", station);
        var.var_group = 20;
        var.var_id = id;
        var.area_no = area;
        return var;
    }

    static RW_VAR once_of(int id, int area = own_area, int station = 1) {
        RW_VAR var = make_var(7, 20, 1, station);
        var.var_group = 20;
        var.var_id = id;
        var.area_no = area;
        return var;
    }

    static void queue_write(RW_VAR var) {
        AddListWriteVar(&var);
    }

    static void queue_once(RW_VAR var) {
        AddListOnceReadVar(&var, 1);
    }

    static void poll(int addr, int area = own_area) {
        RW_VAR var = make_var(7, addr, 1);
        var.area_no = area;
        AddListReadVar(&var);
    }

    // Builds the next frame and answers it well.
    static int complete() {
        EXPECT_NE(ComCommunication(), nullptr);
        return answer_well();
    }

    // Builds the next frame and lets it go unanswered.
    static int fail() {
        EXPECT_NE(ComCommunication(), nullptr);
        return answer_nothing();
    }

    // "group/id@station" of each entry.
    static std::string identities(const QList<RW_VAR> &list) {
        std::string text;
        for (const RW_VAR &var : list)
            text += (text.empty() ? "" : " ") + std::to_string(var.var_group) + "/" + std::to_string(var.var_id) + "@" +
                    std::to_string(var.station_no);
        return text;
    }

    // A frame in flight that no queue holds, expecting 8 bytes.
    static void put_in_flight(int var_group, int area, int reply_len = 8) {
        RW_VAR var = write_of(1, area);
        var.var_group = var_group;
        Protocol request = support::make_frame(var, bytes("01 10 00 0A 00 01 02 12 34 AB DD"), 0);
        request.reply_len = reply_len;
        request.data_offset = 0;
        PLC_driver.frame_list.append(request);
    }
};

// The echo of the write above.
const char *const good_echo = "01 10 00 0A 00 01 21 CB";
const char *const bad_echo = "01 10 00 0A 00 01 FF FF";

}  // namespace

// A host that keeps the bytes it received, for a trace, hands them over without a copy.
TEST_F(WriteReplies, NoExchangeCopiesAReply) {
    const auto answer_shared = [](const QByteArray &kept) {
        QByteArray reply = kept;
        const int code = DataCom(&reply, static_cast<int>(reply.size()))->ret_value;
        EXPECT_EQ(reply.constData(), kept.constData());
        EXPECT_FALSE(reply.isDetached());
        return code;
    };
    const RW_VAR reads[] = {make_var(0, 10, 20), make_var(7, 10, 20), make_var(13, 10, 20)};
    for (RW_VAR var : reads) {
        var.area_no = own_area;
        queue_once(var);
    }
    const RW_VAR writes[] = {write_var(2, 10, 1, "01"), write_var(4, 10, 9, "01 01"), write_var(7, 10, 1, "34 12"),
                             write_var(15, 0x23, 1, "01")};
    for (int area : {own_area, other_area})
        for (RW_VAR var : writes) {
            var.area_no = area;
            queue_write(var);
        }
    int answered = 0;
    for (int turn = 0; turn < 20; ++turn) {
        if (ComCommunication() == nullptr)
            continue;  // after five writes and all once-reads
        ++answered;
        const Protocol &request = PLC_driver.frame_list.first();
        const bool stored = request.var.area_no == own_area || request.var.store_mode == -1;
        EXPECT_EQ(answer_shared(support::good_reply(request)), stored ? 1 : 100);
    }
    EXPECT_EQ(answered, 3 + 2 * 5);

    queue_once(reads[1]);
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(answer_shared(bytes("01 83 02 C0 F1")), 171);
}

// ---- codes

TEST_F(WriteReplies, AFailedWriteGivesTheCodeOfItsAreaItsFaultAndItsVarGroup) {
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

TEST_F(WriteReplies, AFrameOfVarGroup3GivenUpWithoutAnyReplyGives44And144AndOf12OrMinus1Gives41And141) {
    put_in_flight(3, own_area);
    EXPECT_EQ(answer_nothing(), 44);
    put_in_flight(3, other_area);
    EXPECT_EQ(answer_nothing(), 144);
    for (int group : {12, -1}) {
        put_in_flight(group, own_area);
        EXPECT_EQ(answer_nothing(), 41);
        put_in_flight(group, other_area);
        EXPECT_EQ(answer_nothing(), 141);
    }
}

TEST_F(WriteReplies, EveryKindOfOutcomeHasItsCode) {
    put_in_flight(3, own_area);
    const int codes[8] = {1, 14, 44, 74, 100, 114, 144, 174};
    for (int kind = 0; kind < 8; ++kind)
        EXPECT_EQ(GetDriverReturnValue(kind), codes[kind]) << "kind " << kind;
    for (int kind : {8, 9, 100, -1, int_max, int_min})
        EXPECT_EQ(GetDriverReturnValue(kind), 200) << "kind " << kind;
}

TEST_F(WriteReplies, TheOffsetIsThatOfTheFirstFrameInFlight) {
    put_in_flight(11, own_area);
    put_in_flight(2, own_area);
    EXPECT_EQ(SwitchErrorReturn(0), 12);
    EXPECT_EQ(SwitchErrorReturn(-5), 7);
    EXPECT_EQ(SwitchErrorReturn(1000), 1012);
    PLC_driver.frame_list.removeFirst();
    EXPECT_EQ(SwitchErrorReturn(0), 3);
    EXPECT_EQ(SwitchErrorReturn(int_max), int_min + 2);
}

TEST_F(WriteReplies, WithNothingInFlightTheReplyIsRejectedAndTheBaseGrowsBy1) {
    QByteArray reply = bytes(good_echo);
    EXPECT_EQ(DealDataOfLocalArea(&reply, 8), 11);
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 8), 111);
    EXPECT_EQ(SwitchErrorReturn(40), 41);
    EXPECT_EQ(GetDriverReturnValue(7), 171);
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(WriteReplies, TheTwoJudgesGiveTheCodesThemselves) {
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

// ---- what the length has to be

TEST_F(WriteReplies, AReplyLenOfMinus1AcceptsAnyLength) {
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

TEST_F(WriteReplies, NothingIsAMissingReplyEvenWhereAnyLengthIsAccepted) {
    put_in_flight(0, own_area, -1);
    EXPECT_EQ(answer_nothing(), 41);
    put_in_flight(0, other_area, -1);
    EXPECT_EQ(answer_nothing(), 141);
}

// A remote write to station 0 awaits no reply, but what the host hands over instead is checked like any other: an
// empty one fails. The host, which knows that it did not wait, decides what to make of that.
TEST_F(WriteReplies, AReplyLenOf0WithLength0IsLeftToTheCheck) {
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

TEST_F(WriteReplies, ANullReplyIsJudgedByItsLengthAndRejectedByTheCheck) {
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

TEST_F(WriteReplies, ALengthBelow0OrBeyondTheReplyIsAWrongLength) {
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

TEST_F(WriteReplies, WithNoFrameInFlightDataComReturns1AndChangesNothing) {
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

TEST_F(WriteReplies, TheResultIsTheDriversOwnRecord) {
    put_in_flight(0, own_area);
    QByteArray reply = bytes(good_echo);
    EXPECT_EQ(DataCom(&reply, 8), &PLC_driver.ret_var);
    EXPECT_EQ(DataCom(&reply, 8), &PLC_driver.ret_var);
}

TEST_F(WriteReplies, AReplyOf5BytesWith6A8BGives1000EvenIfTheFrameExpects5Bytes) {
    for (int area : {own_area, other_area})
        for (int reply_len : {5, 8, -1, 0}) {
            PLC_driver.frame_list.clear();
            put_in_flight(3, area, reply_len);
            const Protocol *frame = ComCommunication();
            EXPECT_EQ(answer(bytes("01 6A 8B 00 00")), 1000) << "reply_len " << reply_len;
            EXPECT_EQ(answer(bytes("FF 6A 8B FF FF")), 1000) << "reply_len " << reply_len;
            EXPECT_EQ(ComCommunication(), frame);
        }
}

TEST_F(WriteReplies, TheSpecialReplyChangesNoCounterHoweverOftenItComes) {
    queue_write(write_of(1));
    ComCommunication();
    PLC_driver.comm_failed = true;
    PLC_driver.read_pass_count = 3;
    info.retry_count = 4;
    info.success_count = 5;
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(answer(bytes("01 6A 8B 00 00")), 1000);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_TRUE(PLC_driver.comm_failed);
    EXPECT_EQ(PLC_driver.read_pass_count, 3);
    EXPECT_EQ(info.retry_count, 4);
    EXPECT_EQ(info.success_count, 5);
    EXPECT_TRUE(write_results.empty());
    EXPECT_TRUE(comm_errors.empty());
}

TEST_F(WriteReplies, TheSpecialReplyIsKnownByItsBytesAndNotByTheLengthGiven) {
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

// ---- retries

TEST_F(WriteReplies, WithRetryTimes2TwoFailedRepliesGive0AndTheThirdGivesTheFrameUp) {
    info.retry_times = 2;
    queue_write(write_of(1));
    const Protocol *frame = ComCommunication();
    EXPECT_EQ(answer_nothing(), 0);
    EXPECT_EQ(info.retry_count, 1);
    EXPECT_EQ(ComCommunication(), frame);
    EXPECT_EQ(answer(bytes(bad_echo)), 0);
    EXPECT_EQ(info.retry_count, 2);
    EXPECT_EQ(ComCommunication(), frame);
    EXPECT_TRUE(write_results.empty());
    EXPECT_TRUE(comm_errors.empty());
    EXPECT_EQ(answer_nothing(), 41);
    EXPECT_EQ(info.retry_count, 0);
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 2"});
    EXPECT_EQ(comm_errors.size(), 1u);
}

// Only a give-up resets the counter. A link that fails now and then is given up early on purpose; resetting on every
// good reply would hide it from the host for ever.
TEST_F(WriteReplies, WithRetryTimes2AFailureAGoodReplyAndTwoFailuresGiveTheSecondFrameUp) {
    info.retry_times = 2;
    queue_write(write_of(1));
    queue_write(write_of(2));
    EXPECT_EQ(fail(), 0);
    EXPECT_EQ(answer_well(), 1);
    EXPECT_EQ(info.retry_count, 1);
    EXPECT_EQ(fail(), 0);
    EXPECT_EQ(answer_nothing(), 41);
    EXPECT_EQ(info.retry_count, 0);
    EXPECT_EQ(seen(write_results), (Lines{"70 20 1 1", "70 20 2 2"}));
}

TEST_F(WriteReplies, AFailedReplyThatIsToleratedChangesTheRetryCountOnly) {
    info.retry_times = 5;
    queue_write(write_of(1));
    ComCommunication();
    PLC_driver.ret_var = support::full_var();
    PLC_driver.read_pass_count = 3;
    info.success_count = 1;
    EXPECT_EQ(answer_nothing(), 0);
    RW_VAR expected = support::full_var();
    expected.ret_value = 0;
    EXPECT_EQ(describe(PLC_driver.ret_var), describe(expected));
    EXPECT_EQ(describe(PLC_driver.fail_var), describe(RW_VAR()));
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.read_pass_count, 3);
    EXPECT_EQ(info.success_count, 1);
    EXPECT_FALSE(PLC_driver.comm_failed);
}

TEST_F(WriteReplies, WithRetryTimes0OrLessTheFirstFailureGivesTheFrameUp) {
    for (int times : {0, -1, int_min}) {
        info.retry_times = times;
        put_in_flight(0, own_area);
        EXPECT_EQ(answer_nothing(), 41) << "retry_times " << times;
        EXPECT_EQ(info.retry_count, 0);
    }
}

TEST_F(WriteReplies, TheRetryCountIsComparedBeyond2To31) {
    info.retry_times = int_max;
    info.retry_count = int_max - 1;
    put_in_flight(0, own_area);
    EXPECT_EQ(answer_nothing(), 0);
    EXPECT_EQ(info.retry_count, int_max);
    EXPECT_EQ(answer_nothing(), 41);
    EXPECT_EQ(info.retry_count, 0);
}

// ---- a good reply

TEST_F(WriteReplies, AGoodReplyToAWriteRetiresItAndReportsItAsDone) {
    queue_write(write_of(1));
    PLC_driver.comm_failed = true;
    EXPECT_EQ(complete(), 1);
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_FALSE(PLC_driver.comm_failed);
    EXPECT_EQ(info.success_count, 1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
    EXPECT_TRUE(comm_errors.empty());
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(WriteReplies, TheCallbackGetsTheChannelOfTheMomentAndTheIdentityAsItIs) {
    for (int number : {int_min, -1, 0, int_max}) {
        RW_VAR var = write_of(int_max);
        var.var_group = number;
        queue_write(var);
        info.channel_id = number;
        complete();
    }
    EXPECT_EQ(seen(write_results), (Lines{"-2147483648 -2147483648 2147483647 1", "-1 -1 2147483647 1",
                                          "0 0 2147483647 1", "2147483647 2147483647 2147483647 1"}));
}

// The result record is copied from the variable last given up, also after a good reply: on success only ret_value
// counts. A host that compares the rest with its last failure sees the same record until the next one.
TEST_F(WriteReplies, AfterAGoodReplyTheResultRecordNamesTheVariableLastGivenUp) {
    RW_VAR lost = write_of(1);
    lost.aux_text = QString::fromLatin1("lost");
    queue_write(lost);
    fail();
    queue_write(write_of(2));
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_id, 1);
    EXPECT_EQ(PLC_driver.ret_var.aux_text, QString::fromLatin1("lost"));
    queue_once(once_of(3));
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_id, 1);
    poll(30);
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_id, 1);
}

TEST_F(WriteReplies, BeforeAnyFailureTheResultRecordOfAGoodReplyIsEmptyButForItsCode) {
    PLC_driver.ret_var = support::full_var();
    queue_write(write_of(1));
    complete();
    RW_VAR expected;
    expected.ret_value = 1;
    EXPECT_EQ(describe(PLC_driver.ret_var), describe(expected));
}

TEST_F(WriteReplies, ASplitWriteIsReportedOnceWhenBothHalvesAreAnswered) {
    RW_VAR var = write_var(8, 255, 2, "34 12 78 56");
    var.var_group = 20;
    var.var_id = 1;
    var.area_no = own_area;
    queue_write(var);
    PLC_driver.ret_var = support::full_var();
    EXPECT_EQ(complete(), 1);
    EXPECT_TRUE(write_results.empty());
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_id, 102);
    EXPECT_EQ(frames_in_flight(), Lines{"01 10 2E E0 00 01 02 56 78 41 B0"});
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
}

TEST_F(WriteReplies, AGoodReplyThatDoesNotCompleteTheRequestStillEndsTheFailure) {
    queue_write(write_of(1));
    ComCommunication();
    info.success_limit = 3;
    PLC_driver.comm_failed = true;
    EXPECT_EQ(answer_well(), 1);
    EXPECT_FALSE(PLC_driver.comm_failed);
    EXPECT_EQ(info.success_count, 1);
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
}

TEST_F(WriteReplies, TheSuccessCountIsComparedBeyond2To31) {
    queue_write(write_of(1));
    ComCommunication();
    info.success_count = int_max;
    info.success_limit = int_max;
    EXPECT_EQ(answer_well(), 1);
    EXPECT_EQ(info.success_count, int_min);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
}

TEST_F(WriteReplies, ASuccessLimitOf0OrLessIsReachedByTheFirstGoodReply) {
    for (int limit : {0, -1, int_min}) {
        queue_write(write_of(1));
        ComCommunication();
        info.success_limit = limit;
        answer_well();
        EXPECT_TRUE(PLC_driver.write_list.isEmpty()) << "success_limit " << limit;
    }
}

// Every completed local request counts towards the pass, whichever queue it came from. Counting cyclic reads only would
// make a pass last longer for hosts that have tuned their screens to it.
TEST_F(WriteReplies, CompletedWritesAndOnceReadsCountTowardsThePassToo) {
    poll(30);
    poll(31);
    queue_write(write_of(1));
    queue_once(once_of(2));
    complete();
    EXPECT_EQ(PLC_driver.read_pass_count, 1);
    complete();
    EXPECT_EQ(PLC_driver.read_pass_count, 2);
    EXPECT_EQ(info.finish_flag, 0);
    complete();
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    EXPECT_EQ(info.finish_flag, 1);
    complete();
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
}

TEST_F(WriteReplies, WithoutACyclicListTheFirstCompletedWriteIsAWholePass) {
    queue_write(write_of(1));
    complete();
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    EXPECT_EQ(info.finish_flag, 1);
}

TEST_F(WriteReplies, APassCountAtItsEndIsOneTooMany) {
    poll(30);
    PLC_driver.read_pass_count = int_max;
    complete();
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    EXPECT_EQ(info.finish_flag, 1);
}

TEST_F(WriteReplies, WhileFinishFlagIsSetNothingIsCounted) {
    for (int flag : {1, -1, 7}) {
        info.finish_flag = flag;
        PLC_driver.read_pass_count = 5;
        queue_write(write_of(1));
        complete();
        EXPECT_EQ(PLC_driver.read_pass_count, 5);
        EXPECT_EQ(info.finish_flag, flag);
    }
}

TEST_F(WriteReplies, RequestsOfARemoteAreaDoNotCountTowardsThePass) {
    poll(30);
    queue_write(write_of(1, other_area));
    EXPECT_EQ(complete(), 100);
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    EXPECT_EQ(info.finish_flag, 0);
}

TEST_F(WriteReplies, AReplyToAWriteIsNotStored) {
    queue_write(write_of(1));
    ComCommunication();
    PLC_driver.word_cache.clear();
    EXPECT_EQ(answer(bytes(good_echo)), 1);
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(WriteReplies, AnExceptionReplyToAWriteIsOfTheWrongLength) {
    queue_write(write_of(1));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 90 02 CD C1")), 71);
}

// ---- several requests of one variable

TEST_F(WriteReplies, OfTwoQueuedWritesOfAVariableOnlyTheSecondIsReportedAsDone) {
    queue_write(write_of(1));
    queue_write(write_of(1));
    EXPECT_EQ(complete(), 1);
    EXPECT_TRUE(write_results.empty());
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
}

TEST_F(WriteReplies, ALaterWriteIsTheSameOnlyByBothIdentitiesAndInTheOwnArea) {
    RW_VAR other_group = write_of(1);
    other_group.var_group = 21;
    for (const RW_VAR &later : {other_group, write_of(2), write_of(1, other_area)}) {
        PLC_driver.write_list.clear();
        PLC_driver.write_tries = 0;
        queue_write(write_of(1));
        queue_write(later);
        const std::size_t before = write_results.size();
        complete();
        ASSERT_EQ(write_results.size(), before + 1);
        EXPECT_EQ(write_results.back().var_id, 1);
        EXPECT_EQ(write_results.back().status, 1);
    }
}

TEST_F(WriteReplies, TheLaterWriteMayBeAnywhereInTheQueueAndOfAnyStationTypeAndAddress) {
    RW_VAR later = write_of(1, own_area, 33);
    later.reg_type = 2;
    later.reg_addr = 999;
    queue_write(write_of(1));
    queue_write(write_of(2));
    queue_write(write_of(3));
    queue_write(later);
    complete();
    EXPECT_TRUE(write_results.empty());
}

// Only the rest of the queue is looked through; that the head is its own variable does not hide its report.
TEST_F(WriteReplies, TheHeadItselfIsNoLaterWrite) {
    queue_write(write_of(1));
    complete();
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
}

TEST_F(WriteReplies, AGivenUpWriteIsReportedAsFailedEvenIfALaterOneWaits) {
    queue_write(write_of(1));
    queue_write(write_of(1));
    EXPECT_EQ(fail(), 41);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 2"});
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
}

// The area of the completed write itself is not looked at: a remote one is reported like a local one.
TEST_F(WriteReplies, AWriteToARemoteAreaIsReportedToo) {
    queue_write(write_of(1, other_area));
    EXPECT_EQ(complete(), 100);
    queue_write(write_of(2, other_area));
    EXPECT_EQ(fail(), 141);
    EXPECT_EQ(seen(write_results), (Lines{"70 20 1 1", "70 20 2 2"}));
}

TEST_F(WriteReplies, OfTwoWritesToARemoteAreaBothAreReported) {
    queue_write(write_of(1, other_area));
    queue_write(write_of(1, other_area));
    complete();
    complete();
    EXPECT_EQ(seen(write_results), (Lines{"70 20 1 1", "70 20 1 1"}));
}

// ---- once-reads

TEST_F(WriteReplies, ACompletedOnceReadIsStoredAndReportedThroughTheWriteCallback) {
    queue_once(once_of(1));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 03 02 12 34 B5 33")), 1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
    EXPECT_EQ(entries(PLC_driver.word_cache), "01070014=1234");
}

TEST_F(WriteReplies, OfSeveralPiecesOfAOnceReadOnlyTheLastIsReported) {
    info.default_station = 1;
    RW_VAR var = once_of(1);
    var.addr_text = QString::fromLatin1("1000");
    var.reg_count = 250;
    AddListOnceReadVar(&var, 0);
    complete();
    complete();
    EXPECT_TRUE(write_results.empty());
    complete();
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
}

TEST_F(WriteReplies, ALaterWriteDoesNotHideACompletedOnceReadNorTheOtherWayRound) {
    queue_once(once_of(1));
    ComCommunication();
    queue_write(write_of(1));
    answer_well();
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
    ComCommunication();
    queue_once(once_of(1));
    answer_well();
    EXPECT_EQ(seen(write_results), (Lines{"70 20 1 1", "70 20 1 1"}));
}

TEST_F(WriteReplies, ALaterOnceReadInAnotherAreaHidesNothing) {
    queue_once(once_of(1));
    queue_once(once_of(1, other_area));
    complete();
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
}

TEST_F(WriteReplies, AGivenUpOnceReadIsReportedAsFailed) {
    queue_once(once_of(1));
    queue_once(once_of(1));
    EXPECT_EQ(fail(), 41);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 2"});
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
    EXPECT_EQ(comm_errors.size(), 1u);
}

// A remote once-read brings no value that the host could fetch, so its end is not reported; it leaves its queue all the
// same.
TEST_F(WriteReplies, AOnceReadOfARemoteAreaIsNotReportedButLeavesItsQueue) {
    queue_once(once_of(1, other_area));
    EXPECT_EQ(complete(), 100);
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
    queue_once(once_of(2, other_area));
    EXPECT_EQ(fail(), 141);
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
    EXPECT_TRUE(write_results.empty());
    EXPECT_EQ(comm_errors.size(), 1u);
    EXPECT_EQ(PLC_driver.ret_var.var_id, 2);
    EXPECT_TRUE(support::caches_empty());
}

// ---- giving up

TEST_F(WriteReplies, AGiveUpKeepsTheWholeVariableAndReturnsItWithoutItsValue) {
    RW_VAR var = support::full_var();
    var.reg_type = 7;
    var.area_no = own_area;
    var.host_ref2 = 1;
    queue_write(var);
    PLC_driver.read_pass_count = 3;
    ComCommunication();
    info.finish_flag = 1;
    EXPECT_EQ(answer_nothing(), 41);
    EXPECT_TRUE(PLC_driver.comm_failed);
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_EQ(info.retry_count, 0);
    EXPECT_EQ(describe(PLC_driver.fail_var), describe(var));
    RW_VAR result = var;
    result.value_bytes.clear();
    result.ret_value = 41;
    EXPECT_EQ(describe(PLC_driver.ret_var), describe(result));
}

TEST_F(WriteReplies, AGiveUpDropsEveryFrameInFlight) {
    RW_VAR var = write_var(16, 0x23, 1, "01");
    var.area_no = own_area;
    queue_write(var);
    ComCommunication();
    EXPECT_EQ(PLC_driver.frame_list.size(), 2);
    answer_nothing();
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
    EXPECT_EQ(ComCommunication(), nullptr);
}

TEST_F(WriteReplies, AGiveUpIsReportedWithTheVarGroupAnEmptyListAndFlag1UnderListMutexOnly) {
    queue_write(write_of(1));
    fail();
    ASSERT_EQ(comm_errors.size(), 1u);
    EXPECT_TRUE(comm_errors.front().empty_list);
    EXPECT_EQ(comm_errors.front().var_group, 20);
    EXPECT_EQ(comm_errors.front().flag, 1);
    EXPECT_TRUE(comm_errors.front().list_mutex_held);
    EXPECT_FALSE(comm_errors.front().cache_mutex_held);
}

TEST_F(WriteReplies, CommFailedStaysFromTheGiveUpToTheNextGoodReply) {
    info.retry_times = 1;
    queue_write(write_of(1));
    fail();
    EXPECT_FALSE(PLC_driver.comm_failed);
    answer_nothing();
    EXPECT_TRUE(PLC_driver.comm_failed);
    queue_write(write_of(2));
    EXPECT_EQ(fail(), 0);
    EXPECT_TRUE(PLC_driver.comm_failed);
    EXPECT_EQ(answer_well(), 1);
    EXPECT_FALSE(PLC_driver.comm_failed);
}

TEST_F(WriteReplies, GivingUpAWriteRemovesEveryOtherQueuedWriteOfTheVariableOfAnyStation) {
    RW_VAR other_group = write_of(1);
    other_group.var_group = 21;
    queue_write(write_of(1));
    queue_write(write_of(2));
    queue_write(write_of(1, own_area, 2));
    queue_write(write_of(1, other_area));
    queue_write(other_group);
    queue_write(write_of(1));
    queue_once(once_of(1));
    poll(30);
    fail();
    EXPECT_EQ(identities(PLC_driver.write_list), "20/2@1 21/1@1");
    EXPECT_EQ(identities(PLC_driver.once_read_list), "20/1@1");
    EXPECT_EQ(PLC_driver.read_list.size(), 1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 2"});
}

TEST_F(WriteReplies, WithMultiStationSetTheWritesOfOtherStationsStay) {
    for (int multi_station : {1, -1, 2}) {
        info.multi_station = multi_station;
        PLC_driver.write_list.clear();
        PLC_driver.write_tries = 0;
        queue_write(write_of(1));
        queue_write(write_of(1, own_area, 2));
        queue_write(write_of(1));
        queue_write(write_of(1, own_area, 3));
        fail();
        EXPECT_EQ(identities(PLC_driver.write_list), "20/1@2 20/1@3") << "multi_station " << multi_station;
    }
}

TEST_F(WriteReplies, GivingUpAOnceReadRemovesTheOtherOnceReadsOfTheVariableAndNoWrite) {
    queue_once(once_of(1));
    queue_once(once_of(2));
    queue_once(once_of(1, own_area, 2));
    queue_once(once_of(1, other_area));
    ComCommunication();
    queue_write(write_of(1));
    answer_nothing();
    EXPECT_EQ(identities(PLC_driver.once_read_list), "20/2@1");
    EXPECT_EQ(identities(PLC_driver.write_list), "20/1@1");

    info.multi_station = 1;
    PLC_driver.write_list.clear();
    PLC_driver.once_read_list.clear();
    queue_once(once_of(1));
    queue_once(once_of(1, own_area, 2));
    queue_once(once_of(1));
    fail();
    EXPECT_EQ(identities(PLC_driver.once_read_list), "20/1@2");
}

TEST_F(WriteReplies, GivingUpACyclicReadRotatesTheListAndPurgesNothing) {
    RW_VAR polled = once_of(1);
    AddListReadVar(&polled);
    AddListReadVar(&polled);
    poll(31);
    ComCommunication();
    queue_write(write_of(1));
    queue_once(once_of(1));
    EXPECT_EQ(answer_nothing(), 41);
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(20,1) (31,1) (20,1)");
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
    EXPECT_TRUE(write_results.empty());
    ASSERT_EQ(comm_errors.size(), 1u);
    EXPECT_EQ(comm_errors.front().var_group, 20);
}

// ---- the queue of the request

TEST_F(WriteReplies, AnOperationThatIsNoneAdvancesNoQueueAndCallsNoCallbackExceptOnAGiveUp) {
    queue_write(write_of(1));
    queue_once(once_of(1));
    poll(30);
    poll(31);
    PLC_driver.ret_var.var_group = 55;
    for (int op : {100, 3, -1, int_max, int_min}) {
        PLC_driver.last_op = op;
        put_in_flight(3, own_area);
        EXPECT_EQ(answer(bytes(good_echo)), 1) << "last_op " << op;
        EXPECT_TRUE(comm_errors.empty());
    }
    PLC_driver.last_op = 100;
    put_in_flight(3, own_area);
    EXPECT_EQ(answer_nothing(), 44);
    // No queue was advanced, so the result record still names what it named before.
    ASSERT_EQ(comm_errors.size(), 1u);
    EXPECT_EQ(comm_errors.front().var_group, 55);
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(30,1) (31,1)");
    EXPECT_TRUE(write_results.empty());
}

TEST_F(WriteReplies, AQueueThatWasEmptiedInBetweenIsPassedOverAndTheFrameRetired) {
    for (int op : {1, 2, 0}) {
        PLC_driver.ret_var = support::full_var();
        PLC_driver.last_op = op;
        put_in_flight(3, own_area);
        EXPECT_EQ(answer(bytes(good_echo)), 1) << "last_op " << op;
        EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
        RW_VAR expected = support::full_var();
        expected.ret_value = 1;
        EXPECT_EQ(describe(PLC_driver.ret_var), describe(expected)) << "last_op " << op;
    }
    EXPECT_TRUE(comm_errors.empty());
    for (int op : {1, 2, 0}) {
        PLC_driver.ret_var = support::full_var();
        PLC_driver.last_op = op;
        put_in_flight(3, own_area);
        EXPECT_EQ(answer_nothing(), 44) << "last_op " << op;
        EXPECT_EQ(PLC_driver.ret_var.var_id, 102);
    }
    EXPECT_EQ(comm_errors.size(), 3u);
    EXPECT_TRUE(write_results.empty());
}

TEST_F(WriteReplies, PassRetValueCopiesEverythingButTheValueBytes) {
    RW_VAR to = write_of(1);
    passRetValue(support::full_var(), to);
    RW_VAR expected = support::full_var();
    expected.value_bytes.clear();
    EXPECT_EQ(describe(to), describe(expected));
    const RW_VAR ordinary = support::full_var();
    EXPECT_EQ(hex(ordinary.value_bytes), "01 02 03");
}

// ---- remote areas

TEST_F(WriteReplies, AReplyOfARemoteAreaReturns100AndLeavesTheCacheUntouched) {
    queue_once(once_of(1, other_area));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 03 02 12 34 B5 33")), 100);
    poll(30, other_area);
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 03 02 12 34 B5 33")), 100);
    EXPECT_TRUE(support::caches_empty());
    EXPECT_EQ(info.success_count, 1);
}

// The area of the frame decides, and how the request was built does not.
TEST_F(WriteReplies, TheAreaAndTheRemoteModeAreTwoSwitches) {
    info.remote_mode = 1;
    queue_once(once_of(1));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 03 02 12 34 B5 33")), 1);
    EXPECT_EQ(entries(PLC_driver.word_cache), "01070014=1234");
    queue_once(once_of(2, other_area));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 83 02 12 34 9C F3")), 100);
    queue_write(write_of(3));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 90 00 0A 00 01 20 15")), 1);
}

TEST_F(WriteReplies, TheAreaIsComparedWithTheBlockOfTheMoment) {
    poll(30);
    ComCommunication();
    info.local_area_no = other_area;
    EXPECT_EQ(answer_well(), 100);
}

TEST_F(WriteReplies, ABitWriteInARemoteAreaCompletesItsWriteHalfAndReturns1Then100) {
    RW_VAR var = write_var(16, 0x23, 1, "01");
    var.area_no = other_area;
    var.var_group = 20;
    var.var_id = 1;
    queue_write(var);
    PLC_driver.comm_failed = true;
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 03 02 00 10 B9 88")), 1);
    EXPECT_TRUE(write_results.empty());
    EXPECT_EQ(frames_in_flight(), Lines{"01 06 1F 42 00 18 2E 00"});
    EXPECT_EQ(answer(bytes("01 06 1F 42 00 18 2E 00")), 100);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(WriteReplies, AStoredReplyOfARemoteAreaReturns100OnlyWhileTheSuccessCountIs1) {
    const struct {
        int success_count;
        int code;
    } rows[] = {{0, 1}, {1, 100}, {2, 1}, {-1, 1}, {int_min, 1}};
    for (const auto &row : rows) {
        PLC_driver.frame_list.clear();
        RW_VAR var = write_var(16, 0x23, 1, "01");
        var.host_ref2 = 0;
        var.store_mode = -1;
        var.area_no = other_area;
        Protocol read = support::make_frame(var, bytes("01 03 1F 42 00 01 23 CA"), 2);
        Protocol write = support::make_frame(var, bytes("01 06 1F 42 00 00 00 00"), 0);
        PLC_driver.frame_list.append(read);
        PLC_driver.frame_list.append(write);
        info.success_count = row.success_count;
        info.success_limit = int_max;
        EXPECT_EQ(answer(bytes("01 03 02 00 10 B9 88")), row.code) << "success_count " << row.success_count;
        EXPECT_EQ(frames_in_flight(), Lines{"01 06 1F 42 00 18 2E 00"});
    }
}

TEST_F(WriteReplies, AGoodReplyOfARemoteAreaRotatesTheCyclicList) {
    poll(30, other_area);
    poll(31, other_area);
    EXPECT_EQ(complete(), 100);
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(31,1) (30,1)");
}

// ---- callbacks

namespace {

ComInfo *busy_block = nullptr;
int busy_write_results = 0;
int busy_comm_errors = 0;
std::string busy_order;

void busy_write_result(int, int, int, int);
void busy_comm_error(QList<RW_VAR> *, int, int);

// Everything that takes no list_mutex; the driver holds it now.
void call_everything() {
    EXPECT_FALSE(support::is_free(PLC_driver.list_mutex));
    EXPECT_TRUE(support::is_free(PLC_driver.cache_mutex));
    EXPECT_TRUE(support::is_free(PLC_driver.station_mutex));

    RW_VAR polled = make_var(7, 5000, 1);
    polled.area_no = own_area;
    const int size = static_cast<int>(PLC_driver.read_list.size());
    EXPECT_EQ(AddListReadVar(&polled), size + 1);

    RW_VAR unparsable = make_var(7, 0, 1);
    unparsable.addr_text = QString::fromLatin1("abc");
    EXPECT_EQ(AddListOnceReadVar(&unparsable, 0), 0);

    EnableEthernet(77, 0);
    EXPECT_TRUE(Ethernetcontains(77));
    EnCommStation(77, 1);
    EXPECT_FALSE(Ethernetcontains(77));

    const QString address = QString::fromLatin1("600");
    EXPECT_EQ(PLCAddressChangeIntef(7, address), 600);
    EXPECT_EQ(StringAddressToInt(7, address), 600);
    const int write_mode = busy_block->write_mode;
    busy_block->write_mode = 0;
    SetRegisterData(QString(), 7, address, 1, bytes("CD AB"), 1, 0, 0);
    busy_block->write_mode = 2;
    EXPECT_EQ(SetRegisterData(QString(), 7, QString::fromLatin1("abc"), 1, bytes("CD AB"), 1, 0, 0), 0);
    busy_block->write_mode = write_mode;
    QByteArray out;
    EXPECT_EQ(GetRegisterData(QString(), 7, address, 1, out, 1), 1);
    EXPECT_EQ(hex(out), "CD AB");
    EXPECT_EQ(GetRegisterData(QString(), 7, QString::fromLatin1("abc"), 1, out, 1), 0);

    EXPECT_EQ(QueryFinishFlag(), 1);
    FlashLocalRegister(nullptr, nullptr, nullptr);
    SetComInfo(busy_block);
    RegistCallBackFuncIntf(busy_write_result, busy_comm_error);
    QList<RW_VAR> pieces;
    WhetherGroup(25, 10, &polled, &pieces);
    EXPECT_EQ(pieces.size(), 3);
    if (!PLC_driver.frame_list.isEmpty()) {
        EXPECT_EQ(ComCommunication(), &PLC_driver.frame_list.first());
    }
}

void busy_write_result(int, int, int, int) {
    ++busy_write_results;
    busy_order += 'w';
    call_everything();
}

void busy_comm_error(QList<RW_VAR> *list, int, int) {
    ++busy_comm_errors;
    busy_order += 'e';
    call_everything();
    list->append(RW_VAR());
}

class BusyCallbacks : public WriteReplies {
protected:
    BusyCallbacks() {
        busy_block = &info;
        busy_write_results = 0;
        busy_comm_errors = 0;
        busy_order.clear();
        RegistCallBackFuncIntf(busy_write_result, busy_comm_error);
    }
};

}  // namespace

TEST_F(BusyCallbacks, EverythingGoesOnAfterACompletedWrite) {
    queue_write(write_of(1));
    queue_write(write_of(2));
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(busy_write_results, 2);
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(5000,1) (5000,1)");
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(PLC_driver.last_op, 0);
}

TEST_F(BusyCallbacks, EverythingGoesOnAfterAGivenUpWriteAndTheReportComesBeforeTheError) {
    queue_write(write_of(1));
    queue_write(write_of(1));
    queue_write(write_of(2));
    EXPECT_EQ(fail(), 41);
    EXPECT_EQ(busy_order, "we");
    EXPECT_EQ(identities(PLC_driver.write_list), "20/2@1");
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(busy_order, "wew");
}

TEST_F(BusyCallbacks, EverythingGoesOnAfterACompletedAndAGivenUpOnceRead) {
    queue_once(once_of(1));
    queue_once(once_of(2));
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(fail(), 41);
    EXPECT_EQ(busy_order, "wwe");
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
    EXPECT_EQ(complete(), 1);
}

TEST_F(BusyCallbacks, EverythingGoesOnAfterAGivenUpCyclicRead) {
    poll(30);
    poll(31);
    EXPECT_EQ(fail(), 41);
    EXPECT_EQ(busy_order, "e");
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(31,1) (30,1) (5000,1)");
    EXPECT_EQ(complete(), 1);
}

TEST_F(BusyCallbacks, TheNextFrameInFlightCanBeAskedForInACallback) {
    queue_write(write_of(1));
    ComCommunication();
    put_in_flight(0, own_area);
    EXPECT_EQ(answer_well(), 1);
    EXPECT_EQ(busy_write_results, 1);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
}

TEST_F(BusyCallbacks, EverythingGoesOnAfterARefusedWriteAndARefusedOnceRead) {
    RW_VAR write = write_of(1);
    write.reg_type = 18;
    queue_write(write);
    RW_VAR once = once_of(2);
    once.reg_type = 12;
    queue_once(once);
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(busy_order, "ww");
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(PLC_driver.last_op, 0);
}

// ---- locks

TEST_F(WriteReplies, NothingInFlightAndTheSpecialReplyTakeNoLock) {
    const auto idle = [] {
        EXPECT_EQ(answer_nothing(), 1);
    };
    EXPECT_TRUE(support::passes_by(PLC_driver.list_mutex, idle));
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, idle));
    put_in_flight(0, own_area);
    const auto special = [] {
        EXPECT_EQ(answer(bytes("01 6A 8B 00 00")), 1000);
    };
    EXPECT_TRUE(support::passes_by(PLC_driver.list_mutex, special));
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, special));
}

TEST_F(WriteReplies, EveryOtherReplyWaitsForListMutex) {
    put_in_flight(0, own_area);
    info.retry_times = 1;
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { answer_nothing(); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { answer_nothing(); }));
    put_in_flight(0, own_area);
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { answer(bytes(good_echo)); }));
}

TEST_F(WriteReplies, OnlyStoringALocalReplyTakesCacheMutex) {
    queue_once(once_of(1));
    ComCommunication();
    EXPECT_TRUE(support::waits_for(PLC_driver.cache_mutex, [] { answer_well(); }));
    queue_write(write_of(1));
    ComCommunication();
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, [] { answer_well(); }));
}

// The read half of a bit write in a remote area touches no cache, so nothing has to wait for it.
TEST_F(WriteReplies, AReplyOfARemoteAreaTakesNoCacheMutex) {
    RW_VAR var = write_var(16, 0x23, 1, "01");
    var.area_no = other_area;
    queue_write(var);
    ComCommunication();
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, [] {
        EXPECT_EQ(answer(bytes("01 03 02 00 10 B9 88")), 1);
        EXPECT_EQ(answer(bytes("01 06 1F 42 00 18 2E 00")), 100);
    }));
}

// The reply is judged and stored first; the pass is counted once the lists are the driver's own.
TEST_F(WriteReplies, AReplyIsStoredBeforeListMutexIsWaitedForAndThePassCountedAfter) {
    poll(30);
    poll(31);
    ComCommunication();
    PLC_driver.list_mutex.lock();
    std::thread link([] { answer(bytes("01 03 02 12 34 B5 33")); });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    std::string stored;
    while (stored.empty() && std::chrono::steady_clock::now() < deadline) {
        PLC_driver.cache_mutex.lock();
        stored = entries(PLC_driver.word_cache);
        PLC_driver.cache_mutex.unlock();
        std::this_thread::yield();
    }
    EXPECT_EQ(stored, "0107001E=1234");
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    PLC_driver.list_mutex.unlock();
    link.join();
    EXPECT_EQ(PLC_driver.read_pass_count, 1);
}
