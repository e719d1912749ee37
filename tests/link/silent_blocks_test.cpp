#include "polled_stations.h"

#include <algorithm>
#include <set>

namespace polled {
namespace {

class SilentBlocks : public PolledStations {
protected:
    /// Places of a station: the two bytes that a request has of them.
    using Places = std::set<std::string>;
    static std::string place_of(const std::string &request) {
        return request.substr(2, 2);
    }
    inline static const std::string place_200{"\0\xC8", 2}, place_400{"\1\x90", 2};

    void have_no_reply_to(const Places &places) {
        answer = [places](int station, const std::string &request) {
            return station == dying && places.count(place_of(request)) > 0 ? std::string() : reply_to(request);
        };
    }
    std::vector<Asked> asked_for(const std::string &place) const {
        std::vector<Asked> found;
        for (const Asked &one : asked)
            if (one.station == dying && place_of(one.bytes) == place)
                found.push_back(one);
        return found;
    }
    /// How many of the last requests within `time` were for the other stations.
    int asked_of_others_in_last(seconds time) const {
        return static_cast<int>(std::count_if(asked.begin(), asked.end(), [&](const Asked &one) {
            return one.station != dying && one.time > line.now() - time;
        }));
    }

    // Of two requests: then it is known. The driver adds up the failed tries of different requests, and one of the
    // block after it fails, whose reply could be that of this block.
    static constexpr std::size_t tries_before = 3 + 2;
};

TEST_F(SilentBlocks, AreAskedForAtGrowingIntervalsByOneTry) {
    have_no_reply_to({place_200});
    run(minutes(10));
    const std::vector<Asked> all = asked_for(place_200);
    ASSERT_GT(all.size(), tries_before + 15);
    milliseconds pause(1000);
    for (std::size_t i = tries_before; i < all.size(); ++i) {
        // Each ask takes three seconds at most, with the time in which its reply may still come.
        EXPECT_GT(all[i].time - all[i - 1].time, pause * 9 / 10) << i;
        EXPECT_LT(all[i].time - all[i - 1].time, pause * 11 / 10 + milliseconds(3200)) << i;
        pause = std::min(2 * pause, milliseconds(30000));
    }
    EXPECT_TRUE(resting.empty());
    EXPECT_EQ(wrong, 0);
    // In the end the others have nine tenths of a line that is full with requests of 15 ms each.
    EXPECT_GT(asked_of_others_in_last(minutes(5)), minutes(5) / milliseconds(15) * 6 / 8 * 9 / 10);
}

TEST_F(SilentBlocks, SayWhyTheyAreNotRead) {
    have_no_reply_to({place_200});
    run(minutes(1));
    std::vector<bool> known;
    for (const Reported &one : reported)
        if (one.station == dying && one.outcome == Outcome::given_up)
            known.push_back(one.is_silent_block);
    ASSERT_GT(known.size(), 5U);
    for (std::size_t i = 0; i < known.size(); ++i)
        EXPECT_EQ(known[i], i >= 2) << i;
}

TEST_F(SilentBlocks, AreBackWithTheFirstGoodReply) {
    have_no_reply_to({place_200});
    after(seconds(100), [this] { live(); });
    run(seconds(150));
    const std::vector<Asked> all = asked_for(place_200);
    EXPECT_GT(all.size(), 100U);
    EXPECT_LT(all[all.size() - 1].time - all[all.size() - 2].time, milliseconds(200));
    EXPECT_EQ(wrong, 0);
}

TEST_F(SilentBlocks, BeginAnewOnceTheyWereAnswered) {
    have_no_reply_to({place_200});
    after(seconds(100), [this] { live(); });
    std::size_t before = 0;
    after(seconds(200), [&] {
        before = asked_for(place_200).size();
        have_no_reply_to({place_200});
    });
    run(seconds(220));
    const std::vector<Asked> all = asked_for(place_200);
    ASSERT_GT(all.size(), before + tries_before + 1);
    EXPECT_LT(all[before + tries_before].time - all[before + tries_before - 1].time, milliseconds(3200));
}

// A reply that is lost now and then is no sign of anything.
TEST_F(SilentBlocks, AreNotThoseWithOneRequestWithoutReply) {
    std::ptrdiff_t answered = 0;
    answer = [&](int station, const std::string &request) {
        const auto given_up = std::count_if(reported.begin(), reported.end(), [](const Reported &one) {
            return one.station == dying && one.outcome == Outcome::given_up;
        });
        const bool is_lost = station == dying && place_of(request) == place_200 && given_up <= answered;
        answered += station == dying && place_of(request) == place_200 && !is_lost ? 1 : 0;
        return is_lost ? std::string() : reply_to(request);
    };
    run(minutes(5));
    for (const Reported &one : reported)
        EXPECT_FALSE(one.is_silent_block);
    EXPECT_GT(answered, 20);
}

// Replies that come too late are no silence: a longer time-out helps, and the remark says so.
TEST_F(SilentBlocks, AreNotThoseThatAnswerTooLate) {
    delay = [this] {
        return milliseconds(asked.back().station == dying && place_of(asked.back().bytes) == place_200 ? 550 : 10);
    };
    run(minutes(2));
    ASSERT_GT(asked_for(place_200).size(), 100U);
    for (const Reported &one : reported)
        EXPECT_FALSE(one.is_silent_block);
}

TEST_F(SilentBlocks, DoNotKeepTheirStationFromBeingRead) {
    have_no_reply_to({place_200, place_400});
    run(minutes(5));
    EXPECT_GT(asked_of_others_in_last(minutes(2)), minutes(2) / milliseconds(15) * 6 / 7 * 7 / 10);
    const std::vector<Asked> good_ones = asked_for(std::string("\0\0", 2));
    EXPECT_GT(good_ones.size(), 1000U);
    // Until it is known that both are silent.
    EXPECT_LE(resting.size(), 2U);
}

TEST_F(SilentBlocks, LetTheirStationRestWhenAllOfItIsSilent) {
    have_no_reply_to({place_200});
    Time died;
    after(seconds(300), [&] {
        die();
        died = line.now();
    });
    run(seconds(400));
    ASSERT_FALSE(resting.empty());
    const std::vector<Asked> all = asked_of(dying);
    const auto short_one = std::find_if(all.begin(), all.end(), [](const Asked &one) { return one.is_short(); });
    ASSERT_NE(short_one, all.end());
    EXPECT_LT(short_one->time - died, seconds(10));
    // Where it has answered before.
    EXPECT_NE(place_of(short_one->bytes), place_200);
}

TEST_F(SilentBlocks, AreAskedForAtOnceWhenTheirStationIsBack) {
    have_no_reply_to({place_200});
    after(seconds(300), [this] { die(); });
    after(seconds(400), [this] { live(); });
    run(seconds(500));
    ASSERT_EQ(ends.size(), 1U);
    const std::vector<Asked> all = asked_for(place_200);
    const auto first = std::find_if(all.begin(), all.end(), [&](const Asked &one) { return one.time >= ends[0].time; });
    ASSERT_NE(first, all.end());
    EXPECT_LT(first->time - ends[0].time, milliseconds(300));
}

TEST_F(SilentBlocks, AreAskedForAtOnceWhenTheUserSwitchesAStation) {
    have_no_reply_to({place_200});
    Time switched;
    std::size_t before = 0;
    after(seconds(300), [&] {
        driver.switch_station(dying, true);
        switched = line.now();
        before = asked_for(place_200).size();
    });
    run(seconds(304));
    const std::vector<Asked> all = asked_for(place_200);
    ASSERT_GT(all.size(), before);
    EXPECT_LT(all[before].time - switched, milliseconds(300));
}

TEST_F(SilentBlocks, AreAskedForAtOnceWhenTheLineWasLost) {
    have_no_reply_to({place_200});
    run(seconds(100));
    const std::string request = asked_for(place_200).back().bytes;
    EXPECT_TRUE(paused->is_silent(request));
    paused->line_lost("unplugged", milliseconds(250));
    EXPECT_FALSE(paused->is_silent(request));
    EXPECT_FALSE(paused->reply_instead(request));
}

// The user asks for these, not the list.
TEST_F(SilentBlocks, AreAskedForWithAllTriesWhenTheUserReadsThem) {
    have_no_reply_to({place_200});
    std::size_t before = 0;
    after(seconds(300), [&] {
        before = asked_for(place_200).size();
        driver.queue_read({"", dying, 7, "200", 5, View::unsigned_words});
    });
    run(seconds(304));
    const std::vector<Asked> all = asked_for(place_200);
    EXPECT_EQ(std::count_if(all.begin() + static_cast<std::ptrdiff_t>(before), all.end(),
                            [](const Asked &one) { return byte_at(one.bytes, 5) == 5; }),
              3);
}

TEST_F(SilentBlocks, OfARateOfTheirOwnComeNoMoreOftenThanThat) {
    const auto poll = [this](int address, milliseconds every) {
        variables.push_back({"", dying, 7, std::to_string(address), 1, View::unsigned_words, every});
    };
    poll(100, milliseconds(100));
    poll(600, seconds(8));
    answer = [](int station, const std::string &request) {
        return station == dying && byte_at(request, 5) == 1 ? std::string() : reply_to(request);
    };
    run(minutes(10));
    for (const auto &[place, shortest] :
         {std::make_pair(std::string("\0\x64", 2), seconds(0)), std::make_pair(std::string("\2\x58", 2), seconds(8))}) {
        const std::vector<Asked> all = asked_for(place);
        ASSERT_GT(all.size(), 20U);
        EXPECT_LT(all.size(), 40U);
        EXPECT_GT(all.back().time - all[all.size() - 2].time, seconds(27));
        std::vector<Time> begun;  // reads, each of one try or more
        for (std::size_t i = 0; i < all.size(); ++i)
            if (i == 0 || all[i].time - all[i - 1].time > seconds(1))
                begun.push_back(all[i].time);
        for (std::size_t i = 1; i < begun.size(); ++i)
            EXPECT_GE(begun[i] - begun[i - 1], shortest) << i;
    }
}

}  // namespace
}  // namespace polled
