#include "link/replies.h"

#include "driver_test.h"
#include "hex_text.h"

#include <limits>
#include <random>

using support::bytes;
using support::DriverTest;
using support::hex;
using support::make_var;

namespace {

const int int_max = std::numeric_limits<int>::max();
const int int_min = std::numeric_limits<int>::min();

// Registers of class 7, one per entry: station 1 at address 10, station 2 at 20, and so on.
class Replies : public DriverTest {
protected:
    static void poll(int entries) {
        PLC_driver.read_list.clear();
        for (int station = 1; station <= entries; ++station)
            PLC_driver.read_list.append(make_var(7, 10 * station, 1, station));
    }

    static int deliver(const QByteArray &reply, int length) {
        QByteArray copy = reply;
        RW_VAR *const result = DataCom(&copy, length);
        EXPECT_EQ(result, &PLC_driver.ret_var);
        return result->ret_value;
    }

    static int deliver(const char *reply) {
        const QByteArray data = bytes(reply);
        return deliver(data, static_cast<int>(data.size()));
    }

    static int no_reply() {
        return deliver(QByteArray(), 0);
    }

    // A good reply to the frame in flight, of as many zero bytes as it expects.
    static int good_reply() {
        const Protocol &request = PLC_driver.frame_list.first();
        QByteArray body = request.frame.left(2);
        body.append(static_cast<char>(request.data_len));
        body.append(QByteArray(request.data_len, '\0'));
        const QByteArray reply = support::with_crc(body);
        return deliver(reply, static_cast<int>(reply.size()));
    }

    static int in_flight() {
        return static_cast<int>(PLC_driver.frame_list.size());
    }

    // The stations of the cyclic list, head first.
    static std::string order() {
        std::string text;
        for (const RW_VAR &var : PLC_driver.read_list)
            text += std::to_string(var.station_no) + " ";
        return text;
    }
};

// What replies may not change when they are ignored.
struct Counters {
    explicit Counters(const ComInfo &info)
        : retry_count(info.retry_count), success_count(info.success_count), finish_flag(info.finish_flag),
          read_pass_count(PLC_driver.read_pass_count), last_op(PLC_driver.last_op),
          comm_failed(PLC_driver.comm_failed) {}

    int retry_count, success_count, finish_flag, read_pass_count, last_op;
    bool comm_failed;
};

bool operator==(const Counters &a, const Counters &b) {
    return a.retry_count == b.retry_count && a.success_count == b.success_count && a.finish_flag == b.finish_flag &&
           a.read_pass_count == b.read_pass_count && a.last_op == b.last_op && a.comm_failed == b.comm_failed;
}

}  // namespace

// ---- nothing in flight, and the special reply

TEST_F(Replies, WithNoFrameInFlightDataComReturns1AndChangesNothing) {
    poll(2);
    PLC_driver.last_op = 0;
    PLC_driver.read_pass_count = 1;
    info.retry_count = 2;
    info.success_count = 3;
    const Counters before(info);
    PLC_driver.ret_var.ret_value = 44;
    EXPECT_EQ(deliver("01 03 02 12 34 B5 33"), 1);
    EXPECT_EQ(no_reply(), 1);
    EXPECT_EQ(deliver("01 6A 8B 00 00"), 1);
    EXPECT_EQ(DataCom(nullptr, 0)->ret_value, 1);
    EXPECT_EQ(DataCom(nullptr, 7)->ret_value, 1);
    EXPECT_TRUE(Counters(info) == before);
    EXPECT_EQ(order(), "1 2 ");
    EXPECT_TRUE(PLC_driver.word_cache.isEmpty());
    EXPECT_TRUE(write_results.empty());
    EXPECT_TRUE(comm_errors.empty());
}

TEST_F(Replies, TheSpecial5ByteReplyGives1000AndLeavesTheFrameInFlightAndEveryCounter) {
    poll(2);
    const Protocol *const request = ComCommunication();
    info.retry_count = 1;
    info.retry_times = 0;
    const Counters before(info);
    EXPECT_EQ(deliver("01 6A 8B 00 00"), 1000);
    EXPECT_EQ(deliver("FF 6A 8B FF FF"), 1000);
    EXPECT_TRUE(Counters(info) == before);
    EXPECT_EQ(in_flight(), 1);
    EXPECT_EQ(ComCommunication(), request);
    EXPECT_EQ(order(), "1 2 ");
    EXPECT_TRUE(comm_errors.empty());
}

TEST_F(Replies, TheSpecialReplyGives1000EvenIfTheFrameExpects5Bytes) {
    poll(1);
    const Protocol *const request = ComCommunication();
    PLC_driver.frame_list.first().reply_len = 5;
    EXPECT_EQ(deliver("01 6A 8B 00 00"), 1000);
    EXPECT_EQ(ComCommunication(), request);
}

TEST_F(Replies, TheSpecialReplyIsKnownByItsOwn5BytesWhateverTheLengthSays) {
    poll(1);
    ComCommunication();
    for (int length : {5, 0, 4, 7, -1, int_max, int_min})
        EXPECT_EQ(deliver(bytes("01 6A 8B 00 00"), length), 1000) << length;
    EXPECT_EQ(info.retry_count, 0);
}

TEST_F(Replies, OnlyExactly5BytesWith6AAnd8BAreSpecial) {
    poll(1);
    info.retry_times = 100;
    ComCommunication();
    EXPECT_EQ(deliver("01 6A 8B 00"), 0);
    EXPECT_EQ(deliver("01 6A 8B 00 00 00"), 0);
    EXPECT_EQ(deliver("01 6A 8C 00 00"), 0);
    EXPECT_EQ(deliver("01 6B 8B 00 00"), 0);
    EXPECT_EQ(deliver("6A 8B 00 00 00"), 0);
    EXPECT_EQ(deliver("01 8B 6A 00 00"), 0);
    EXPECT_EQ(info.retry_count, 6);
}

// ---- good replies

TEST_F(Replies, AGoodReplyStoresItsDataRetiresTheFrameAndRotatesTheList) {
    poll(3);
    ComCommunication();
    EXPECT_EQ(deliver("01 03 02 12 34 B5 33"), 1);
    EXPECT_EQ(PLC_driver.word_cache.value(0x0107000A), 0x1234);
    EXPECT_EQ(PLC_driver.word_cache.size(), 1);
    EXPECT_EQ(in_flight(), 0);
    EXPECT_EQ(order(), "2 3 1 ");
    EXPECT_EQ(info.success_count, 1);
    EXPECT_EQ(info.retry_count, 0);
    EXPECT_FALSE(PLC_driver.comm_failed);
    EXPECT_TRUE(write_results.empty());
    EXPECT_TRUE(comm_errors.empty());
}

TEST_F(Replies, TheRotatedEntryKeepsAllItsFields) {
    RW_VAR var = support::full_var();
    var.reg_type = 7;
    var.reg_count = 1;
    var.area_no = 0;
    var.host_ref2 = 0;
    var.store_mode = 0;
    PLC_driver.read_list.append(var);
    PLC_driver.read_list.append(make_var(7, 1, 1));
    ComCommunication();
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(support::describe(PLC_driver.read_list.last()), support::describe(var));
}

TEST_F(Replies, AGoodReplyEndsTheFailedStateOfTheLink) {
    poll(1);
    PLC_driver.comm_failed = true;
    ComCommunication();
    EXPECT_EQ(good_reply(), 1);
    EXPECT_FALSE(PLC_driver.comm_failed);
}

// Failed replies of different frames add up until a give-up. Clearing the counter on a good reply would hide a line
// that loses every second reply.
TEST_F(Replies, AGoodReplyLeavesRetryCount) {
    poll(2);
    ComCommunication();
    EXPECT_EQ(no_reply(), 0);
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(info.retry_count, 1);
}

TEST_F(Replies, AReplyToAWriteIsGoodAndStoresNothing) {
    poll(1);
    PLC_driver.read_list.first().host_ref2 = 1;
    ComCommunication();
    EXPECT_EQ(deliver("01 03 02 12 34 B5 33"), 1);
    EXPECT_TRUE(PLC_driver.word_cache.isEmpty());
    EXPECT_EQ(in_flight(), 0);
}

TEST_F(Replies, TheFirstFrameOfASplitReadIsRetiredButTheListRotatesOnlyAfterTheSecond) {
    PLC_driver.read_list.append(make_var(8, 255, 2, 1));
    PLC_driver.read_list.append(make_var(7, 20, 1, 2));
    ComCommunication();
    ASSERT_EQ(in_flight(), 2);
    EXPECT_EQ(deliver("01 03 02 00 11 78 48"), 1);
    EXPECT_EQ(in_flight(), 1);
    EXPECT_EQ(order(), "1 2 ");
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    EXPECT_EQ(info.success_count, 1);
    EXPECT_EQ(info.success_limit, 2);

    EXPECT_EQ(deliver("01 03 02 00 22 38 5D"), 1);
    EXPECT_EQ(in_flight(), 0);
    EXPECT_EQ(order(), "2 1 ");
    EXPECT_EQ(PLC_driver.read_pass_count, 1);
    EXPECT_EQ(info.success_count, 2);
    EXPECT_EQ(PLC_driver.word_cache.value(0x010800FF), 0x11);
    EXPECT_EQ(PLC_driver.word_cache.value(0x01080100), 0x22);
}

TEST_F(Replies, TheFirstHalfOfASplitReadLeavesTheIdentityInTheResultAlone) {
    PLC_driver.read_list.append(make_var(8, 255, 2, 1));
    PLC_driver.fail_var = support::full_var();
    ComCommunication();
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_group, 0);
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_group, 101);
}

TEST_F(Replies, WithAHigherSuccessLimitTheEntryIsServedAgainUntilItIsReached) {
    poll(2);
    ComCommunication();
    info.success_limit = 2;
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(in_flight(), 0);
    EXPECT_EQ(order(), "1 2 ");
    const Protocol *const again = ComCommunication();
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(hex(again->frame), "01 03 00 0A 00 01 A4 08");
}

TEST_F(Replies, ASuccessLimitBelowTheCountCompletesToo) {
    poll(2);
    ComCommunication();
    info.success_limit = -3;
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(order(), "2 1 ");
}

// On every advance the result takes the identity of the variable given up last, also after a good reply: on success the
// host looks at ret_value only. Filling in the variable just read instead would not be noticed by any host, but a
// record of all zeros before the first give-up is what they have.
TEST_F(Replies, AfterAGoodReplyTheResultStillNamesTheVariableGivenUpLast) {
    poll(2);
    PLC_driver.fail_var = support::full_var();
    ComCommunication();
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(support::describe(PLC_driver.ret_var),
              "var_group 101\nvar_id 102\nhost_ref2 103\nhost_ref3 104\narea_no 105\nret_value 1\naux_text aux 107\n"
              "addr_text addr 108\nreg_type 109\nreg_addr 110\nstation_no 111\nreg_count 112\nstore_mode 113\n"
              "aux_word 114\nvalue_bytes ");
}

TEST_F(Replies, AnEmptyCyclicListIsNoHarm) {
    poll(1);
    ComCommunication();
    PLC_driver.read_list.clear();
    PLC_driver.fail_var.var_group = 7;
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_group, 0);
    EXPECT_TRUE(PLC_driver.read_list.isEmpty());
}

// ---- the pass over the list

// The count must exceed the length of the list, so a pass is one completed read more than the list is long.
TEST_F(Replies, FinishFlagIsSetWhenThePassCountExceedsTheLengthOfTheList) {
    poll(3);
    for (int read = 1; read <= 3; ++read) {
        ComCommunication();
        EXPECT_EQ(good_reply(), 1);
        EXPECT_EQ(PLC_driver.read_pass_count, read);
        EXPECT_EQ(info.finish_flag, 0) << "read " << read;
    }
    ComCommunication();
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(info.finish_flag, 1);
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
}

TEST_F(Replies, WhileFinishFlagIsSetReadsAreNotCounted) {
    poll(3);
    for (int flag : {1, 2, -1}) {
        info.finish_flag = flag;
        ComCommunication();
        EXPECT_EQ(good_reply(), 1);
        EXPECT_EQ(PLC_driver.read_pass_count, 0);
        EXPECT_EQ(info.finish_flag, flag);
    }
}

TEST_F(Replies, ThePassCountStaysThroughAReSend) {
    poll(3);
    ComCommunication();
    good_reply();
    ComCommunication();
    EXPECT_EQ(no_reply(), 0);
    EXPECT_EQ(PLC_driver.read_pass_count, 1);
    EXPECT_EQ(info.finish_flag, 0);
}

TEST_F(Replies, AGiveUpStartsThePassAnew) {
    poll(3);
    ComCommunication();
    good_reply();
    info.finish_flag = 1;
    info.retry_times = 0;
    ComCommunication();
    EXPECT_EQ(no_reply(), 41);
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    EXPECT_EQ(info.finish_flag, 0);
}

// ---- failed replies

TEST_F(Replies, WithRetryTimes2TwoFailedRepliesGive0AndTheThirdGivesTheFrameUp) {
    poll(2);
    const Protocol *const request = ComCommunication();
    EXPECT_EQ(no_reply(), 0);
    EXPECT_EQ(info.retry_count, 1);
    EXPECT_EQ(ComCommunication(), request);
    EXPECT_EQ(no_reply(), 0);
    EXPECT_EQ(info.retry_count, 2);
    EXPECT_EQ(ComCommunication(), request);
    EXPECT_FALSE(PLC_driver.comm_failed);
    EXPECT_TRUE(comm_errors.empty());

    EXPECT_EQ(no_reply(), 41);
    EXPECT_EQ(info.retry_count, 0);
    EXPECT_EQ(in_flight(), 0);
    EXPECT_TRUE(PLC_driver.comm_failed);
    EXPECT_EQ(order(), "2 1 ");
}

TEST_F(Replies, WithRetryTimes2AFailedReplyAGoodOneAndTwoFailedOnesGiveTheNextFrameUp) {
    poll(2);
    ComCommunication();
    EXPECT_EQ(no_reply(), 0);
    EXPECT_EQ(good_reply(), 1);
    ComCommunication();
    EXPECT_EQ(no_reply(), 0);
    EXPECT_EQ(no_reply(), 41);
    EXPECT_EQ(info.retry_count, 0);
    EXPECT_EQ(PLC_driver.fail_var.station_no, 2);
}

TEST_F(Replies, EveryKindOfFailureCountsAlike) {
    poll(1);
    info.retry_times = 3;
    ComCommunication();
    EXPECT_EQ(no_reply(), 0);
    EXPECT_EQ(deliver("01 03 02 12 34 00 00"), 0);
    EXPECT_EQ(deliver("01 03 04 12 34 56 78 81 07"), 0);
    EXPECT_EQ(info.retry_count, 3);
    EXPECT_EQ(deliver("01 83 02 C0 F1"), 71);
    EXPECT_TRUE(PLC_driver.word_cache.isEmpty());
}

TEST_F(Replies, WithRetryTimes0OrLessTheFirstFailedReplyGivesUp) {
    for (int retry_times : {0, -1, int_min}) {
        poll(1);
        info.retry_times = retry_times;
        ComCommunication();
        EXPECT_EQ(no_reply(), 41) << retry_times;
        EXPECT_EQ(info.retry_count, 0);
        EXPECT_EQ(in_flight(), 0);
    }
}

TEST_F(Replies, AFailedReplyChangesNothingButRetryCountAndTheResult) {
    poll(2);
    ComCommunication();
    PLC_driver.read_pass_count = 1;
    PLC_driver.fail_var = support::full_var();
    info.success_count = 0;
    EXPECT_EQ(no_reply(), 0);
    EXPECT_EQ(in_flight(), 1);
    EXPECT_EQ(info.success_count, 0);
    EXPECT_EQ(PLC_driver.read_pass_count, 1);
    EXPECT_EQ(order(), "1 2 ");
    EXPECT_EQ(PLC_driver.ret_var.var_group, 0);
    EXPECT_TRUE(write_results.empty());
    EXPECT_TRUE(comm_errors.empty());
}

TEST_F(Replies, WhileTheLinkHasFailedAReSendStillGives0) {
    poll(1);
    PLC_driver.comm_failed = true;
    ComCommunication();
    EXPECT_EQ(no_reply(), 0);
    EXPECT_TRUE(PLC_driver.comm_failed);
    EXPECT_TRUE(comm_errors.empty());
}

// ---- giving up

TEST_F(Replies, AGiveUpCallsCommErrorOnceWithAnEmptyListTheGroupAnd1UnderListMutex) {
    poll(2);
    PLC_driver.read_list.first().var_group = 321;
    PLC_driver.read_list.first().var_id = 654;
    info.retry_times = 0;
    ComCommunication();
    EXPECT_EQ(no_reply(), 41);
    ASSERT_EQ(comm_errors.size(), 1u);
    EXPECT_TRUE(comm_errors[0].empty_list);
    EXPECT_EQ(comm_errors[0].var_group, 321);
    EXPECT_EQ(comm_errors[0].flag, 1);
    EXPECT_TRUE(comm_errors[0].list_mutex_held);
    EXPECT_FALSE(comm_errors[0].cache_mutex_held);
    EXPECT_TRUE(write_results.empty()) << "a cyclic read reports through no other callback";
}

TEST_F(Replies, AGiveUpKeepsTheHeadsVariableWithAllItsFields) {
    RW_VAR var = support::full_var();
    var.reg_type = 7;
    var.reg_count = 1;
    var.station_no = 1;
    var.area_no = 0;
    PLC_driver.read_list.append(var);
    info.retry_times = 0;
    ComCommunication();
    EXPECT_EQ(no_reply(), 41);
    EXPECT_EQ(support::describe(PLC_driver.fail_var), support::describe(var));
}

TEST_F(Replies, AfterAGiveUpTheResultNamesTheVariableWithoutItsBytes) {
    RW_VAR var = support::full_var();
    var.reg_type = 7;
    var.reg_count = 1;
    var.area_no = 0;
    PLC_driver.read_list.append(var);
    PLC_driver.ret_var.value_bytes = bytes("AA");
    info.retry_times = 0;
    ComCommunication();
    EXPECT_EQ(no_reply(), 41);
    EXPECT_EQ(support::describe(PLC_driver.ret_var),
              "var_group 101\nvar_id 102\nhost_ref2 103\nhost_ref3 104\narea_no 0\nret_value 41\naux_text aux 107\n"
              "addr_text addr 108\nreg_type 7\nreg_addr 110\nstation_no 111\nreg_count 1\nstore_mode 113\n"
              "aux_word 114\nvalue_bytes ");
}

TEST_F(Replies, AGiveUpDropsAllFramesInFlight) {
    PLC_driver.read_list.append(make_var(8, 255, 2, 1));
    PLC_driver.read_list.append(make_var(7, 20, 1, 2));
    info.retry_times = 0;
    ComCommunication();
    ASSERT_EQ(in_flight(), 2);
    EXPECT_EQ(no_reply(), 41);
    EXPECT_EQ(in_flight(), 0);
    EXPECT_EQ(order(), "2 1 ");
    EXPECT_EQ(PLC_driver.fail_var.reg_addr, 255);
    EXPECT_EQ(PLC_driver.fail_var.reg_count, 1);
}

TEST_F(Replies, AGiveUpOfTheSecondHalfOfASplitReadNamesThatHalf) {
    PLC_driver.read_list.append(make_var(8, 255, 2, 1));
    info.retry_times = 0;
    ComCommunication();
    EXPECT_EQ(good_reply(), 1);
    EXPECT_EQ(no_reply(), 41);
    EXPECT_EQ(PLC_driver.fail_var.reg_addr, 256);
    EXPECT_EQ(PLC_driver.fail_var.reg_count, 1);
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
}

TEST_F(Replies, TheCyclicListIsNeverPurged) {
    poll(3);
    for (RW_VAR &var : PLC_driver.read_list) {
        var.var_group = 5;
        var.var_id = 6;
        var.station_no = 1;
    }
    info.retry_times = 0;
    ComCommunication();
    PLC_driver.write_list.append(PLC_driver.read_list.first());
    PLC_driver.once_read_list.append(PLC_driver.read_list.first());
    EXPECT_EQ(no_reply(), 46);
    EXPECT_EQ(PLC_driver.read_list.size(), 3);
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
}

TEST_F(Replies, TheListGoesRoundAlsoWhenEveryFrameIsGivenUp) {
    poll(3);
    info.retry_times = 0;
    std::string given_up;
    for (int turn = 0; turn < 4; ++turn) {
        ComCommunication();
        EXPECT_EQ(no_reply(), 41);
        given_up += std::to_string(PLC_driver.fail_var.station_no) + " ";
    }
    EXPECT_EQ(given_up, "1 2 3 1 ");
    EXPECT_EQ(comm_errors.size(), 4u);
}

// Right after loading last_op is 100, which names no queue.
TEST_F(Replies, WhileLastOpIs100AReplyAdvancesNoQueueAndCallsNoCallbackButCommErrorOnAGiveUp) {
    poll(2);
    PLC_driver.write_list.append(make_var(7, 1, 1));
    PLC_driver.once_read_list.append(make_var(7, 2, 1));
    PLC_driver.frame_list.append(support::make_frame(make_var(7, 10, 1), bytes("01 03 00 0A 00 01 A4 08"), 2));
    info.success_limit = 1;
    ASSERT_EQ(PLC_driver.last_op, 100);
    EXPECT_EQ(deliver("01 03 02 12 34 B5 33"), 1);
    EXPECT_EQ(in_flight(), 0);
    EXPECT_EQ(order(), "1 2 ");
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
    EXPECT_TRUE(comm_errors.empty());

    RW_VAR var = make_var(7, 10, 1);
    var.var_group = 5;
    PLC_driver.frame_list.append(support::make_frame(var, bytes("01 03 00 0A 00 01 A4 08"), 2));
    PLC_driver.ret_var.var_group = 77;
    info.retry_times = 0;
    EXPECT_EQ(no_reply(), 46);
    EXPECT_EQ(order(), "1 2 ");
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
    EXPECT_TRUE(write_results.empty());
    ASSERT_EQ(comm_errors.size(), 1u);
    // No queue was advanced, so the result record was not filled from the variable given up either.
    EXPECT_EQ(comm_errors[0].var_group, 77);
    EXPECT_EQ(PLC_driver.fail_var.var_group, 5);
}

// ---- the codes

TEST_F(Replies, ARejectedReplyOfTheRightLengthIs11To22ByGroup) {
    info.retry_times = 0;
    for (int group = 0; group <= 11; ++group) {
        poll(1);
        PLC_driver.read_list.first().var_group = group;
        ComCommunication();
        EXPECT_EQ(deliver("01 03 02 12 34 00 00"), 11 + group);
    }
}

TEST_F(Replies, NoReplyIs41To52ByGroup) {
    info.retry_times = 0;
    for (int group = 0; group <= 11; ++group) {
        poll(1);
        PLC_driver.read_list.first().var_group = group;
        ComCommunication();
        EXPECT_EQ(no_reply(), 41 + group);
    }
}

TEST_F(Replies, AReplyOfTheWrongLengthIs71To82ByGroup) {
    info.retry_times = 0;
    for (int group = 0; group <= 11; ++group) {
        poll(1);
        PLC_driver.read_list.first().var_group = group;
        ComCommunication();
        EXPECT_EQ(deliver("01 03 04 12 34 56 78 81 07"), 71 + group);
    }
}

TEST_F(Replies, AFrameOfGroup3GivenUpWithoutReplyIs44AndOfGroup12OrMinus1Is41) {
    info.retry_times = 0;
    const std::pair<int, int> rows[] = {{3, 44}, {12, 41}, {-1, 41}, {11, 52}, {0, 41}, {int_max, 41}, {int_min, 41}};
    for (const std::pair<int, int> &row : rows) {
        poll(1);
        PLC_driver.read_list.first().var_group = row.first;
        ComCommunication();
        EXPECT_EQ(no_reply(), row.second) << "group " << row.first;
    }
}

TEST_F(Replies, GetDriverReturnValueOfTheLocalOutcomesIsAsTheirTable) {
    PLC_driver.frame_list.append(Protocol());
    const std::pair<int, int> rows[] = {{0, 1}, {1, 11}, {2, 41}, {3, 71}};
    for (const std::pair<int, int> &row : rows)
        EXPECT_EQ(GetDriverReturnValue(row.first), row.second) << "kind " << row.first;
    PLC_driver.frame_list.first().var.var_group = 3;
    const std::pair<int, int> shifted[] = {{0, 1}, {1, 14}, {2, 44}, {3, 74}};
    for (const std::pair<int, int> &row : shifted)
        EXPECT_EQ(GetDriverReturnValue(row.first), row.second) << "kind " << row.first;
}

TEST_F(Replies, GetDriverReturnValueOfAnyOtherOutcomeIs200) {
    for (int kind : {8, 9, -1, 100, int_max, int_min})
        EXPECT_EQ(GetDriverReturnValue(kind), 200) << "kind " << kind;
}

TEST_F(Replies, SwitchErrorReturnShiftsByGroups0To11Only) {
    PLC_driver.frame_list.append(Protocol());
    RW_VAR &head = PLC_driver.frame_list.first().var;
    for (int group = 0; group <= 11; ++group) {
        head.var_group = group;
        EXPECT_EQ(SwitchErrorReturn(40), 41 + group);
    }
    for (int group : {12, 13, 100, -1, -12, int_max, int_min}) {
        head.var_group = group;
        EXPECT_EQ(SwitchErrorReturn(40), 41) << "group " << group;
    }
    head.var_group = 5;
    EXPECT_EQ(SwitchErrorReturn(0), 6);
    EXPECT_EQ(SwitchErrorReturn(170), 176);
}

TEST_F(Replies, SwitchErrorReturnTakesTheGroupOfTheHeadOfTheFrameList) {
    PLC_driver.frame_list.append(Protocol());
    PLC_driver.frame_list.append(Protocol());
    PLC_driver.frame_list.first().var.var_group = 2;
    PLC_driver.frame_list.last().var.var_group = 9;
    EXPECT_EQ(SwitchErrorReturn(10), 13);
}

TEST_F(Replies, SwitchErrorReturnWithNothingInFlightIsBasePlus1) {
    EXPECT_EQ(SwitchErrorReturn(10), 11);
    EXPECT_EQ(SwitchErrorReturn(170), 171);
    EXPECT_EQ(GetDriverReturnValue(3), 71);
}

// ---- lengths

TEST_F(Replies, ReplyLenMinus1AcceptsAnyLength) {
    poll(1);
    info.retry_times = 100;
    ComCommunication();
    PLC_driver.frame_list.first().reply_len = -1;
    EXPECT_EQ(DealDataOfLocalArea(nullptr, 7), 11);
    QByteArray bad = bytes("01 03 02 12 34 00 00");
    EXPECT_EQ(DealDataOfLocalArea(&bad, 7), 11);
    EXPECT_EQ(DealDataOfLocalArea(&bad, 3), 11);
    QByteArray longer = bytes("01 03 04 12 34 56 78 81 07");
    for (int length : {9, 7, 1, 1000, -1, int_max, int_min})
        EXPECT_EQ(DealDataOfLocalArea(&longer, length), 1) << length;
    EXPECT_EQ(PLC_driver.word_cache.value(0x0107000A), 0x1234);
}

TEST_F(Replies, ALengthOf0IsAMissingReplyEvenIfReplyLenIsMinus1) {
    poll(1);
    ComCommunication();
    PLC_driver.frame_list.first().reply_len = -1;
    QByteArray good = bytes("01 03 02 12 34 B5 33");
    EXPECT_EQ(DealDataOfLocalArea(&good, 0), 41);
    PLC_driver.frame_list.first().reply_len = 7;
    EXPECT_EQ(DealDataOfLocalArea(&good, 0), 41);
    EXPECT_TRUE(PLC_driver.word_cache.isEmpty());
}

// A frame that awaits no reply still has its empty reply checked, and an empty reply fails; only bytes that the host
// reports with length 0 can pass.
TEST_F(Replies, ReplyLen0WithLength0PassesToTheCheck) {
    poll(1);
    ComCommunication();
    PLC_driver.frame_list.first().reply_len = 0;
    QByteArray nothing;
    EXPECT_EQ(DealDataOfLocalArea(&nothing, 0), 11);
    QByteArray good = bytes("01 03 02 12 34 B5 33");
    EXPECT_EQ(DealDataOfLocalArea(&good, 0), 1);
    EXPECT_EQ(PLC_driver.word_cache.value(0x0107000A), 0x1234);
    EXPECT_EQ(DealDataOfLocalArea(&good, 7), 71);
}

TEST_F(Replies, ItIsTheLengthArgumentThatIsComparedWithReplyLen) {
    poll(1);
    ComCommunication();
    QByteArray good = bytes("01 03 02 12 34 B5 33");
    for (int length : {1, 6, 8, 300, -1, int_max, int_min})
        EXPECT_EQ(DealDataOfLocalArea(&good, length), 71) << length;
    EXPECT_TRUE(PLC_driver.word_cache.isEmpty());
    EXPECT_EQ(DealDataOfLocalArea(&good, 7), 1);
}

TEST_F(Replies, ALengthLargerThanTheReplyStoresOnlyWhatTheReplyHolds) {
    PLC_driver.read_list.append(make_var(7, 10, 10));
    ComCommunication();
    EXPECT_EQ(deliver(bytes("01 03 02 12 34 B5 33"), 25), 1);
    EXPECT_EQ(PLC_driver.word_cache.value(0x0107000A), 0x1234);
    EXPECT_LE(PLC_driver.word_cache.size(), 2);
}

TEST_F(Replies, ANullReplyIsAFailedCheck) {
    poll(1);
    ComCommunication();
    EXPECT_EQ(DataCom(nullptr, 7)->ret_value, 0);
    EXPECT_EQ(info.retry_count, 1);
    EXPECT_EQ(DataCom(nullptr, 0)->ret_value, 0);
    EXPECT_EQ(info.retry_count, 2);
    EXPECT_EQ(DataCom(nullptr, 7)->ret_value, 11);
    EXPECT_EQ(in_flight(), 0);
}

// ---- locks

TEST_F(Replies, StoringTakesCacheMutexAndTheCheckDoesNot) {
    poll(1);
    ComCommunication();
    QByteArray good = bytes("01 03 02 12 34 B5 33");
    QByteArray bad = bytes("01 03 02 12 34 00 00");
    EXPECT_TRUE(support::waits_for(PLC_driver.cache_mutex, [&] { DealDataOfLocalArea(&good, 7); }));
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, [&] { DealDataOfLocalArea(&bad, 7); }));
    EXPECT_TRUE(support::passes_by(PLC_driver.list_mutex, [&] { DealDataOfLocalArea(&good, 7); }));
    PLC_driver.read_list.first().host_ref2 = 1;
    PLC_driver.frame_list.first().var.host_ref2 = 1;
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, [&] { DealDataOfLocalArea(&good, 7); }));
}

TEST_F(Replies, AdvancingTheQueuesTakesListMutex) {
    poll(2);
    ComCommunication();
    QByteArray good = bytes("01 03 02 12 34 B5 33");
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [&] { DataCom(&good, 7); }));
    EXPECT_EQ(order(), "2 1 ");
}

// The two answers that change no queue come without the lock.
TEST_F(Replies, WithNothingInFlightOrTheSpecialReplyNoLockIsTaken) {
    QByteArray special = bytes("01 6A 8B 00 00");
    EXPECT_TRUE(support::passes_by(PLC_driver.list_mutex, [&] { DataCom(&special, 5); }));
    poll(1);
    ComCommunication();
    EXPECT_TRUE(support::passes_by(PLC_driver.list_mutex, [&] { DataCom(&special, 5); }));
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, [&] { DataCom(&special, 5); }));
}

// ---- whatever the line delivers

namespace {

class AnyReply : public Replies, public ::testing::WithParamInterface<int> {
protected:
    // Puts a read of class GetParam() in flight, `count` units from `address`.
    void put_in_flight(int address, int count) {
        PLC_driver.read_list.clear();
        PLC_driver.frame_list.clear();
        PLC_driver.read_list.append(make_var(GetParam(), address, count));
        ASSERT_NE(ComCommunication(), nullptr);
    }

    // Hands in `reply` and looks at what must hold whatever it was.
    void hand_in(const QByteArray &reply, int length) {
        const support::TightBytes block_of_reply(reply);
        QByteArray tight = block_of_reply.borrowed();
        PLC_driver.bit_cache.clear();
        PLC_driver.word_cache.clear();
        PLC_driver.dword_cache.clear();
        RW_VAR *const result = DataCom(&tight, length);
        ASSERT_EQ(result, &PLC_driver.ret_var);
        const int code = result->ret_value;
        const int stored = static_cast<int>(PLC_driver.bit_cache.size() + PLC_driver.word_cache.size() +
                                            PLC_driver.dword_cache.size());
        ASSERT_TRUE(code == 1 || code == 0 || code == 11 || code == 41 || code == 71 || code == 1000) << code;
        if (code != 1) {
            ASSERT_EQ(stored, 0);
        }
        ASSERT_LE(stored, static_cast<int>(reply.size()) * 8);
        ASSERT_TRUE(support::is_free(PLC_driver.list_mutex));
        ASSERT_TRUE(support::is_free(PLC_driver.cache_mutex));
    }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Classes, AnyReply, ::testing::Values(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13),
                         [](const ::testing::TestParamInfo<int> &row) { return "Class" + std::to_string(row.param); });

TEST_P(AnyReply, OfEveryLengthUpTo300ReadsNothingOutsideWithAnyLengthClaimed) {
    std::mt19937 random(static_cast<unsigned>(1000 + GetParam()));
    info.retry_times = 1;
    for (int size = 0; size <= 300; ++size) {
        QByteArray noise;
        for (int i = 0; i < size; ++i)
            noise.append(static_cast<char>(random() & 0xFF));
        QByteArray plausible = noise;
        if (size > 1) {
            plausible[0] = 0x01;
            plausible[1] = GetParam() <= 6 ? 0x01 : 0x03;
        }
        if (size > 2)
            plausible = support::with_crc(plausible.left(size - 2));

        for (const QByteArray &reply : {noise, plausible}) {
            const int expected = GetParam() <= 6 ? 15 : (GetParam() == 13 ? 45 : 25);
            for (int length : {size, size + 1, size - 1, expected, 0, -1, int_max, int_min}) {
                put_in_flight(5, GetParam() <= 6 ? 80 : 10);
                hand_in(reply, length);
                if (HasFatalFailure())
                    return;
            }
        }
    }
}

TEST_P(AnyReply, AsNullPointerWithAnyLengthIsAFailedReply) {
    info.retry_times = 0;
    for (int length : {0, 1, 7, 25, -1, int_max, int_min}) {
        put_in_flight(5, 10);
        const int code = DataCom(nullptr, length)->ret_value;
        EXPECT_TRUE(code == 11 || code == 41 || code == 71) << code;
        EXPECT_EQ(in_flight(), 0);
    }
}

TEST_P(AnyReply, ToARecordWithWildLengthsReadsNothingOutside) {
    std::mt19937 random(static_cast<unsigned>(2000 + GetParam()));
    const int extremes[] = {int_min, -1, 0, 1, 3, 5, 7, 100, 65536, int_max};
    const auto pick = [&] {
        return extremes[random() % 10];
    };
    for (int round = 0; round < 2000; ++round) {
        put_in_flight(5, 10);
        Protocol &request = PLC_driver.frame_list.first();
        request.reply_len = -1;
        request.data_offset = pick();
        request.data_len = pick();
        request.var.reg_count = pick();
        request.var.reg_addr = pick();
        QByteArray body = request.frame.left(2);
        for (auto i = random() % 30 + 1; i > 0; --i)
            body.append(static_cast<char>(random() & 0xFF));
        hand_in(support::with_crc(body), 1 + static_cast<int>(random() % 40));
        if (HasFatalFailure())
            return;
    }
}
