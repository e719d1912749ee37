// The whole communication cycle: writes, once-reads, the cyclic list, disabled stations and remote mode together.
#include "write_exchange.h"

#include <limits>

using support::DriverTest;
using support::frames_in_flight;
using support::Lines;
using support::make_var;
using support::seen;
using support::write_var;

namespace {

const int int_max = std::numeric_limits<int>::max();
const int int_min = std::numeric_limits<int>::min();

class WriteCycle : public DriverTest {
protected:
    WriteCycle() {
        info.channel_id = 70;
    }

    // A write of one register; its address doubles as the host's identity of it.
    static void queue_write(int addr, int station = 1) {
        RW_VAR var = write_var(7, addr, 1, "34 12", station);
        var.var_group = 20;
        var.var_id = addr;
        AddListWriteVar(&var);
    }

    static void queue_writes(int first, int last) {
        for (int addr = first; addr <= last; ++addr)
            queue_write(addr);
    }

    static void queue_once(int addr, int station = 1) {
        RW_VAR var = make_var(7, addr, 1, station);
        var.var_group = 20;
        var.var_id = addr;
        AddListOnceReadVar(&var, 1);
    }

    static void queue_onces(int first, int last) {
        for (int addr = first; addr <= last; ++addr)
            queue_once(addr);
    }

    static void poll(int addr, int station = 1) {
        RW_VAR var = make_var(7, addr, 1, station);
        AddListReadVar(&var);
    }

    // What the next call asks for.
    static std::string serve() {
        const Protocol *request = ComCommunication();
        if (request == nullptr)
            return "nothing";
        EXPECT_EQ(request, &PLC_driver.frame_list.first());
        const int kind = PLC_driver.last_op;
        const std::string name = kind == 1 ? "write" : kind == 2 ? "once" : kind == 0 ? "read" : "?";
        return name + " " + std::to_string(request->var.reg_addr);
    }

    // What the next `calls` calls ask for, each answered well.
    static Lines served(int calls) {
        Lines lines;
        for (int i = 0; i < calls; ++i) {
            lines.push_back(serve());
            if (!PLC_driver.frame_list.isEmpty())
                support::answer_well();
        }
        return lines;
    }

    static std::string counters() {
        return "last_op " + std::to_string(PLC_driver.last_op) + ", writes " + std::to_string(PLC_driver.write_tries) +
               ", onces " + std::to_string(PLC_driver.once_read_tries);
    }
};

}  // namespace

// ---- order

TEST_F(WriteCycle, WritesComeBeforeOnceReadsAndThoseBeforeTheCyclicList) {
    poll(30);
    queue_once(20);
    queue_write(10);
    EXPECT_EQ(served(4), (Lines{"write 10", "once 20", "read 30", "read 30"}));
}

TEST_F(WriteCycle, EachQueueIsServedInTheOrderOfItsEntries) {
    queue_writes(10, 12);
    queue_onces(20, 22);
    poll(30);
    poll(31);
    EXPECT_EQ(served(9), (Lines{"write 10", "write 11", "write 12", "once 20", "once 21", "once 22", "read 30",
                                "read 31", "read 30"}));
}

TEST_F(WriteCycle, With6WritesQueuedTheSixthCallServesTheOnceReadQueueInsteadOfTheSixthWrite) {
    queue_writes(10, 15);
    queue_once(20);
    poll(30);
    EXPECT_EQ(served(6), (Lines{"write 10", "write 11", "write 12", "write 13", "write 14", "once 20"}));
}

TEST_F(WriteCycle, With6WritesQueuedAndNoOnceReadTheSixthCallServesTheCyclicList) {
    queue_writes(10, 15);
    poll(30);
    EXPECT_EQ(served(8),
              (Lines{"write 10", "write 11", "write 12", "write 13", "write 14", "read 30", "write 15", "read 30"}));
}

// Only a cyclic read, or a call with nothing to send, starts the count again. If a once-read did, a host that keeps
// both queues full would never poll.
TEST_F(WriteCycle, ServingAOnceReadDoesNotLetTheWritesGoOn) {
    queue_writes(10, 16);
    queue_onces(20, 21);
    poll(30);
    EXPECT_EQ(served(11), (Lines{"write 10", "write 11", "write 12", "write 13", "write 14", "once 20", "once 21",
                                 "read 30", "write 15", "write 16", "read 30"}));
}

TEST_F(WriteCycle, TwoFullQueuesLeaveEveryEleventhRequestToTheCyclicList) {
    queue_writes(10, 21);
    queue_onces(40, 51);
    poll(80);
    const Lines expected = {"write 10", "write 11", "write 12", "write 13", "write 14", "once 40",  "once 41",
                            "once 42",  "once 43",  "once 44",  "read 80",  "write 15", "write 16", "write 17",
                            "write 18", "write 19", "once 45",  "once 46",  "once 47",  "once 48",  "once 49",
                            "read 80",  "write 20", "write 21", "once 50",  "once 51",  "read 80"};
    EXPECT_EQ(served(27), expected);
}

TEST_F(WriteCycle, AfterFiveOnceReadsInARowTheCyclicListIsServed) {
    queue_onces(20, 25);
    poll(30);
    EXPECT_EQ(served(8),
              (Lines{"once 20", "once 21", "once 22", "once 23", "once 24", "read 30", "once 25", "read 30"}));
}

// A write that comes in between does not start the once-reads' count again.
TEST_F(WriteCycle, AWriteBetweenOnceReadsDoesNotStartTheirCountAgain) {
    poll(30);
    queue_onces(20, 26);
    EXPECT_EQ(served(4), (Lines{"once 20", "once 21", "once 22", "once 23"}));
    queue_write(10);
    EXPECT_EQ(served(4), (Lines{"write 10", "once 24", "read 30", "once 25"}));
}

TEST_F(WriteCycle, WithoutACyclicListACallThatFindsNothingToSendStartsTheCountsAgain) {
    queue_writes(10, 15);
    queue_onces(20, 25);
    EXPECT_EQ(served(14), (Lines{"write 10", "write 11", "write 12", "write 13", "write 14", "once 20", "once 21",
                                 "once 22", "once 23", "once 24", "nothing", "write 15", "once 25", "nothing"}));
}

TEST_F(WriteCycle, TheCountersAndLastOpFollowEachRequest) {
    queue_writes(10, 11);
    queue_once(20);
    poll(30);
    served(1);
    EXPECT_EQ(counters(), "last_op 1, writes 1, onces 0");
    served(1);
    EXPECT_EQ(counters(), "last_op 1, writes 2, onces 0");
    served(1);
    EXPECT_EQ(counters(), "last_op 2, writes 2, onces 1");
    served(1);
    EXPECT_EQ(counters(), "last_op 0, writes 0, onces 0");
}

TEST_F(WriteCycle, ACounterOfExactly4StillLetsOneMoreThrough) {
    queue_write(10);
    queue_once(20);
    PLC_driver.write_tries = 4;
    PLC_driver.once_read_tries = 4;
    EXPECT_EQ(served(3), (Lines{"write 10", "once 20", "nothing"}));
}

TEST_F(WriteCycle, TheHeadOfAQueueStaysUntilItsReplyHasBeenDealtWith) {
    queue_write(10);
    serve();
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    support::answer_well();
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    queue_once(20);
    serve();
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
    support::answer_well();
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
}

TEST_F(WriteCycle, BuildingAFrameForTheSameHeadAgainCountsAsAnotherTry) {
    queue_write(10);
    poll(30);
    for (int tries = 1; tries <= 5; ++tries) {
        EXPECT_EQ(serve(), "write 10");
        EXPECT_EQ(PLC_driver.write_tries, tries);
        info.success_limit = 2;
        EXPECT_EQ(support::answer_well(), 1);
        EXPECT_EQ(PLC_driver.write_list.size(), 1);
    }
    EXPECT_EQ(serve(), "read 30");
}

TEST_F(WriteCycle, ASplitWriteIsOneTryOfTwoFrames) {
    RW_VAR var = write_var(8, 255, 2, "34 12 78 56");
    AddListWriteVar(&var);
    poll(30);
    EXPECT_EQ(served(3), (Lines{"write 255", "write 255", "read 30"}));
    AddListWriteVar(&var);
    serve();
    EXPECT_EQ(frames_in_flight().size(), 2u);
    support::answer_well();
    EXPECT_EQ(PLC_driver.write_tries, 1);
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(serve(), "write 255");
    EXPECT_EQ(PLC_driver.write_tries, 1);
}

// ---- a frame in flight

TEST_F(WriteCycle, WithOneFrameInFlightRepeatedCallsReturnTheSameRecordAndChangeNoCounter) {
    queue_writes(10, 12);
    queue_once(20);
    const Protocol *first = ComCommunication();
    ASSERT_NE(first, nullptr);
    PLC_driver.write_tries = 33;
    PLC_driver.once_read_tries = 44;
    info.finish_flag = 5;
    info.success_count = 6;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(ComCommunication(), first);
    EXPECT_EQ(counters(), "last_op 1, writes 33, onces 44");
    EXPECT_EQ(info.finish_flag, 5);
    EXPECT_EQ(info.success_count, 6);
    EXPECT_EQ(PLC_driver.write_list.size(), 3);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
}

TEST_F(WriteCycle, AFrameInFlightIsReturnedWithoutAnyLock) {
    queue_write(10);
    serve();
    const auto again = [] {
        EXPECT_NE(ComCommunication(), nullptr);
    };
    EXPECT_TRUE(support::passes_by(PLC_driver.list_mutex, again));
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, again));
    EXPECT_TRUE(support::passes_by(PLC_driver.station_mutex, again));
}

TEST_F(WriteCycle, AFrameInFlightIsNotAffectedWhenItsStationIsDisabled) {
    queue_write(10);
    EXPECT_EQ(serve(), "write 10");
    EnableEthernet(1, 0);
    EXPECT_EQ(serve(), "write 10");
    EXPECT_EQ(support::answer_well(), 1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 10 1"});
}

// ---- nothing to send

TEST_F(WriteCycle, WithAllQueuesEmptyTheResultIsNullFinishFlagBecomes1AndTheCountersBecome0) {
    PLC_driver.write_tries = 3;
    PLC_driver.once_read_tries = 5;
    PLC_driver.last_op = 2;
    for (int flag : {0, 1, 9, -1}) {
        info.finish_flag = flag;
        EXPECT_EQ(ComCommunication(), nullptr);
        EXPECT_EQ(info.finish_flag, 1);
    }
    EXPECT_EQ(counters(), "last_op 2, writes 0, onces 0");
}

TEST_F(WriteCycle, ACallThatBuildsSomethingLeavesFinishFlagAlone) {
    info.finish_flag = 0;
    queue_write(10);
    serve();
    EXPECT_EQ(info.finish_flag, 0);
}

// ---- disabled stations

TEST_F(WriteCycle, WritesThatAllBelongToDisabledStationsAreEmptiedByOneCallWhichGoesOnToTheOnceReads) {
    EnableEthernet(5, 0);
    EnableEthernet(6, 0);
    queue_write(10, 5);
    queue_write(11, 6);
    queue_write(12, 5);
    queue_once(20);
    EXPECT_EQ(serve(), "once 20");
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_EQ(counters(), "last_op 2, writes 0, onces 1");
    EXPECT_TRUE(write_results.empty());
}

TEST_F(WriteCycle, OnceReadsThatAllBelongToDisabledStationsAreEmptiedByOneCallWhichGoesOnToTheCyclicList) {
    EnableEthernet(5, 0);
    queue_write(10, 5);
    queue_once(20, 5);
    queue_once(21, 5);
    poll(30);
    EXPECT_EQ(serve(), "read 30");
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
    EXPECT_EQ(counters(), "last_op 0, writes 0, onces 0");
    EXPECT_TRUE(write_results.empty());
}

TEST_F(WriteCycle, OnlyTheHeadsOnDisabledStationsAreDropped) {
    EnableEthernet(5, 0);
    queue_write(10, 5);
    queue_write(11, 5);
    queue_write(12, 1);
    queue_write(13, 5);
    queue_write(14, 1);
    EXPECT_EQ(serve(), "write 12");
    EXPECT_EQ(PLC_driver.write_list.size(), 3);
    support::answer_well();
    EXPECT_EQ(serve(), "write 14");
    support::answer_well();

    queue_once(20, 5);
    queue_once(21, 1);
    queue_once(22, 5);
    EXPECT_EQ(serve(), "once 21");
    EXPECT_EQ(PLC_driver.once_read_list.size(), 2);
}

// Dropped, not postponed: a write that is sent when the station comes back would set a value that nobody waits for.
TEST_F(WriteCycle, ADroppedWriteOrOnceReadDoesNotComeBackWhenTheStationIsEnabled) {
    EnableEthernet(5, 0);
    queue_write(10, 5);
    queue_once(20, 5);
    EXPECT_EQ(serve(), "nothing");
    EnableEthernet(5, 1);
    EXPECT_EQ(serve(), "nothing");
}

TEST_F(WriteCycle, WhileTheWriteStepIsPassedOverNothingIsDroppedFromIt) {
    EnableEthernet(5, 0);
    queue_write(10, 5);
    queue_once(20, 5);
    PLC_driver.write_tries = 5;
    PLC_driver.once_read_tries = 5;
    poll(30);
    EXPECT_EQ(serve(), "read 30");
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
}

TEST_F(WriteCycle, ACyclicEntryOfADisabledStationIsPassedOverAndReadAgainOnceItIsEnabled) {
    poll(30, 5);
    poll(31);
    EnableEthernet(5, 0);
    EXPECT_EQ(served(3), (Lines{"read 31", "read 31", "read 31"}));
    EnableEthernet(5, 1);
    EXPECT_EQ(served(2), (Lines{"read 30", "read 31"}));
}

TEST_F(WriteCycle, ACyclicListOnDisabledStationsOnlyIsRotatedThroughOnceAndTheResultIsNull) {
    poll(30, 5);
    poll(31, 6);
    poll(32, 5);
    EnableEthernet(5, 0);
    EnableEthernet(6, 0);
    PLC_driver.last_op = 2;
    PLC_driver.write_tries = 3;
    PLC_driver.once_read_tries = 4;
    EXPECT_EQ(serve(), "nothing");
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(30,1) (31,1) (32,1)");
    EXPECT_EQ(info.finish_flag, 1);
    EXPECT_EQ(counters(), "last_op 2, writes 0, onces 0");
}

// ---- remote mode

TEST_F(WriteCycle, RemoteModeSendsEveryRequestOfEveryQueueThroughTheRemoteStationBuilders) {
    for (int mode : {1, 2, -1, int_max, int_min}) {
        info.remote_mode = mode;
        PLC_driver.read_list.clear();
        queue_write(10);
        queue_once(20);
        poll(30);
        EXPECT_EQ(serve(), "write 10");
        EXPECT_EQ(frames_in_flight(), Lines{"18 14 01 00 01 00 07 00 00 00 0A 00 01 00 00 00 00 00 00 00 00 34 12 86"});
        EXPECT_EQ(support::answer_well(), 1);
        EXPECT_EQ(serve(), "once 20");
        EXPECT_EQ(frames_in_flight(), Lines{"16 14 00 00 01 00 07 00 00 00 14 00 01 00 00 00 00 00 00 00 00 47"});
        EXPECT_EQ(support::answer_well(), 1);
        EXPECT_EQ(serve(), "read 30");
        EXPECT_EQ(frames_in_flight(), Lines{"16 00 00 00 01 00 07 00 00 00 1E 00 01 00 00 00 00 00 00 00 00 3D"});
        EXPECT_EQ(support::answer_well(), 1);
    }
}

TEST_F(WriteCycle, WithRemoteMode0EveryRequestIsModbusRtu) {
    queue_write(10);
    queue_once(20);
    poll(30);
    serve();
    EXPECT_EQ(frames_in_flight(), Lines{"01 10 00 0A 00 01 02 12 34 AB 8D"});
    support::answer_well();
    serve();
    EXPECT_EQ(frames_in_flight(), Lines{"01 03 00 14 00 01 C4 0E"});
    support::answer_well();
    serve();
    EXPECT_EQ(frames_in_flight(), Lines{"01 03 00 1E 00 01 E4 0C"});
}

TEST_F(WriteCycle, TheModeIsLookedAtForEachRequest) {
    queue_writes(10, 11);
    serve();
    info.remote_mode = 1;
    EXPECT_EQ(frames_in_flight(), Lines{"01 10 00 0A 00 01 02 12 34 AB 8D"});
    support::answer_well();
    serve();
    EXPECT_EQ(PLC_driver.frame_list.first().send_len, 24);
}

TEST_F(WriteCycle, InRemoteModeDisabledStationsAreDroppedAndPassedOverToo) {
    info.remote_mode = 1;
    EnableEthernet(5, 0);
    queue_write(10, 5);
    queue_once(20, 5);
    poll(30, 5);
    poll(31);
    EXPECT_EQ(serve(), "read 31");
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
}

TEST_F(WriteCycle, InRemoteModeNothingIsRefused) {
    info.remote_mode = 1;
    for (int type : {12, 14, 18, -1, int_max, int_min}) {
        RW_VAR write = write_var(type, 10, 1, QByteArray(3000, 'x'));
        AddListWriteVar(&write);
        RW_VAR once = make_var(type, 20, 1);
        AddListOnceReadVar(&once, 1);
        PLC_driver.read_list.clear();
        RW_VAR polled = make_var(type, 30, 1);
        AddListReadVar(&polled);
        EXPECT_EQ(served(3), (Lines{"write 10", "once 20", "read 30"})) << "type " << type;
    }
}

// ---- requests that no frame exists for

namespace {

class Refusal : public WriteCycle {
protected:
    Refusal() {
        info.success_count = 7;
        info.success_limit = 9;
        PLC_driver.write_tries = 3;
        PLC_driver.once_read_tries = 3;
    }

    // The call had nothing to send, and says so.
    void expect_nothing_sent(int kind) {
        EXPECT_EQ(ComCommunication(), nullptr);
        EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
        EXPECT_EQ(counters(), "last_op " + std::to_string(kind) + ", writes 0, onces 0");
        EXPECT_EQ(info.finish_flag, 1);
        EXPECT_EQ(info.success_count, 7);
        EXPECT_EQ(info.success_limit, 9);
        EXPECT_EQ(info.retry_count, 0);
        EXPECT_FALSE(PLC_driver.comm_failed);
        EXPECT_TRUE(support::caches_empty());
        EXPECT_TRUE(comm_errors.empty());
    }

    static RW_VAR identified(RW_VAR var) {
        var.var_group = 20;
        var.var_id = 21;
        return var;
    }
};

}  // namespace

TEST_F(Refusal, AWriteOfATypeOutside0To17LeavesItsQueueAndIsReportedAsFailed) {
    poll(30);
    for (int type : {18, 255, -1, int_max, int_min}) {
        RW_VAR var = identified(write_var(type, 10, 1, "34 12"));
        AddListWriteVar(&var);
        expect_nothing_sent(1);
        EXPECT_TRUE(PLC_driver.write_list.isEmpty()) << "type " << type;
    }
    EXPECT_EQ(seen(write_results), (Lines{"70 20 21 2", "70 20 21 2", "70 20 21 2", "70 20 21 2", "70 20 21 2"}));
    EXPECT_EQ(serve(), "read 30");
}

TEST_F(Refusal, AWriteOfMoreThan1015BytesLeavesItsQueueAndIsReportedAsFailed) {
    RW_VAR var = identified(write_var(7, 10, 2, QByteArray(1016, 'x')));
    AddListWriteVar(&var);
    queue_write(11);
    expect_nothing_sent(1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 21 2"});
    EXPECT_EQ(serve(), "write 11");
}

TEST_F(Refusal, ASplitWriteThatDoesNotFitIsRefusedLikeAnyOther) {
    RW_VAR var = identified(write_var(8, 0, 256 + 508, QByteArray(1528, 'x')));
    AddListWriteVar(&var);
    expect_nothing_sent(1);
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_EQ(seen(write_results), Lines{"70 20 21 2"});
}

TEST_F(Refusal, ARefusedWriteIsReportedEvenIfALaterOneOfTheSameVariableWaits) {
    RW_VAR refused = identified(write_var(18, 10, 1, "34 12"));
    RW_VAR later = identified(write_var(7, 10, 1, "34 12"));
    AddListWriteVar(&refused);
    AddListWriteVar(&later);
    expect_nothing_sent(1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 21 2"});
    EXPECT_EQ(serve(), "write 10");
}

TEST_F(Refusal, AOnceReadOfAClassWithoutReadFrameLeavesItsQueueAndIsReportedAsFailed) {
    poll(30);
    for (int type : {12, 14, 15, 16, 17, 18, -1, int_max, int_min}) {
        RW_VAR var = identified(make_var(type, 10, 1));
        AddListOnceReadVar(&var, 1);
        expect_nothing_sent(2);
        EXPECT_TRUE(PLC_driver.once_read_list.isEmpty()) << "type " << type;
        ASSERT_FALSE(write_results.empty()) << "type " << type;
    }
    EXPECT_EQ(seen(write_results), Lines(9, "70 20 21 2"));
    EXPECT_EQ(serve(), "read 30");
}

TEST_F(Refusal, ACyclicEntryOfAClassWithoutReadFrameMovesToTheEndOfTheList) {
    for (int type : {12, 14, 15, 18, -1}) {
        PLC_driver.read_list.clear();
        RW_VAR var = make_var(type, 29, 1);
        AddListReadVar(&var);
        poll(30);
        poll(31);
        PLC_driver.write_tries = 3;
        PLC_driver.once_read_tries = 3;
        info.finish_flag = 0;
        info.success_count = 7;
        info.success_limit = 9;
        expect_nothing_sent(0);
        EXPECT_EQ(support::spans(PLC_driver.read_list), "(30,1) (31,1) (29,1)") << "type " << type;
        EXPECT_EQ(served(4), (Lines{"read 30", "read 31", "nothing", "read 30"})) << "type " << type;
        info.retry_count = 0;
        PLC_driver.word_cache.clear();
    }
    EXPECT_TRUE(write_results.empty());
}

TEST_F(Refusal, AListOfRefusedEntriesOnlyIsGoneThroughOneACall) {
    for (int addr : {1, 2}) {
        RW_VAR var = make_var(18, addr, 1);
        AddListReadVar(&var);
    }
    for (int i = 0; i < 5; ++i)
        expect_nothing_sent(0);
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(2,1) (1,1)");
}

TEST_F(Refusal, ARefusedRequestDoesNotStarveTheOthers) {
    for (int i = 0; i < 20; ++i) {
        RW_VAR refused = identified(write_var(18, 10, 1, "34 12"));
        AddListWriteVar(&refused);
    }
    queue_write(11);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(serve(), "nothing");
    EXPECT_EQ(serve(), "write 11");
}

// ---- what the cycle has no use for

TEST_F(WriteCycle, TheTwoSpareListsAndTheSpareFlagStayAsTheyWereThroughEveryKindOfRequest) {
    info.retry_times = 0;
    for (int mode : {0, 1}) {
        info.remote_mode = mode;
        PLC_driver.read_list.clear();
        queue_writes(10, 11);
        queue_onces(20, 21);
        poll(30);
        served(4);
        ComCommunication();
        support::answer_nothing();
    }
    EXPECT_TRUE(PLC_driver.extend_list.isEmpty());
    EXPECT_TRUE(PLC_driver.read_source_list.isEmpty());
    EXPECT_FALSE(PLC_driver.spare_flag);
    EXPECT_EQ(comm_errors.size(), 2u);
}

// ---- locks

TEST_F(WriteCycle, BuildingHoldsListMutexAndTakesTheOtherTwoInsideIt) {
    const auto build = [] {
        queue_write(10);
        PLC_driver.frame_list.clear();
        PLC_driver.write_tries = 0;
        ComCommunication();
    };
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { ComCommunication(); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.station_mutex, build));
    EXPECT_TRUE(support::waits_for(PLC_driver.cache_mutex, build));
}

TEST_F(WriteCycle, BuildingAReadTakesNoCacheMutex) {
    poll(30);
    queue_once(20);
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, [] {
        ComCommunication();
        PLC_driver.frame_list.clear();
        PLC_driver.once_read_list.clear();
        ComCommunication();
    }));
}
