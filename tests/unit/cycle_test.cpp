#include "driver_test.h"
#include "hex_text.h"

#include <initializer_list>

using support::blocks;
using support::bytes;
using support::DriverTest;
using support::hex;
using support::make_var;

namespace {

class Cycle : public DriverTest {
protected:
    // A cyclic list of one register of class 7 at address 10 x station for each of `stations`.
    static void poll(std::initializer_list<int> stations) {
        PLC_driver.read_list.clear();
        for (int station : stations)
            PLC_driver.read_list.append(make_var(7, 10 * station, 1, station));
    }

    // The stations of the cyclic list, head first.
    static std::string order() {
        std::string text;
        for (const RW_VAR &var : PLC_driver.read_list)
            text += std::to_string(var.station_no) + " ";
        return text;
    }

    static std::string frame_of(const Protocol *request) {
        return request == nullptr ? "none" : hex(request->frame);
    }

    // Takes the frame in flight off the list with a good reply of one register.
    static void answer(const Protocol *request) {
        QByteArray body = bytes("00 03 02 00 07");
        body[0] = request->frame.at(0);
        QByteArray reply = support::with_crc(body);
        ASSERT_EQ(DataCom(&reply, static_cast<int>(reply.size()))->ret_value, 1);
    }
};

}  // namespace

TEST_F(Cycle, WithAllQueuesEmptyTheResultIsNullFinishFlagIs1AndBothTryCountersAre0) {
    PLC_driver.write_tries = 3;
    PLC_driver.once_read_tries = 4;
    PLC_driver.last_op = 2;
    info.finish_flag = 0;
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(info.finish_flag, 1);
    EXPECT_EQ(PLC_driver.write_tries, 0);
    EXPECT_EQ(PLC_driver.once_read_tries, 0);
    EXPECT_EQ(PLC_driver.last_op, 2) << "last_op keeps its value";
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
}

TEST_F(Cycle, ACyclicReadGivesTheFrameOfTheHead) {
    poll({1, 2});
    const Protocol *const request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request, &PLC_driver.frame_list.first());
    EXPECT_EQ(hex(request->frame), "01 03 00 0A 00 01 A4 08");
    EXPECT_EQ(request->send_len, 8);
    EXPECT_EQ(request->reply_len, 7);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
}

TEST_F(Cycle, ACyclicReadSetsLastOpAndBothTryCountersTo0) {
    poll({1});
    PLC_driver.write_tries = 3;
    PLC_driver.once_read_tries = 4;
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(PLC_driver.last_op, 0);
    EXPECT_EQ(PLC_driver.write_tries, 0);
    EXPECT_EQ(PLC_driver.once_read_tries, 0);
}

TEST_F(Cycle, BuildingAReadLeavesFinishFlagAndTheOrderOfTheList) {
    poll({1, 2, 3});
    info.finish_flag = 0;
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_EQ(order(), "1 2 3 ");

    PLC_driver.frame_list.clear();
    info.finish_flag = 1;
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(info.finish_flag, 1);
}

TEST_F(Cycle, WithAFrameInFlightRepeatedCallsReturnTheSameRecordAndChangeNoCounter) {
    poll({1, 2});
    PLC_driver.frame_list.append(support::make_frame(make_var(7, 500, 1), bytes("01 03 01 F4 00 01 C4 04"), 2));
    const Protocol *const in_flight = &PLC_driver.frame_list.first();
    PLC_driver.write_list.append(make_var(7, 1, 1));
    PLC_driver.once_read_list.append(make_var(7, 1, 1));
    PLC_driver.last_op = 2;
    PLC_driver.write_tries = 3;
    PLC_driver.once_read_tries = 4;
    PLC_driver.read_pass_count = 5;
    info.finish_flag = 0;
    info.success_count = 6;
    info.success_limit = 7;
    for (int call = 0; call < 10; ++call) {
        ASSERT_EQ(ComCommunication(), in_flight);
        EXPECT_EQ(PLC_driver.frame_list.size(), 1);
        EXPECT_EQ(PLC_driver.write_list.size(), 1);
        EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
        EXPECT_EQ(order(), "1 2 ");
        EXPECT_EQ(PLC_driver.last_op, 2);
        EXPECT_EQ(PLC_driver.write_tries, 3);
        EXPECT_EQ(PLC_driver.once_read_tries, 4);
        EXPECT_EQ(PLC_driver.read_pass_count, 5);
        EXPECT_EQ(info.finish_flag, 0);
        EXPECT_EQ(info.success_count, 6);
        EXPECT_EQ(info.success_limit, 7);
    }
}

TEST_F(Cycle, AFrameInFlightIsReturnedAlthoughItsStationIsDisabledSince) {
    poll({1, 2});
    const Protocol *const request = ComCommunication();
    EnableEthernet(1, 0);
    EXPECT_EQ(ComCommunication(), request);
    EXPECT_EQ(frame_of(ComCommunication()), "01 03 00 0A 00 01 A4 08");
}

// The first step looks at the frame list without a lock; with one, a re-send would wait for a rebuild.
TEST_F(Cycle, ReturningTheFrameInFlightTakesNoLock) {
    poll({1});
    const Protocol *const request = ComCommunication();
    ASSERT_NE(request, nullptr);
    for (QMutex *mutex : {&PLC_driver.list_mutex, &PLC_driver.cache_mutex, &PLC_driver.station_mutex})
        EXPECT_TRUE(support::passes_by(*mutex, [request] { EXPECT_EQ(ComCommunication(), request); }));
}

TEST_F(Cycle, BuildingAFrameTakesListMutexAndStationMutex) {
    poll({1});
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { ComCommunication(); }));
    PLC_driver.frame_list.clear();
    EXPECT_TRUE(support::waits_for(PLC_driver.station_mutex, [] { ComCommunication(); }));
    PLC_driver.frame_list.clear();
    EXPECT_TRUE(support::passes_by(PLC_driver.cache_mutex, [] { ComCommunication(); }));
}

TEST_F(Cycle, FindingNothingToSendTakesListMutexToo) {
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [] { ComCommunication(); }));
}

TEST_F(Cycle, HeadsOnDisabledStationsAreRotatedToTheEndAndKept) {
    poll({1, 2, 3, 4});
    EnableEthernet(1, 0);
    EnableEthernet(2, 0);
    EXPECT_EQ(frame_of(ComCommunication()), "03 03 00 1E 00 01 E5 EE");
    EXPECT_EQ(order(), "3 4 1 2 ");
}

TEST_F(Cycle, OnlyTheHeadIsLookedAt) {
    poll({1, 2, 3});
    EnableEthernet(2, 0);
    EXPECT_EQ(frame_of(ComCommunication()), "01 03 00 0A 00 01 A4 08");
    EXPECT_EQ(order(), "1 2 3 ");
}

TEST_F(Cycle, AListWhoseEntriesAreAllOnDisabledStationsIsRotatedOnceThroughAndTheResultIsNull) {
    poll({1, 2, 3});
    for (int station : {1, 2, 3})
        EnableEthernet(station, 0);
    PLC_driver.last_op = 2;
    PLC_driver.write_tries = 3;
    PLC_driver.once_read_tries = 4;
    info.finish_flag = 0;
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(order(), "1 2 3 ");
    EXPECT_EQ(info.finish_flag, 1);
    EXPECT_EQ(PLC_driver.last_op, 2);
    EXPECT_EQ(PLC_driver.write_tries, 0);
    EXPECT_EQ(PLC_driver.once_read_tries, 0);
}

TEST_F(Cycle, AStationIsReadAgainOnceItIsEnabled) {
    poll({1});
    EnableEthernet(1, 0);
    EXPECT_EQ(ComCommunication(), nullptr);
    EnableEthernet(1, 1);
    EXPECT_EQ(frame_of(ComCommunication()), "01 03 00 0A 00 01 A4 08");
}

TEST_F(Cycle, TheLastEntryThatIsNotDisabledIsFound) {
    poll({1, 2, 3});
    EnableEthernet(1, 0);
    EnableEthernet(2, 0);
    EXPECT_EQ(frame_of(ComCommunication()), "03 03 00 1E 00 01 E5 EE");
    EXPECT_EQ(order(), "3 1 2 ");
}

TEST_F(Cycle, EntriesAreServedInTurn) {
    poll({1, 2, 3});
    std::string served;
    for (int turn = 0; turn < 7; ++turn) {
        const Protocol *const request = ComCommunication();
        ASSERT_NE(request, nullptr);
        served += std::to_string(request->var.station_no) + " ";
        answer(request);
    }
    EXPECT_EQ(served, "1 2 3 1 2 3 1 ");
}

// Short lists and long ones are rotated in different ways.
TEST_F(Cycle, AListOfAnyLengthIsServedInTurnAgainAndAgain) {
    for (const int length : {1, 2, 255, 256, 257, 600}) {
        PLC_driver.read_list.clear();
        for (int address = 0; address < length; ++address)
            PLC_driver.read_list.append(make_var(7, address, 1, 1));
        for (int turn = 0; turn < 2 * length; ++turn) {
            const Protocol *const request = ComCommunication();
            ASSERT_NE(request, nullptr);
            ASSERT_EQ(request->var.reg_addr, turn % length) << "turn " << turn << " of a list of " << length;
            answer(request);
            ASSERT_EQ(PLC_driver.read_list.size(), length);
        }
    }
}

TEST_F(Cycle, ASplitReadIsSentAsTwoFramesInTurn) {
    PLC_driver.read_list.append(make_var(8, 255, 2));
    EXPECT_EQ(frame_of(ComCommunication()), "01 03 20 3F 00 01 BF C6");
    ASSERT_EQ(PLC_driver.frame_list.size(), 2);
    answer(&PLC_driver.frame_list.first());
    EXPECT_EQ(frame_of(ComCommunication()), "01 03 2E E0 00 01 8C D4");
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
}

// An entry that no read frame exists for must not hold up the list for ever.
TEST_F(Cycle, AHeadThatGivesNoFrameIsRotatedSoThatTheNextCallServesTheOthers) {
    poll({2, 3});
    PLC_driver.read_list.prepend(make_var(12, 5, 1, 1));
    info.finish_flag = 0;
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(info.finish_flag, 1);
    EXPECT_EQ(order(), "2 3 1 ");
    EXPECT_EQ(frame_of(ComCommunication()), "02 03 00 14 00 01 C4 3D");
}

TEST_F(Cycle, AListOfNothingButSuchEntriesGivesNullOnEveryCall) {
    PLC_driver.read_list.append(make_var(12, 5, 1, 1));
    PLC_driver.read_list.append(make_var(99, 5, 1, 2));
    for (int call = 0; call < 5; ++call)
        EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(PLC_driver.read_list.size(), 2);
    EXPECT_TRUE(PLC_driver.frame_list.isEmpty());
}

TEST_F(Cycle, TheBlockIsUsedInPlace) {
    poll({1});
    info.success_count = 5;
    info.success_limit = 6;
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(block.word(12), 0) << "success_count";
    EXPECT_EQ(block.word(11), 1) << "success_limit";
    PLC_driver.frame_list.clear();
    PLC_driver.read_list.clear();
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(block.word(17), 1) << "finish_flag";
}

TEST_F(Cycle, CallsNoCallback) {
    poll({1});
    ComCommunication();
    PLC_driver.frame_list.clear();
    PLC_driver.read_list.clear();
    ComCommunication();
    EXPECT_TRUE(write_results.empty());
    EXPECT_TRUE(comm_errors.empty());
}
