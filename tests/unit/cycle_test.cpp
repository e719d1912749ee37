// The whole communication cycle: writes, once-reads, the cyclic list, disabled stations and remote mode together.
#include "exchange.h"

using support::DriverTest;
using support::frames_in_flight;
using support::int_max;
using support::int_min;
using support::Lines;
using support::make_var;
using support::seen;
using support::write_var;

namespace {

class Cycle : public DriverTest {
protected:
    Cycle() {
        info.channel_id = 70;
    }

    // A write of one register; its address is also the host's identity of it.
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

    static void queue_once_read(int addr, int station = 1) {
        RW_VAR var = make_var(7, addr, 1, station);
        var.var_group = 20;
        var.var_id = addr;
        AddListOnceReadVar(&var, 1);
    }

    static void queue_once_reads(int first, int last) {
        for (int addr = first; addr <= last; ++addr)
            queue_once_read(addr);
    }

    static void poll(int addr, int station = 1) {
        RW_VAR var = make_var(7, addr, 1, station);
        AddListReadVar(&var);
    }

    // The request that the next call gives.
    static std::string next_request() {
        const Protocol *request = ComCommunication();
        if (request == nullptr)
            return "nothing";
        EXPECT_EQ(request, &PLC_driver.frame_list.first());
        const int kind = PLC_driver.last_op;
        const std::string name = kind == 1 ? "write" : kind == 2 ? "once" : kind == 0 ? "read" : "?";
        return name + " " + std::to_string(request->var.reg_addr);
    }

    // The requests that the next `calls` calls give, each answered correctly.
    static Lines next_requests(int calls) {
        Lines lines;
        for (int i = 0; i < calls; ++i) {
            lines.push_back(next_request());
            if (!PLC_driver.frame_list.isEmpty())
                support::answer_correctly();
        }
        return lines;
    }

    static std::string counters() {
        return "last_op " + std::to_string(PLC_driver.last_op) + ", writes " + std::to_string(PLC_driver.write_tries) +
               ", onces " + std::to_string(PLC_driver.once_read_tries);
    }
};

// ---- order

TEST_F(Cycle, TwoFullQueuesLeaveEveryEleventhRequestToTheCyclicList) {
    queue_writes(10, 21);
    queue_once_reads(40, 51);
    poll(80);
    const Lines expected = {"write 10", "write 11", "write 12", "write 13", "write 14", "once 40",  "once 41",
                            "once 42",  "once 43",  "once 44",  "read 80",  "write 15", "write 16", "write 17",
                            "write 18", "write 19", "once 45",  "once 46",  "once 47",  "once 48",  "once 49",
                            "read 80",  "write 20", "write 21", "once 50",  "once 51",  "read 80"};
    EXPECT_EQ(next_requests(27), expected);
}

TEST_F(Cycle, AWriteBetweenOnceReadsDoesNotStartTheirCountAgain) {
    poll(30);
    queue_once_reads(20, 26);
    EXPECT_EQ(next_requests(4), (Lines{"once 20", "once 21", "once 22", "once 23"}));
    queue_write(10);
    EXPECT_EQ(next_requests(4), (Lines{"write 10", "once 24", "read 30", "once 25"}));
}

TEST_F(Cycle, BuildingAFrameForTheSameHeadAgainCountsAsAnotherTry) {
    queue_write(10);
    poll(30);
    for (int tries = 1; tries <= 5; ++tries) {
        EXPECT_EQ(next_request(), "write 10");
        EXPECT_EQ(PLC_driver.write_tries, tries);
        info.success_limit = 2;
        EXPECT_EQ(support::answer_correctly(), 1);
        EXPECT_EQ(PLC_driver.write_list.size(), 1);
    }
    EXPECT_EQ(next_request(), "read 30");
}

TEST_F(Cycle, ASplitWriteIsOneTryOfTwoFrames) {
    RW_VAR var = write_var(8, 255, 2, "34 12 78 56");
    AddListWriteVar(&var);
    poll(30);
    EXPECT_EQ(next_requests(3), (Lines{"write 255", "write 255", "read 30"}));
    AddListWriteVar(&var);
    next_request();
    EXPECT_EQ(frames_in_flight().size(), 2u);
    support::answer_correctly();
    EXPECT_EQ(PLC_driver.write_tries, 1);
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(next_request(), "write 255");
    EXPECT_EQ(PLC_driver.write_tries, 1);
}

// Short lists and long ones are rotated in different ways.
TEST_F(Cycle, AListOfAnyLengthIsServedInTurnAgainAndAgain) {
    for (const int length : {1, 2, 255, 256, 257, 600}) {
        PLC_driver.read_list.clear();
        for (int address = 0; address < length; ++address)
            poll(address);
        for (int turn = 0; turn < 2 * length; ++turn) {
            const Protocol *const request = ComCommunication();
            ASSERT_NE(request, nullptr);
            ASSERT_EQ(request->var.reg_addr, turn % length) << "turn " << turn << " of a list of " << length;
            ASSERT_EQ(support::answer_correctly(), 1);
            ASSERT_EQ(PLC_driver.read_list.size(), length);
        }
    }
}

// ---- a frame in flight

TEST_F(Cycle, AFrameInFlightIsReturnedAgainAndChangesNoCounter) {
    queue_writes(10, 12);
    queue_once_read(20);
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

TEST_F(Cycle, AFrameInFlightIsReturnedWithoutAnyLock) {
    queue_write(10);
    next_request();
    const auto again = [] {
        EXPECT_NE(ComCommunication(), nullptr);
    };
    EXPECT_TRUE(support::takes_only({}, again));
}

// ---- disabled stations

TEST_F(Cycle, NothingIsDroppedWhileTheWriteStepIsSkipped) {
    EnableEthernet(5, 0);
    queue_write(10, 5);
    queue_once_read(20, 5);
    PLC_driver.write_tries = 5;
    PLC_driver.once_read_tries = 5;
    poll(30);
    EXPECT_EQ(next_request(), "read 30");
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
}

// ---- remote mode

TEST_F(Cycle, AnyRemoteModeExceptZeroSendsOnlyRemoteRequests) {
    for (int mode : {1, 2, -1, int_max, int_min}) {
        info.remote_mode = mode;
        PLC_driver.read_list.clear();
        queue_write(10);
        queue_once_read(20);
        poll(30);
        EXPECT_EQ(next_request(), "write 10");
        EXPECT_EQ(frames_in_flight(), Lines{"18 14 01 00 01 00 07 00 00 00 0A 00 01 00 00 00 00 00 00 00 00 34 12 86"});
        EXPECT_EQ(support::answer_correctly(), 1);
        EXPECT_EQ(next_request(), "once 20");
        EXPECT_EQ(frames_in_flight(), Lines{"16 14 00 00 01 00 07 00 00 00 14 00 01 00 00 00 00 00 00 00 00 47"});
        EXPECT_EQ(support::answer_correctly(), 1);
        EXPECT_EQ(next_request(), "read 30");
        EXPECT_EQ(frames_in_flight(), Lines{"16 00 00 00 01 00 07 00 00 00 1E 00 01 00 00 00 00 00 00 00 00 3D"});
        EXPECT_EQ(support::answer_correctly(), 1);
    }
}

TEST_F(Cycle, InRemoteModeDisabledStationsAreDroppedAndSkippedToo) {
    info.remote_mode = 1;
    EnableEthernet(5, 0);
    queue_write(10, 5);
    queue_once_read(20, 5);
    poll(30, 5);
    poll(31);
    EXPECT_EQ(next_request(), "read 31");
    EXPECT_TRUE(PLC_driver.write_list.isEmpty());
    EXPECT_TRUE(PLC_driver.once_read_list.isEmpty());
}

TEST_F(Cycle, InRemoteModeNothingIsRefused) {
    info.remote_mode = 1;
    for (int type : {12, 14, 18, -1, int_max, int_min}) {
        RW_VAR write = write_var(type, 10, 1, QByteArray(3000, 'x'));
        AddListWriteVar(&write);
        RW_VAR once = make_var(type, 20, 1);
        AddListOnceReadVar(&once, 1);
        PLC_driver.read_list.clear();
        RW_VAR polled = make_var(type, 30, 1);
        AddListReadVar(&polled);
        EXPECT_EQ(next_requests(3), (Lines{"write 10", "once 20", "read 30"})) << "type " << type;
    }
}

// ---- requests for which there is no frame

class Refusal : public Cycle {
protected:
    Refusal() {
        info.success_count = 7;
        info.success_limit = 9;
        PLC_driver.write_tries = 3;
        PLC_driver.once_read_tries = 3;
    }

    // The call gives no request and sends nothing.
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

TEST_F(Refusal, ARefusedWriteIsReportedEvenIfALaterOneWaits) {
    RW_VAR refused = identified(write_var(18, 10, 1, "34 12"));
    RW_VAR later = identified(write_var(7, 10, 1, "34 12"));
    AddListWriteVar(&refused);
    AddListWriteVar(&later);
    expect_nothing_sent(1);
    EXPECT_EQ(seen(write_results), Lines{"70 20 21 2"});
    EXPECT_EQ(next_request(), "write 10");
}

TEST_F(Refusal, AListOfOnlyRefusedEntriesAdvancesByOneEachCall) {
    for (int addr : {1, 2}) {
        RW_VAR var = make_var(18, addr, 1);
        AddListReadVar(&var);
    }
    for (int i = 0; i < 5; ++i)
        expect_nothing_sent(0);
    EXPECT_EQ(support::spans(PLC_driver.read_list), "(2,1) (1,1)");
}

// ---- what the cycle never uses

TEST_F(Cycle, TheSpareListsAndTheSpareFlagAreNeverUsed) {
    info.retry_times = 0;
    for (int mode : {0, 1}) {
        info.remote_mode = mode;
        PLC_driver.read_list.clear();
        queue_writes(10, 11);
        queue_once_reads(20, 21);
        poll(30);
        next_requests(4);
        ComCommunication();
        support::answer_nothing();
    }
    EXPECT_TRUE(PLC_driver.extend_list.isEmpty());
    EXPECT_TRUE(PLC_driver.read_source_list.isEmpty());
    EXPECT_FALSE(PLC_driver.spare_flag);
    EXPECT_EQ(comm_errors.size(), 2u);
}

// ---- locks

TEST_F(Cycle, BuildingTakesTheOtherTwoMutexesWhileItHoldsListMutex) {
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

TEST_F(Cycle, BuildingAReadTakesNoCacheMutex) {
    poll(30);
    queue_once_read(20);
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.cache_mutex, [] {
        ComCommunication();
        PLC_driver.frame_list.clear();
        PLC_driver.once_read_list.clear();
        ComCommunication();
    }));
}

}  // namespace
