#include "host/engine/link_gauge.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kelpo {
namespace {

using namespace std::chrono_literals;
using Kind = LinkEvent::Kind;

// Read one register of station 1, 2 and 3 from address 16; a good reply; a refusal (exception 2).
const std::string ask_1("\x01\x03\x00\x10\x00\x01\x85\xCF", 8);
const std::string ask_2("\x02\x03\x00\x10\x00\x01\x85\xFC", 8);
const std::string good_1("\x01\x03\x02\x00\x2A\x38\x5B", 7);
const std::string refusal_1("\x01\x83\x02\xC0\xF1", 5);
constexpr int polled = -1;
constexpr int good_code = 1, again_code = 0, no_reply_code = 41, wrong_length_code = 71;

/// A link whose clock the test moves.
class LinkGaugeTest : public testing::Test {
protected:
    LinkReading::Time now{std::chrono::hours(1)};
    LinkGauge gauge{[this] {
        return now;
    }};

    // Takes `took`, and ends now.
    void exchange(int station, int address, const std::string &request, const std::string &reply, int code,
                  int id = polled, std::chrono::milliseconds took = 10ms) {
        now += took;
        Exchange seen{};
        seen.sent_at = Exchange::Time(std::chrono::hours(1));
        seen.ended_at = seen.sent_at + took;
        seen.request = request;
        seen.reply = reply;
        seen.expected_length = 7;
        seen.station = station;
        seen.type = 7;
        seen.address = address;
        seen.count = 1;
        seen.name = {0, id};
        seen.code = code;
        seen.outcome = outcome_of(code);
        gauge.exchanged(seen);
    }
    void answer(int station, int address = 16) {
        exchange(station, address, station == 1 ? ask_1 : ask_2, good_1, good_code);
    }
    void give_up(int station) {
        exchange(station, 16, station == 1 ? ask_1 : ask_2, "", no_reply_code);
    }

    std::vector<Kind> reported_kinds() {
        std::vector<Kind> kinds;
        for (const LinkEvent &event : gauge.take_events())
            kinds.push_back(event.kind);
        return kinds;
    }
};

TEST_F(LinkGaugeTest, ReportsTheRateOfTheLastTwoSeconds) {
    now += 10s;
    for (int i = 0; i < 100; ++i)
        answer(1);  // 10 ms each
    EXPECT_DOUBLE_EQ(gauge.reading().exchanges_per_second, 50);
    now += 1s;
    EXPECT_DOUBLE_EQ(gauge.reading().exchanges_per_second, 50);
    now += 500ms;
    EXPECT_NEAR(gauge.reading().exchanges_per_second, 24.5, 0.6);
    now += 500ms;
    EXPECT_DOUBLE_EQ(gauge.reading().exchanges_per_second, 0);
}

TEST_F(LinkGaugeTest, TimesACycleFromABlockToTheSameBlock) {
    answer(1);
    answer(2);
    EXPECT_EQ(gauge.reading().cycles.count, 0U);
    EXPECT_EQ(gauge.reading().cycles.so_far, 20ms);
    answer(1);
    EXPECT_EQ(gauge.reading().cycles.count, 1U);
    EXPECT_EQ(gauge.reading().cycles.last, 20ms);
    exchange(2, 16, ask_2, good_1, good_code, polled, 30ms);
    answer(1);
    const LinkReading::Cycles cycles = gauge.reading().cycles;
    EXPECT_EQ(cycles.count, 2U);
    EXPECT_EQ(cycles.last, 40ms);
    EXPECT_EQ(cycles.mean, 30ms);
    EXPECT_EQ(cycles.worst, 40ms);
}

TEST_F(LinkGaugeTest, TakesNeitherRetriesNorSecondFramesNorWritesForTheNextCycle) {
    exchange(1, 16, ask_1, "", again_code);
    exchange(1, 16, ask_1, good_1, good_code);     // the same frame again
    exchange(1, 16, ask_2, good_1, good_code);     // the block's second frame
    exchange(1, 16, ask_1, good_1, good_code, 5);  // a write to the same place
    EXPECT_EQ(gauge.reading().cycles.count, 0U);
    exchange(1, 16, ask_1, good_1, good_code);
    EXPECT_EQ(gauge.reading().cycles.count, 1U);
    EXPECT_EQ(gauge.reading().cycles.last, 40ms);
}

TEST_F(LinkGaugeTest, TimesCyclesAlsoWhileAStationIsDown) {
    for (int i = 0; i < 3; ++i) {
        answer(1);
        give_up(2);
    }
    EXPECT_EQ(gauge.reading().cycles.count, 2U);
}

TEST_F(LinkGaugeTest, DoesNotTakeTimeWithoutALineForACycle) {
    gauge.line_opened();
    answer(1);
    gauge.line_lost("unplugged", 250ms);
    now += 1min;
    gauge.line_opened();
    answer(1);
    EXPECT_EQ(gauge.reading().cycles.count, 0U);
    answer(1);
    EXPECT_EQ(gauge.reading().cycles.last, 10ms);
}

TEST_F(LinkGaugeTest, KnowsSinceWhenAStationIsDownAndReportsItOnce) {
    answer(1);
    exchange(2, 16, ask_2, "", again_code);
    EXPECT_FALSE(gauge.reading().stations.at(2).down_since);
    give_up(2);
    const LinkReading::Time went_down = now;
    give_up(2);
    answer(1);
    const LinkReading down = gauge.reading();
    EXPECT_EQ(down.stations.at(2).down_since, went_down);
    EXPECT_EQ(down.stations.at(2).failed, 3U);
    EXPECT_EQ(down.stations.at(2).failure->text, "no reply");
    EXPECT_FALSE(down.stations.at(1).down_since);
    answer(2);
    EXPECT_FALSE(gauge.reading().stations.at(2).down_since);
    EXPECT_THAT(reported_kinds(),
                testing::ElementsAre(Kind::station_down, Kind::given_up, Kind::given_up, Kind::station_back));
}

TEST_F(LinkGaugeTest, TakesAStationThatLeavesOneBlockWithoutReplyForOneThatAnswers) {
    for (int i = 0; i < 3; ++i) {
        answer(1, 17);
        give_up(1);
    }
    EXPECT_FALSE(gauge.reading().stations.at(1).down_since);
    EXPECT_TRUE(gauge.reading().blocks.at({1, 7, 16}).failure);
    give_up(1);
    EXPECT_EQ(gauge.reading().stations.at(1).down_since, now);
    answer(1, 17);
    EXPECT_FALSE(gauge.reading().stations.at(1).down_since);
    give_up(1);
    EXPECT_FALSE(gauge.reading().stations.at(1).down_since);
    gauge.station_rests(1, 1s);
    EXPECT_EQ(gauge.reading().stations.at(1).down_since, now);
}

TEST_F(LinkGaugeTest, KnowsWhenAStationThatRestsIsTriedAndReportsTheBeginning) {
    give_up(2);
    gauge.station_rests(2, 1s);
    EXPECT_EQ(gauge.reading().stations.at(2).next_try, now + 1s);
    now += 1s;
    gauge.station_rests(2, 2s);
    EXPECT_EQ(gauge.reading().stations.at(2).next_try, now + 2s);
    EXPECT_TRUE(gauge.reading().stations.at(2).down_since);
    gauge.rest_ended(2, true);
    EXPECT_FALSE(gauge.reading().stations.at(2).next_try);
    EXPECT_FALSE(gauge.reading().stations.at(2).down_since);
    EXPECT_THAT(reported_kinds(),
                testing::ElementsAre(Kind::station_down, Kind::given_up, Kind::station_rests, Kind::station_back));
}

TEST_F(LinkGaugeTest, TakesAStationThatWasSwitchedForNoneThatAnswers) {
    give_up(2);
    gauge.station_rests(2, 1s);
    gauge.forget_station(2);
    EXPECT_FALSE(gauge.reading().stations.at(2).next_try);
    gauge.rest_ended(2, false);
    EXPECT_THAT(reported_kinds(), testing::ElementsAre(Kind::station_down, Kind::given_up, Kind::station_rests));
}

TEST_F(LinkGaugeTest, CountsARefusalAsAnAnswerOfTheStationButNotOfTheBlock) {
    exchange(1, 16, ask_1, refusal_1, wrong_length_code);
    const LinkReading reading = gauge.reading();
    EXPECT_FALSE(reading.stations.at(1).down_since);
    const LinkReading::Block &block = reading.blocks.at({1, 7, 16});
    ASSERT_TRUE(block.failure);
    EXPECT_EQ(block.failure->kind, Failure::Kind::refused);
    EXPECT_THAT(reported_kinds(), testing::ElementsAre(Kind::given_up));
}

TEST_F(LinkGaugeTest, KnowsOfEachBlockWhetherItWasRead) {
    answer(1, 16);
    answer(1, 80);
    give_up(1);
    const LinkReading reading = gauge.reading();
    EXPECT_TRUE(reading.blocks.at({1, 7, 16}).failure);
    EXPECT_FALSE(reading.blocks.at({1, 7, 80}).failure);
}

TEST_F(LinkGaugeTest, ForgetsTheStateOfBlocksThatAreNotPolledAnyMore) {
    gauge.blocks_replaced({}, {{1, 7, 10, 20}, {1, 7, 40, 1}, {2, 7, 16, 1}});
    EXPECT_EQ(gauge.reading().polled, (std::map<int, int>{{1, 2}, {2, 1}}));
    give_up(1);
    give_up(2);
    exchange(1, 40, ask_1, "", no_reply_code);
    EXPECT_EQ(gauge.reading().blocks.size(), 3U);
    gauge.blocks_replaced({{1, 7, 10, 20}}, {{1, 7, 10, 3}, {1, 7, 20, 10}});
    EXPECT_EQ(gauge.reading().polled.at(1), 3);
    EXPECT_EQ(gauge.reading().blocks.size(), 2U);
    EXPECT_EQ(gauge.reading().blocks.count({1, 7, 16}), 0U);
}

TEST_F(LinkGaugeTest, ForgetsTheStateOfAStationThatIsSwitchedOff) {
    give_up(1);
    gauge.forget_station(1);
    EXPECT_FALSE(gauge.reading().stations.at(1).down_since);
    EXPECT_FALSE(gauge.reading().blocks.at({1, 7, 16}).failure);
}

TEST_F(LinkGaugeTest, KnowsWhyTheLineIsLostAndWhenItIsTriedAgain) {
    gauge.line_opened();
    EXPECT_TRUE(gauge.reading().line_open);
    gauge.line_lost("/dev/ttyUSB0: hung up", 500ms);
    const LinkReading lost = gauge.reading();
    EXPECT_FALSE(lost.line_open);
    EXPECT_EQ(lost.line_error, "/dev/ttyUSB0: hung up");
    EXPECT_EQ(lost.next_try, now + 500ms);
    gauge.line_opened();
    EXPECT_TRUE(gauge.reading().line_open);
    EXPECT_EQ(gauge.reading().line_error, "");
    EXPECT_THAT(reported_kinds(), testing::ElementsAre(Kind::line_lost, Kind::line_back));
}

}  // namespace
}  // namespace kelpo
