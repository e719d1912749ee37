#include "driver_test.h"

#include <thread>

using support::DriverTest;
using support::HostBlock;
using support::int_max;
using support::int_min;

namespace {

void a_write_result(int, int, int, int) {}
void a_comm_error(QList<RW_VAR> *, int, int) {}

class HostBlockHandover : public DriverTest {
protected:
    // The block's max_count after the driver has been handed a block that has `max_count`.
    static int max_count_left_of(int max_count) {
        HostBlock given;
        given.info.max_count = max_count;
        given.info.state_a = 11;
        given.info.state_b = 22;
        SetComInfo(&given.info);
        EXPECT_EQ(given.info.state_a, 0) << "max_count " << max_count;
        EXPECT_EQ(given.info.state_b, 0) << "max_count " << max_count;
        EXPECT_TRUE(given.other_words_unchanged()) << "max_count " << max_count;
        return given.info.max_count;
    }
};

class HostSetup : public DriverTest {};

TEST_F(HostBlockHandover, LowersOnlyWhatIsGreaterThan100) {
    EXPECT_EQ(max_count_left_of(101), 100);
    EXPECT_EQ(max_count_left_of(int_max), 100);
    EXPECT_EQ(max_count_left_of(99), 99);
    EXPECT_EQ(max_count_left_of(1), 1);
    EXPECT_EQ(max_count_left_of(0), 0);
    EXPECT_EQ(max_count_left_of(int_min), int_min);
}

TEST_F(HostBlockHandover, KeepsThePointerAndCopiesNothing) {
    HostBlock given;
    SetComInfo(&given.info);
    EXPECT_EQ(PLC_driver.com_info, &given.info);
}

TEST_F(HostBlockHandover, SetsNoOtherWordOfTheBlock) {
    HostBlock given;
    int *const words[] = {&given.info.default_station, &given.info.retry_times,   &given.info.retry_count,
                          &given.info.multi_station,   &given.info.success_limit, &given.info.success_count,
                          &given.info.remote_mode,     &given.info.local_area_no, &given.info.write_mode,
                          &given.info.finish_flag,     &given.info.channel_id};
    int value = 1000;
    for (int *word : words)
        *word = value++;
    SetComInfo(&given.info);
    value = 1000;
    for (int *word : words)
        EXPECT_EQ(*word, value++);
}

TEST_F(HostBlockHandover, LeavesAnEarlierBlockAlone) {
    HostBlock first;
    first.info.max_count = 50;
    SetComInfo(&first.info);
    first.info.max_count = 250;
    first.info.state_a = 7;
    HostBlock second;
    SetComInfo(&second.info);
    EXPECT_EQ(first.info.max_count, 250);
    EXPECT_EQ(first.info.state_a, 7);
}

TEST_F(HostSetup, RegistCallBackFuncIntfKeepsBothCallbacks) {
    RegistCallBackFuncIntf(a_write_result, a_comm_error);
    EXPECT_EQ(PLC_driver.write_result_cb, &a_write_result);
    EXPECT_EQ(PLC_driver.comm_error_cb, &a_comm_error);
}

TEST_F(HostSetup, FlashLocalRegisterStoresLbLwRwi) {
    int memories[3] = {1, 2, 3};
    FlashLocalRegister(&memories[0], &memories[1], &memories[2]);
    EXPECT_EQ(LB, &memories[0]);
    EXPECT_EQ(LW, &memories[1]);
    EXPECT_EQ(RWI, &memories[2]);
    EXPECT_EQ(memories[0], 1);
    EXPECT_EQ(memories[1], 2);
    EXPECT_EQ(memories[2], 3);
}

// It does not read the flag: the answer is always "finished", and a host reads the flag in its own block.
TEST_F(HostSetup, QueryFinishFlagIs1WhateverTheFlagIs) {
    for (int flag : {0, 1, 7, -1}) {
        info.finish_flag = flag;
        EXPECT_EQ(QueryFinishFlag(), 1) << "finish_flag " << flag;
        EXPECT_EQ(info.finish_flag, flag);
    }
}

TEST_F(HostSetup, QueryFinishFlagNeedsNoBlock) {
    PLC_driver.com_info = nullptr;
    EXPECT_EQ(QueryFinishFlag(), 1);
}

// The host configures while the link is idle. With a lock these calls could not be made from its callbacks.
TEST_F(HostSetup, TheConfigurationCallsTakeNoLock) {
    HostBlock given;
    const auto configure = [&given] {
        SetComInfo(&given.info);
        RegistCallBackFuncIntf(a_write_result, a_comm_error);
        FlashLocalRegister(nullptr, nullptr, nullptr);
        QueryFinishFlag();
    };
    EXPECT_TRUE(support::takes_only({}, configure));
}

struct StationCall {
    const char *name;
    void (*call)(int, int);
};

// Both names of the same operation.
class StationSwitch : public DriverTest, public ::testing::WithParamInterface<StationCall> {
protected:
    static void change(int station, int mode) {
        GetParam().call(station, mode);
    }
};

void PrintTo(const StationCall &call, std::ostream *out) {
    *out << call.name;
}

INSTANTIATE_TEST_SUITE_P(BothNames, StationSwitch,
                         ::testing::Values(StationCall{"EnableEthernet", EnableEthernet},
                                           StationCall{"EnCommStation", EnCommStation}),
                         [](const ::testing::TestParamInfo<StationCall> &row) { return std::string(row.param.name); });

TEST_P(StationSwitch, Station0AndLargeStationsAreOrdinaryStations) {
    change(0, 0);
    change(int_max, 0);
    EXPECT_TRUE(Ethernetcontains(0));
    EXPECT_TRUE(Ethernetcontains(int_max));
    EXPECT_FALSE(Ethernetcontains(1));
    EXPECT_EQ(PLC_driver.disabled_stations.value(int_max, -1), 0);
}

TEST_P(StationSwitch, TakesStationMutexAndNoOther) {
    EXPECT_TRUE(support::takes_only({&PLC_driver.station_mutex}, [] { change(3, 0); }));
    EXPECT_TRUE(Ethernetcontains(3));
}

TEST_F(HostSetup, EthernetcontainsIsAnExactLookup) {
    EnableEthernet(3, 0);
    EXPECT_TRUE(Ethernetcontains(3));
    EXPECT_FALSE(Ethernetcontains(2));
    EXPECT_FALSE(Ethernetcontains(4));
    EXPECT_FALSE(Ethernetcontains(3 + 256));
    EXPECT_FALSE(Ethernetcontains(-3));
    EXPECT_FALSE(Ethernetcontains(int_min));
}

TEST_F(HostSetup, EthernetcontainsAddsNothingToTheSet) {
    EXPECT_FALSE(Ethernetcontains(9));
    EXPECT_TRUE(PLC_driver.disabled_stations.isEmpty());
}

// The cycle calls it with `list_mutex` held.
TEST_F(HostSetup, EthernetcontainsTakesStationMutexAndNoOther) {
    EXPECT_TRUE(support::takes_only({&PLC_driver.station_mutex}, [] { Ethernetcontains(3); }));
}

TEST_F(HostSetup, StationsMayBeSwitchedFromSeveralThreadsAtOnce) {
    const auto worker = [](int first) {
        for (int round = 0; round < 2000; ++round)
            for (int station = first; station < first + 5; ++station) {
                EnableEthernet(station, round % 2);
                Ethernetcontains(station);
            }
        for (int station = first; station < first + 5; ++station)
            EnCommStation(station, 0);
    };
    std::thread one(worker, 0);
    std::thread two(worker, 5);
    worker(10);
    one.join();
    two.join();
    EXPECT_EQ(PLC_driver.disabled_stations.size(), 15);
}

}  // namespace
