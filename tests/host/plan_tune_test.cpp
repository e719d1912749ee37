#include "host/plan/plan_tune.h"

#include "host/driver/driver.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace kelpo;
using std::chrono::microseconds;
using testing::IsEmpty;

Variable words(int station, int first, int count = 1) {
    const std::string address = std::to_string(first);
    return {std::to_string(station) + ":" + address, station, 7, address, count, View::unsigned_words};
}

// A character takes 1 ms: 21.5 ms for a request and its reply, and 2 more for each register.
class PlanTune : public testing::Test {
protected:
    explicit PlanTune() {
        list.link.line.speed = 10000;
        list.turnaround = microseconds(5000);
        list.stations = {{1, "", true}, {2, "", true}};
    }

    std::vector<TunedStation> tuned_stations() {
        list.files = {"list.toml"};
        list.defined.assign(list.variables.size(), {0, 1});
        const Driver library(DRIVER_FILE);
        DryRun driver(library);
        return tuned(list, driver);
    }
    std::string printed() {
        std::ostringstream out;
        print_tuned(tuned_stations(), "list.toml", out);
        return out.str();
    }

    PollList list;
};

TEST_F(PlanTune, FindsTheLargestMaxCountThatTakesTheLeastTime) {
    list.variables = {words(1, 0), words(1, 30), words(1, 60), words(1, 90)};
    const auto stations = tuned_stations();
    ASSERT_EQ(stations.size(), 1U);
    EXPECT_EQ(stations[0].limits.max_count, 30);
    EXPECT_EQ(stations[0].limits.max_gap, std::nullopt);
    EXPECT_EQ(stations[0].before.time, microseconds(21500 + 91 * 2000));
    EXPECT_EQ(stations[0].after.time, microseconds(4 * 23500));
    EXPECT_EQ(stations[0].after.requests, 4);
}

// 10 registers take 20 ms, 11 as long as a request of their own.
TEST_F(PlanTune, FindsAMaxGapWhereLongAndFarBlocksMeet) {
    list.variables = {words(1, 0), words(1, 30), words(1, 200, 100)};
    const auto stations = tuned_stations();
    ASSERT_EQ(stations.size(), 1U);
    EXPECT_EQ(stations[0].limits.max_count, 100);
    EXPECT_EQ(stations[0].limits.max_gap, 10);
    EXPECT_EQ(stations[0].after.time, microseconds(2 * 23500 + 21500 + 100 * 2000));
}

TEST_F(PlanTune, KeepsTheMaxGapOfTheList) {
    list.variables = {words(1, 0), words(1, 30), words(1, 200, 100)};
    list.link.stations[1].max_gap = 40;
    EXPECT_EQ(tuned_stations()[0].limits.max_gap, 40);
}

TEST_F(PlanTune, KnowsEachStationAndLeavesOutThoseThatAreOff) {
    list.variables = {words(1, 0), words(2, 0), words(2, 99)};
    auto stations = tuned_stations();
    ASSERT_EQ(stations.size(), 2U);
    EXPECT_EQ(stations[0].limits.max_count, 100);
    EXPECT_EQ(stations[1].limits.max_count, 99);
    list.stations[1].enabled = false;
    EXPECT_EQ(tuned_stations().size(), 1U);
}

TEST_F(PlanTune, PrintsLinesForTheList) {
    list.variables = {words(1, 0), words(2, 0), words(2, 30), words(2, 200, 100)};
    EXPECT_EQ(printed(),
              R"(list.toml: a cycle takes 328.5 ms in 3 requests, and 292.0 ms in 4 requests with these lines in it:

[[station]]    # 305.0 ms before, 268.5 ms with this
number = 2
max-count = 100
max-gap = 10
)");
}

TEST_F(PlanTune, SaysWhenThereIsNothingToGain) {
    list.variables = {words(1, 0, 10)};
    EXPECT_EQ(printed(), "list.toml: a cycle takes 41.5 ms in 1 request; no other max-count takes less\n");
}

}  // namespace
