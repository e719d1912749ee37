#include "polled_stations.h"

#include <algorithm>

namespace polled {
namespace {

class Rates : public PolledStations {
protected:
    static constexpr int station = 7;

    void poll(int first, milliseconds every, int count = 1) {
        variables.push_back({"", station, 7, std::to_string(first), count, View::unsigned_words, every});
    }
    // The times at which the station was asked for the register.
    std::vector<Time> times_of(int first) const {
        std::vector<Time> times;
        for (const Asked &one : asked_of(station))
            if (static_cast<int>(byte_at(one.bytes, 2) << 8U | byte_at(one.bytes, 3)) == first)
                times.push_back(one.time);
        return times;
    }
};

TEST_F(Rates, WhatIsSlowIsReadWhenItIsDueBesideTheCycle) {
    poll(100, seconds(10));
    run(minutes(5), 10, {1});
    const std::vector<Time> times = times_of(100);
    ASSERT_GE(times.size(), 30U);
    for (std::size_t i = 1; i < times.size(); ++i) {
        EXPECT_GE(times[i] - times[i - 1], seconds(10)) << i;
        EXPECT_LE(times[i] - times[i - 1], seconds(10) + milliseconds(60)) << i;
    }
    EXPECT_GT(asked_of(1).size(), 19000U);
    EXPECT_EQ(wrong, 0);
}

TEST_F(Rates, NeighboursOfOneRateAreReadTogether) {
    for (const int first : {100, 101, 105})
        poll(first, seconds(10));
    poll(300, seconds(60));
    run(minutes(5), 10, {1});
    EXPECT_GE(times_of(100).size(), 30U);
    EXPECT_TRUE(times_of(101).empty());
    EXPECT_TRUE(times_of(105).empty());
    EXPECT_EQ(byte_at(asked_of(station).front().bytes, 5), 6U);
    EXPECT_EQ(times_of(300).size(), 5U);
}

TEST_F(Rates, WhatTheCycleReadsAnywayIsNotReadAgain) {
    poll(100, milliseconds(0));
    poll(110, milliseconds(0));
    poll(105, seconds(1));
    run(seconds(30), 10, {1});
    EXPECT_TRUE(times_of(105).empty());
    EXPECT_GT(times_of(100).size(), 100U);
}

TEST_F(Rates, ManyThatAreDueTakeHalfOfTheLineAtMost) {
    for (int i = 0; i < 100; ++i)
        poll(1000 + 200 * i, milliseconds(10));
    run(seconds(60), 10, {1});
    const std::size_t of_cycle = asked_of(1).size();
    EXPECT_GE(of_cycle * 2 + 10, asked.size());
    EXPECT_GT(asked_of(station).size(), asked.size() / 3);
}

TEST_F(Rates, AStationThatIsSwitchedOffIsAskedAtOnceWhenItIsBack) {
    poll(100, seconds(60));
    Time back;
    after(seconds(10), [this] { driver.switch_station(station, false); });
    after(seconds(200), [&] {
        driver.switch_station(station, true);
        back = line.now();
    });
    run(seconds(230), 10, {1});
    const std::vector<Time> times = times_of(100);
    ASSERT_EQ(times.size(), 2U);
    EXPECT_LT(times[1] - back, milliseconds(60));
}

TEST_F(Rates, AHoleInWhatIsSlowIsFound) {
    for (const int first : {100, 105, 110})
        poll(first, seconds(5));
    answer = [](int, const std::string &request) {
        const unsigned first = byte_at(request, 2) << 8U | byte_at(request, 3);
        const bool has_hole = byte_at(request, 0) == station && first <= 105 && first + byte_at(request, 5) > 105;
        return has_hole ? with_crc(request.substr(0, 1) + "\x83\x02") : reply_to(request);
    };
    run(seconds(60), 10, {1});
    for (const int first : {100, 110})
        EXPECT_GE(times_of(first).size(), 10U) << first;
    EXPECT_LE(asked_of(station).size(), 45U);
    EXPECT_EQ(holes->open(), 0);
    EXPECT_EQ(wrong, 0);
}

TEST_F(Rates, ACycleBeginsNoSoonerThanTheListWants) {
    shortest_cycle = milliseconds(500);
    run(seconds(60), 10, {1, 2});
    const std::vector<Asked> first = asked_of(1);
    ASSERT_EQ(asked.size() / 6, 120U);
    for (std::size_t i = 3; i < first.size(); i += 3) {
        EXPECT_GE(first[i].time - first[i - 3].time, milliseconds(500)) << i;
        EXPECT_LE(first[i].time - first[i - 3].time, milliseconds(510)) << i;
    }
    // All of a cycle come right after each other: 15 ms for each.
    EXPECT_LT(first[2].time - first[0].time, milliseconds(40));
}

TEST_F(Rates, AWriteDoesNotWaitForTheNextCycle) {
    shortest_cycle = seconds(10);
    Time queued;
    after(seconds(15), [&] {
        driver.queue_write({1, 7, "7", 1, std::string("\7\0", 2)});
        queued = line.now();
    });
    run(seconds(30), 10, {1});
    const auto write = std::find_if(asked.begin(), asked.end(),
                                    [](const Asked &one) { return byte_at(one.bytes, 1) != read_registers; });
    ASSERT_NE(write, asked.end());
    EXPECT_LT(write->time - queued, milliseconds(20));
}

TEST_F(Rates, WhatIsSlowDoesNotWaitForTheNextCycle) {
    shortest_cycle = seconds(30);
    poll(100, seconds(5));
    run(seconds(60), 10, {1});
    EXPECT_EQ(times_of(100).size(), 12U);
}

TEST_F(Rates, AStationThatIsOffDoesNotLetCyclesBeginSooner) {
    shortest_cycle = milliseconds(500);
    after(seconds(1), [this] { driver.switch_station(2, false); });
    run(seconds(61), 10, {1, 2, 3});
    EXPECT_NEAR(static_cast<double>(asked_of(1).size()), 366, 6);
}

}  // namespace
}  // namespace polled
