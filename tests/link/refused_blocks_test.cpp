#include "polled_stations.h"

#include <algorithm>

namespace polled {
namespace {

class RefusedBlocks : public PolledStations {
protected:
    /// True for one block of the station that refuses.
    static bool is_refused(int station, const std::string &request) {
        return station == dying && request.substr(2, 2) == std::string("\0\xC8", 2);
    }
    void refuse(unsigned code) {
        answer = [code](int station, const std::string &request) {
            return is_refused(station, request) ? refusal(request, code) : reply_to(request);
        };
    }
    static std::string refusal(const std::string &request, unsigned code) {
        return with_crc(request.substr(0, 1) + static_cast<char>(byte_at(request, 1) | 0x80U) +
                        static_cast<char>(code));
    }
    std::vector<Asked> asked_of_refused() const {
        std::vector<Asked> found;
        for (const Asked &one : asked)
            if (is_refused(one.station, one.bytes))
                found.push_back(one);
        return found;
    }
    /// How the requests of the block that is refused were reported.
    std::vector<Outcome> outcomes() const {
        std::vector<Outcome> found;
        for (const Reported &one : reported)
            if (one.reply.size() == 5)
                found.push_back(one.outcome);
        return found;
    }
};

class LastingRefusals : public RefusedBlocks, public testing::WithParamInterface<unsigned> {};

INSTANTIATE_TEST_SUITE_P(OfFunctionAddressAndValue, LastingRefusals, testing::Values(1, 2, 3));

TEST_P(LastingRefusals, CostOneExchangeNowAndThen) {
    refuse(GetParam());
    run(minutes(10));
    const std::vector<Asked> all = asked_of_refused();
    ASSERT_GT(all.size(), 20U);
    expect_growing_pauses(all, 0, milliseconds(1000), seconds(30));
    EXPECT_EQ(outcomes(), std::vector<Outcome>(all.size(), Outcome::given_up));
    EXPECT_EQ(reported.size(), asked.size());
    // Each exchange takes 15 ms, and nothing else takes any time.
    EXPECT_GT(asked.size(), static_cast<std::size_t>(minutes(10) / milliseconds(15)) - 10);
    EXPECT_TRUE(resting.empty());
}

// Another reason may be over soon: tried as often as the driver wants, each right after the other.
TEST_F(RefusedBlocks, ForAnyOtherReasonAreTriedAsOftenAsTheDriverDecides) {
    refuse(4);
    run(seconds(10));
    const std::vector<Asked> all = asked_of_refused();
    ASSERT_GT(all.size(), 100U);
    for (std::size_t i = 2; i < all.size(); i += 3) {
        EXPECT_EQ(all[i].time - all[i - 1].time, milliseconds(15)) << i;
        EXPECT_EQ(all[i - 1].time - all[i - 2].time, milliseconds(15)) << i;
    }
    using Again = std::vector<Outcome>;
    const Again each{Outcome::sent_again, Outcome::sent_again, Outcome::given_up};
    const Again reports = outcomes();
    EXPECT_EQ(Again(reports.begin(), reports.begin() + 3), each);
}

class RefusalsForATime : public RefusedBlocks, public testing::WithParamInterface<unsigned> {};

// 5: it works on the request, 6: it is busy.
INSTANTIATE_TEST_SUITE_P(OfAStationThatNeedsTime, RefusalsForATime, testing::Values(5, 6));

TEST_P(RefusalsForATime, CostOneExchangeASecond) {
    refuse(GetParam());
    run(minutes(2));
    const std::vector<Asked> all = asked_of_refused();
    ASSERT_GT(all.size(), 100U);
    expect_growing_pauses(all, 0, milliseconds(100), seconds(1));
    EXPECT_EQ(outcomes(), std::vector<Outcome>(all.size(), Outcome::given_up));
    // Each exchange takes 15 ms, and nothing else takes any time.
    EXPECT_GT(asked.size(), static_cast<std::size_t>(minutes(2) / milliseconds(15)) - 10);
    EXPECT_TRUE(resting.empty());
}

TEST_P(RefusalsForATime, OfWhatTheUserReadsAreAskedForAgainAfterTheSettleTime) {
    answer = [](int, const std::string &request) {
        return refusal(request, GetParam());
    };
    std::size_t before = 0;
    after(seconds(10), [&] {
        before = asked.size();
        driver.queue_read({"", dying, 7, "200", 5, View::unsigned_words});
    });
    run(seconds(11));
    std::vector<Time> tries;
    for (std::size_t i = before; i < asked.size(); ++i)
        if (byte_at(asked[i].bytes, 5) == 5)
            tries.push_back(asked[i].time);
    ASSERT_EQ(tries.size(), 3U);
    EXPECT_EQ(tries[1] - tries[0], milliseconds(115));
    EXPECT_EQ(tries[2] - tries[1], milliseconds(115));
}

TEST_F(RefusedBlocks, BeginWithTheOtherPauseWhenTheReasonChanges) {
    refuse(6);
    after(seconds(20), [this] { refuse(2); });
    after(seconds(60), [this] { refuse(6); });
    run(seconds(110));
    const std::vector<Asked> all = asked_of_refused();
    const auto pauses_from = [&](seconds time) {
        std::vector<nanoseconds> pauses;
        for (std::size_t i = 1; i < all.size(); ++i)
            if (all[i - 1].time >= line.now() - seconds(110) + time && pauses.size() < 2)
                pauses.push_back(all[i].time - all[i - 1].time);
        return pauses;
    };
    const auto lasting = pauses_from(seconds(20)), busy = pauses_from(seconds(60));
    EXPECT_GT(lasting.at(0), milliseconds(900));
    EXPECT_GT(lasting.at(1), milliseconds(1800));
    EXPECT_LT(busy.at(0), milliseconds(400));
    EXPECT_LT(busy.at(1), milliseconds(500));
}

TEST_F(RefusedBlocks, AreAskedForAsBeforeOnceTheyAreAnswered) {
    refuse(2);
    after(seconds(10), [this] { live(); });
    run(seconds(60));
    const std::vector<Asked> all = asked_of_refused();
    EXPECT_GT(all.size(), 100U);
    EXPECT_LT(all[all.size() - 1].time - all[all.size() - 2].time, milliseconds(200));
    EXPECT_EQ(wrong, 0);
}

TEST_F(RefusedBlocks, BeginWithAShortPauseAgainOnceTheyWereAnswered) {
    refuse(2);
    after(seconds(100), [this] { live(); });
    after(seconds(200), [this] { refuse(2); });
    run(seconds(205));
    const std::vector<Asked> all = asked_of_refused();
    std::vector<nanoseconds> pauses;
    for (std::size_t i = 1; i < all.size(); ++i)
        if (all[i].time > line.now() - seconds(5) && all[i].time - all[i - 1].time > milliseconds(500))
            pauses.push_back(all[i].time - all[i - 1].time);
    ASSERT_EQ(pauses.size(), 2U);
    EXPECT_LT(pauses[0], milliseconds(1300));
}

TEST_F(RefusedBlocks, LetTimePassWhenNothingElseCanBeAsked) {
    answer = [](int, const std::string &request) {
        return refusal(request, 2);
    };
    run(minutes(10));
    EXPECT_GT(asked.size(), 9U * 20);
    EXPECT_LT(asked.size(), 9U * 30);
}

TEST_F(RefusedBlocks, AreAskedForAtOnceWhenTheUserSwitchesAStation) {
    refuse(2);
    Time switched;
    std::size_t before = 0;
    after(seconds(300), [&] {
        driver.switch_station(dying, true);
        switched = line.now();
        before = asked_of_refused().size();
    });
    run(seconds(301));
    const std::vector<Asked> all = asked_of_refused();
    ASSERT_GT(all.size(), before);
    EXPECT_LT(all[before].time - switched, milliseconds(150));
}

TEST_F(RefusedBlocks, AreAskedForAtOnceWhenTheStationHasRested) {
    refuse(2);
    const auto is_remembered = [&] {
        return paused->reply_instead(asked_of_refused().back().bytes).has_value();
    };
    run(seconds(20));
    EXPECT_TRUE(is_remembered());
    paused->rest_ended(1, true);
    EXPECT_TRUE(is_remembered());
    paused->rest_ended(dying, true);
    EXPECT_FALSE(is_remembered());
}

TEST_F(RefusedBlocks, AreAskedForAtOnceWhenTheLineWasLost) {
    refuse(2);
    run(seconds(20));
    const std::string request = asked_of_refused().back().bytes;
    EXPECT_TRUE(paused->reply_instead(request));
    paused->line_lost("unplugged", milliseconds(250));
    EXPECT_FALSE(paused->reply_instead(request));
}

// The user asks for these, not the list.
TEST_F(RefusedBlocks, AreAskedForEachTimeThatTheUserReadsThem) {
    refuse(2);
    std::size_t before = 0;
    after(seconds(300), [&] {
        before = asked_of_refused().size();
        for (int i = 0; i < 3; ++i)
            driver.queue_read({"", dying, 7, "200", 10, View::unsigned_words});
    });
    run(seconds(301));
    // The poll may be due in that second, too.
    EXPECT_GE(asked_of_refused().size(), before + 3);
    EXPECT_LE(asked_of_refused().size(), before + 4);
}

TEST_F(RefusedBlocks, AWriteThatIsRefusedIsSentOnce) {
    answer = [](int, const std::string &request) {
        return byte_at(request, 1) == read_registers ? reply_to(request) : refusal(request, 3);
    };
    driver.queue_write({dying, 7, "7", 1, std::string("\7\0", 2)});
    run(seconds(1));
    EXPECT_EQ(std::count_if(asked.begin(), asked.end(),
                            [](const Asked &one) { return byte_at(one.bytes, 1) != read_registers; }),
              1);
}

// The rate is the most, not the least.
TEST_F(RefusedBlocks, OfARateOfTheirOwnAreAskedForAtGrowingIntervalsToo) {
    const auto poll = [this](int address, milliseconds every) {
        variables.push_back({"", dying, 7, std::to_string(address), 1, View::unsigned_words, every});
    };
    poll(100, milliseconds(100));
    poll(600, seconds(8));
    answer = [](int station, const std::string &request) {
        return station == dying && byte_at(request, 5) == 1 ? refusal(request, 2) : reply_to(request);
    };
    run(minutes(10));
    std::vector<Asked> fast, slow_ones;
    for (const Asked &one : asked_of(dying))
        if (byte_at(one.bytes, 5) == 1)
            (byte_at(one.bytes, 3) == 100 ? fast : slow_ones).push_back(one);
    ASSERT_GT(fast.size(), 20U);
    expect_growing_pauses(fast, 0, milliseconds(1000), seconds(30));
    ASSERT_GT(slow_ones.size(), 15U);
    for (std::size_t i = 1; i < slow_ones.size(); ++i)
        EXPECT_GT(slow_ones[i].time - slow_ones[i - 1].time, i < 6 ? seconds(8) - milliseconds(1) : seconds(27)) << i;
}

}  // namespace
}  // namespace polled
