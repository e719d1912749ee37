// What a reply does to the queues, the counters and the result record. Ordinary exchanges are in tests/transcripts.
#include "reply_exchange.h"

using support::answer;
using support::answer_correctly;
using support::answer_nothing;
using support::bytes;
using support::describe;
using support::entries;
using support::frames_in_flight;
using support::good_echo;
using support::int_max;
using support::int_min;
using support::Lines;
using support::make_var;
using support::other_area;
using support::own_area;
using support::ReplyTest;
using support::seen;
using support::write_var;

namespace {

class Replies : public ReplyTest {};

// ---- retries

TEST_F(Replies, AFailedReplyThatIsToleratedChangesOnlyTheRetryCount) {
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

TEST_F(Replies, WithRetryTimes0OrLessTheFirstFailureGivesTheFrameUp) {
    for (int times : {0, -1, int_min}) {
        info.retry_times = times;
        put_in_flight(0, own_area);
        EXPECT_EQ(answer_nothing(), 41) << "retry_times " << times;
        EXPECT_EQ(info.retry_count, 0);
    }
}

TEST_F(Replies, TheRetryCountIsComparedBeyond2To31) {
    info.retry_times = int_max;
    info.retry_count = int_max - 1;
    put_in_flight(0, own_area);
    EXPECT_EQ(answer_nothing(), 0);
    EXPECT_EQ(info.retry_count, int_max);
    EXPECT_EQ(answer_nothing(), 41);
    EXPECT_EQ(info.retry_count, 0);
}

// ---- a good reply

TEST_F(Replies, TheCallbackGetsTheCurrentChannelAndTheUnchangedIdentity) {
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

TEST_F(Replies, BeforeAnyFailureTheResultRecordHoldsOnlyTheCode) {
    PLC_driver.ret_var = support::full_var();
    queue_write(write_of(1));
    complete();
    RW_VAR expected;
    expected.ret_value = 1;
    EXPECT_EQ(describe(PLC_driver.ret_var), describe(expected));
}

TEST_F(Replies, TheRotatedEntryKeepsAllItsFields) {
    RW_VAR var = support::full_var();
    var.reg_type = 7;
    var.reg_count = 1;
    var.area_no = own_area;
    var.host_ref2 = 0;
    var.store_mode = 0;
    AddListReadVar(&var);
    poll(1);
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(describe(PLC_driver.read_list.last()), describe(var));
}

TEST_F(Replies, AReplyToAWriteIsNotStored) {
    RW_VAR var = make_var(7, 10, 1);
    var.area_no = own_area;
    var.host_ref2 = 1;
    AddListReadVar(&var);
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 03 02 12 34 B5 33")), 1);
    EXPECT_TRUE(support::caches_empty());
}

TEST_F(Replies, TheFirstHalfOfASplitReadLeavesTheResultRecord) {
    RW_VAR var = make_var(8, 255, 2);
    var.area_no = own_area;
    AddListReadVar(&var);
    PLC_driver.fail_var = support::full_var();
    EXPECT_EQ(complete(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_group, 0);
    EXPECT_EQ(answer_correctly(), 1);
    EXPECT_EQ(PLC_driver.ret_var.var_group, 101);
}

TEST_F(Replies, AGoodReplyEndsTheFailureEvenIfMoreRepliesAreExpected) {
    queue_write(write_of(1));
    ComCommunication();
    info.success_limit = 3;
    PLC_driver.comm_failed = true;
    EXPECT_EQ(answer_correctly(), 1);
    EXPECT_FALSE(PLC_driver.comm_failed);
    EXPECT_EQ(info.success_count, 1);
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
}

TEST_F(Replies, TheSuccessCountIsComparedBeyond2To31) {
    queue_write(write_of(1));
    ComCommunication();
    info.success_count = int_max;
    info.success_limit = int_max;
    EXPECT_EQ(answer_correctly(), 1);
    EXPECT_EQ(info.success_count, int_min);
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
}

TEST_F(Replies, ASuccessLimitOf0OrLessIsReachedByTheFirstGoodReply) {
    for (int limit : {0, -1, int_min}) {
        queue_write(write_of(1));
        ComCommunication();
        info.success_limit = limit;
        answer_correctly();
        EXPECT_TRUE(PLC_driver.write_list.isEmpty()) << "success_limit " << limit;
    }
}

TEST_F(Replies, APassCountOfIntMaxEndsThePass) {
    poll(30);
    PLC_driver.read_pass_count = int_max;
    complete();
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
    EXPECT_EQ(info.finish_flag, 1);
}

TEST_F(Replies, WhileFinishFlagIsSetNothingIsCounted) {
    for (int flag : {1, -1, 7}) {
        info.finish_flag = flag;
        PLC_driver.read_pass_count = 5;
        queue_write(write_of(1));
        complete();
        EXPECT_EQ(PLC_driver.read_pass_count, 5);
        EXPECT_EQ(info.finish_flag, flag);
    }
}

// ---- several requests of one variable

TEST_F(Replies, ALaterWriteIsTheSameOnlyWithBothIdentitiesAndInTheOwnArea) {
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

TEST_F(Replies, ALaterWriteMayBeOfAnyStationTypeAndAddress) {
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

// ---- once-reads

TEST_F(Replies, WritesAndOnceReadsDoNotHideEachOthersReports) {
    queue_once_read(once_of(1));
    ComCommunication();
    queue_write(write_of(1));
    answer_correctly();
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
    ComCommunication();
    queue_once_read(once_of(1));
    answer_correctly();
    EXPECT_EQ(seen(write_results), (Lines{"70 20 1 1", "70 20 1 1"}));
}

TEST_F(Replies, ALaterOnceReadInAnotherAreaHidesNothing) {
    queue_once_read(once_of(1));
    queue_once_read(once_of(1, other_area));
    complete();
    EXPECT_EQ(seen(write_results), Lines{"70 20 1 1"});
}

// ---- giving up

TEST_F(Replies, GivingUpKeepsTheWholeVariableAndReturnsItWithoutItsValue) {
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

TEST_F(Replies, CommFailedIsSetFromGivingUpToTheNextGoodReply) {
    info.retry_times = 1;
    queue_write(write_of(1));
    fail();
    EXPECT_FALSE(PLC_driver.comm_failed);
    answer_nothing();
    EXPECT_TRUE(PLC_driver.comm_failed);
    queue_write(write_of(2));
    EXPECT_EQ(fail(), 0);
    EXPECT_TRUE(PLC_driver.comm_failed);
    EXPECT_EQ(answer_correctly(), 1);
    EXPECT_FALSE(PLC_driver.comm_failed);
}

// ---- the queue of the request

TEST_F(Replies, ALastOpOfNoQueueAdvancesNoQueue) {
    queue_write(write_of(1));
    queue_once_read(once_of(1));
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

TEST_F(Replies, AQueueThatWasEmptiedInBetweenIsSkipped) {
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

// ---- remote areas

// The area of the frame decides, not how the request was built.
TEST_F(Replies, TheAreaAndTheRemoteModeAreIndependent) {
    info.remote_mode = 1;
    queue_once_read(once_of(1));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 03 02 12 34 B5 33")), 1);
    EXPECT_EQ(entries(PLC_driver.word_cache), "01070014=1234");
    queue_once_read(once_of(2, other_area));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 83 02 12 34 9C F3")), 100);
    queue_write(write_of(3));
    ComCommunication();
    EXPECT_EQ(answer(bytes("01 90 00 0A 00 01 20 15")), 1);
}

TEST_F(Replies, AStoredReplyOfAnotherAreaIs100OnlyAtSuccessCount1) {
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

TEST_F(Replies, AGoodReplyOfARemoteAreaRotatesTheCyclicList) {
    poll(30, other_area);
    poll(31, other_area);
    EXPECT_EQ(complete(), 100);
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(31,1) (30,1)");
}

}  // namespace
