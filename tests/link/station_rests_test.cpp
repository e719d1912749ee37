#include "polled_stations.h"

#include <algorithm>
#include <random>
#include <set>

namespace polled {
namespace {

using StationRests = PolledStations;

TEST_F(StationRests, OfADeadOneLeaveItsTimeToTheOthers) {
    const Time began = line.now();
    die();
    run(minutes(10));
    const std::vector<Asked> dead = asked_of(dying);
    // Two requests, each three times, and then short ones.
    ASSERT_GT(dead.size(), 6U + 20);
    for (std::size_t i = 0; i < dead.size(); ++i)
        EXPECT_EQ(dead[i].is_short(), i >= 6) << i;
    EXPECT_EQ(waits.size(), dead.size() - 6);
    expect_growing_pauses(dead, 6, milliseconds(2000), seconds(30));
    // 15 ms each, and the others had nearly all the time.
    EXPECT_GT(asked.size() - dead.size(), (line.now() - began) / milliseconds(15) * 95 / 100);
    EXPECT_TRUE(ends.empty());
}

TEST_F(StationRests, AtNoTwoTimesHaveThePausesTheSameLength) {
    die();
    run(minutes(10));
    const std::vector<Asked> dead = asked_of(dying);
    std::set<nanoseconds> pauses;
    for (std::size_t i = dead.size() - 10; i < dead.size(); ++i)
        pauses.insert((dead[i].time - dead[i - 1].time) / 10);
    EXPECT_GT(pauses.size(), 5U);
}

TEST_F(StationRests, EndWithTwoGoodRepliesInARow) {
    die();
    after(seconds(100), [this] { live(); });
    run(minutes(5));
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_EQ(ends[0].station, dying);
    EXPECT_TRUE(ends[0].has_answered);
    const std::vector<Asked> all = asked_of(dying);
    const auto back = std::find_if(all.begin(), all.end(), [&](const Asked &one) { return one.time >= ends[0].time; });
    ASSERT_GT(all.end() - back, 100);
    EXPECT_FALSE(back->is_short());
    EXPECT_LT(back->time - ends[0].time, milliseconds(150));  // with its turn in the cycle
    EXPECT_LT((back - 1)->time - (back - 2)->time, milliseconds(150));
    EXPECT_EQ(resting.back(), dying);
    EXPECT_EQ(discarded, 0U);
}

TEST_F(StationRests, DoNotEndWithOneReplyAmongMany) {
    int tries = 0;
    answer = [&](int station, const std::string &request) {
        const bool is_short = request.substr(4, 2) == std::string("\0\1", 2);
        return station != dying || (is_short && tries++ % 2 == 0) ? reply_to(request) : std::string();
    };
    run(minutes(10));
    EXPECT_GT(tries, 20);
    EXPECT_TRUE(ends.empty());
}

// Half of what it is asked, or of what it answers, is lost.
TEST_F(StationRests, DoNotComeAndGoWithNoise) {
    std::mt19937 random(7);
    answer = [&](int station, const std::string &request) {
        return station == dying && random() % 2 == 0 ? std::string() : reply_to(request);
    };
    run(minutes(60));
    EXPECT_GT(asked_of(dying).size(), 3000U);
    EXPECT_LE(resting.size(), 2U);
}

TEST_F(StationRests, BeginLaterForOneThatLosesReplies) {
    int tries = 0;
    answer = [&](int station, const std::string &request) {
        return station == dying && ++tries % 2 == 0 ? std::string() : reply_to(request);
    };
    after(seconds(60), [this] { die(); });
    std::size_t before = 0;
    after(seconds(60), [&] { before = asked_of(dying).size(); });
    run(seconds(120));
    const std::vector<Asked> all = asked_of(dying);
    const auto first = std::find_if(all.begin(), all.end(), [](const Asked &one) { return one.is_short(); });
    // Two reads and four more, each three times.
    EXPECT_GE(first - all.begin(), static_cast<std::ptrdiff_t>(before) + 16);
    EXPECT_LE(first - all.begin(), static_cast<std::ptrdiff_t>(before) + 20);
}

TEST_F(StationRests, BeginSoonAgainForOneThatLosesNothingAnyMore) {
    int tries = 0;
    answer = [&](int station, const std::string &request) {
        return station == dying && ++tries % 2 == 0 ? std::string() : reply_to(request);
    };
    after(seconds(60), [this] { live(); });
    std::size_t before = 0;
    after(seconds(120), [&] {
        before = asked_of(dying).size();
        die();
    });
    run(seconds(150));
    const std::vector<Asked> all = asked_of(dying);
    const auto first = std::find_if(all.begin(), all.end(), [](const Asked &one) { return one.is_short(); });
    EXPECT_LE(first - all.begin(), static_cast<std::ptrdiff_t>(before) + 6);
}

TEST_F(StationRests, EndWithARefusalToo) {
    die();
    after(seconds(10), [this] {
        answer = [](int station, const std::string &request) {
            return station == dying ? with_crc(request.substr(0, 1) + "\x83\x02") : reply_to(request);
        };
    });
    run(seconds(60));
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_TRUE(ends[0].has_answered);
}

TEST_F(StationRests, EndWithAReplyThatIsTooLateForItsProbe) {
    die();
    after(seconds(100), [this] {
        live();
        delay = [] {
            return milliseconds(400);
        };
    });
    run(minutes(5));
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_TRUE(ends[0].has_answered);
    EXPECT_EQ(wrong, 0);
}

TEST_F(StationRests, DoNotBeginForOneThatIsOnlyLate) {
    delay = [] {
        return milliseconds(550);
    };
    run(minutes(5));
    EXPECT_TRUE(resting.empty());
}

// One of three tries is answered.
TEST_F(StationRests, DoNotBeginForAStationThatSendsAnything) {
    settings.after = 1;
    int tries = 0;
    answer = [&](int station, const std::string &request) {
        if (station != dying)
            return reply_to(request);
        return tries++ % 3 == 0 ? std::string("\x03\x03\x14") : std::string();
    };
    run(minutes(1));
    EXPECT_GT(tries, 9);
    EXPECT_TRUE(resting.empty());
}

TEST_F(StationRests, BeginWithAShortPauseAgainForOneThatWasWell) {
    die();
    after(seconds(100), [this] { live(); });
    after(seconds(200), [this] { die(); });
    run(seconds(205));
    ASSERT_EQ(ends.size(), 1U);
    const std::vector<Asked> dead = asked_of(dying);
    ASSERT_TRUE(dead.back().is_short());
    EXPECT_FALSE((dead.end() - 2)->is_short());
    EXPECT_LT(dead.back().time - (dead.end() - 2)->time, milliseconds(1900));
}

TEST_F(StationRests, GrowForAStationThatAnswersOnlyShortRequests) {
    answer = [](int station, const std::string &request) {
        const bool is_short = request.substr(4, 2) == std::string("\0\1", 2);
        return station == dying && !is_short ? std::string() : reply_to(request);
    };
    run(minutes(10));
    EXPECT_GT(ends.size(), 10U);
    EXPECT_LT(ends.size(), 30U);
}

// It still owes replies to what it was asked before.
TEST_F(StationRests, EndWhenTheOthersAreNotHeldUp) {
    timeouts.patience = seconds(20);
    die();
    after(seconds(10), [this] { live(); });
    run(minutes(1));
    ASSERT_EQ(ends.size(), 1U);
    for (std::size_t i = 1; i < asked.size(); ++i)
        if (asked[i].time > line.now() - seconds(50)) {
            EXPECT_LT(asked[i].time - asked[i - 1].time, milliseconds(300)) << i;
        }
    EXPECT_FALSE(asked_of(dying).back().is_short());
}

TEST_F(StationRests, DoNotBeginForOneThatPassesOverWrites) {
    answer = [](int, const std::string &request) {
        return byte_at(request, 1) == read_registers ? reply_to(request) : std::string();
    };
    for (int i = 0; i < 5; ++i)
        driver.queue_write({dying, 7, std::to_string(i), 1, std::string("\7\0", 2)});
    run(minutes(1));
    EXPECT_TRUE(resting.empty());
}

TEST_F(StationRests, BeginAfterAsManyRequestsAsTheUserSays) {
    settings.after = 4;
    die();
    run(minutes(1));
    const std::vector<Asked> dead = asked_of(dying);
    ASSERT_GT(dead.size(), 12U);
    for (std::size_t i = 0; i < dead.size(); ++i)
        EXPECT_EQ(dead[i].is_short(), i >= 12) << i;
}

TEST_F(StationRests, LeaveOffWhatTheUserHasSwitchedOff) {
    die();
    std::size_t before = 0;
    after(seconds(100), [&] {
        driver.switch_station(dying, false);
        live();
        before = asked_of(dying).size();
    });
    run(minutes(10));
    EXPECT_EQ(asked_of(dying).size(), before);
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_FALSE(ends[0].has_answered);
}

TEST_F(StationRests, DoNotBeginForWhatIsSwitchedOffMeanwhile) {
    driver.switch_station(dying, false);
    EXPECT_FALSE(driver.rest_station(dying));
    driver.wake_station(dying);
    run(minutes(1));
    EXPECT_TRUE(asked_of(dying).empty());
}

TEST_F(StationRests, EndAtOnceWhenTheUserSwitchesTheStationOn) {
    die();
    std::size_t before = 0;
    Time switched;
    after(seconds(100), [&] {
        driver.switch_station(dying, true);
        switched = line.now();
        before = asked_of(dying).size();
    });
    run(seconds(101));
    const std::vector<Asked> all = asked_of(dying);
    ASSERT_GT(all.size(), before);
    EXPECT_FALSE(all[before].is_short());
    EXPECT_LT(all[before].time - switched, milliseconds(150));
}

TEST_F(StationRests, DoNotGrowWhenNoOtherStationCanUseTheTime) {
    answer = [](int, const std::string &) {
        return std::string();
    };
    run(minutes(2), 10, {dying});
    const std::vector<Asked> dead = asked_of(dying);
    ASSERT_GT(dead.size(), 80U);
    for (std::size_t i = 7; i < dead.size(); ++i)
        EXPECT_LT(dead[i].time - dead[i - 1].time, milliseconds(1400)) << i;
}

TEST_F(StationRests, OfManyTakeAQuarterOfTheTimeAtMost) {
    const Time began = line.now();
    answer = [](int station, const std::string &request) {
        return station == 1 ? reply_to(request) : std::string();
    };
    std::vector<int> stations{1};
    for (int station = 10; station < 60; ++station)
        stations.push_back(station);
    Time all_rest;
    after(seconds(300), [&] {
        all_rest = line.now();
        asked.clear();
    });
    run(minutes(20), 10, stations);
    EXPECT_GT(all_rest, began);
    const auto probes_took = milliseconds(255) * static_cast<int>(asked.size() - asked_of(1).size());
    EXPECT_LT(probes_took, (line.now() - all_rest) * 26 / 100);
}

TEST_F(StationRests, AreInterruptedWhenTheLineIsBack) {
    die();
    run(seconds(100));
    loop->line_was_lost();
    asked.clear();
    SimulatedLine other;
    other.settle(line.now() - other.now() + seconds(1), nullptr);
    other.on_request = [&](const std::string &request) {
        const int station = static_cast<int>(byte_at(request, 0));
        asked.push_back({other.now(), station, request});
        other.comes(milliseconds(10), reply_to(request));
        if (station == dying || asked.size() > 10)
            other.stop();
    };
    loop->run(other);
    // The request that was on its way comes first.
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[1].station, dying);
    EXPECT_TRUE(asked[1].is_short());
}

// From the end of the request on.
TEST_F(StationRests, WaitForHalfTheTimeOut) {
    die();
    run(minutes(1));
    ASSERT_FALSE(waits.empty());
    for (const nanoseconds wait : waits)
        EXPECT_EQ(wait, milliseconds(250) + line.time_of_a_request);
}

TEST_F(StationRests, WaitForTheWholeTimeOutWhereAStationWasSlow) {
    delay = [this] {
        return milliseconds(asked.back().station == dying ? 150 : 10);
    };
    after(seconds(10), [this] { die(); });
    run(minutes(1));
    ASSERT_FALSE(waits.empty());
    for (const nanoseconds wait : waits)
        EXPECT_EQ(wait, milliseconds(500) + line.time_of_a_request);
}

// A slow station's reply meets the one of another station on the wire.
TEST_F(StationRests, WaitForTheWholeTimeOutAfterAReplyThatWasDamaged) {
    answer = [this](int station, const std::string &request) {
        if (station == dying)
            return std::string();
        const bool follows_a_probe = asked.size() > 1 && asked[asked.size() - 2].station == dying;
        return follows_a_probe && waits.size() == 2 ? std::string("\x01\x03\x14") : reply_to(request);
    };
    run(minutes(2));
    ASSERT_GT(waits.size(), 5U);
    for (std::size_t i = 0; i < waits.size(); ++i)
        EXPECT_EQ(waits[i], milliseconds(i < 2 ? 250 : 500) + line.time_of_a_request) << i;
}

// The probe asks for as many registers as each block: its reply, when it comes late, fits any of them.
TEST_F(StationRests, NeverGiveAValueToAnotherRegister) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> late(1, 2000);
    for (int i = 0; i < 400; ++i)
        after(seconds(10 * i), [this, i] {
            if (i % 2 == 0)
                die();
            else
                live();
        });
    delay = [&] {
        return random() % 3 == 0 ? milliseconds(late(random)) : milliseconds(10);
    };
    settings.longest = seconds(4);
    run(seconds(4000), 1);
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(ends.size(), 4U);
    EXPECT_GT(good, 1000);
}

}  // namespace
}  // namespace polled
