#include "polled_stations.h"

#include <algorithm>
#include <set>
#include <utility>

namespace polled {
namespace {

using Stretch = std::pair<int, int>;  // first number and count

// One station, of which some registers do not exist.
class Holes : public PolledStations {
protected:
    static constexpr int station = 7;

    Holes() {
        answer = [this](int asked_one, const std::string &request) {
            const int first = static_cast<int>(byte_at(request, 2) << 8U | byte_at(request, 3));
            const int count = static_cast<int>(byte_at(request, 4) << 8U | byte_at(request, 5));
            const auto next = absent.lower_bound(first);
            const bool all_there = next == absent.end() || *next >= first + count;
            return asked_one != station || (all_there && count <= most) ? reply_to(request) : refusal(request, code);
        };
    }

    static std::string refusal(const std::string &request, unsigned code) {
        return with_crc(request.substr(0, 1) + static_cast<char>(byte_at(request, 1) | 0x80U) +
                        static_cast<char>(code));
    }

    void poll(int first, int count = 1) {
        variables.push_back({"", station, 7, std::to_string(first), count, View::unsigned_words});
    }
    void poll_each(int first, int past) {
        for (int number = first; number < past; ++number)
            poll(number);
    }
    void lack(int first, int past) {
        for (int number = first; number < past; ++number)
            absent.insert(number);
    }
    // Beside others, whose time it must not take.
    void run_for(seconds time) {
        run(time, 10, {1});
    }
    std::set<Stretch> blocks() const {
        std::set<Stretch> runs;
        for (const kelpo::PolledBlock &block : driver.blocks())
            if (block.station == station)
                runs.insert({block.first, block.count});
        return runs;
    }
    // The different requests to the station.
    std::set<std::string> different() const {
        std::set<std::string> requests;
        for (const Asked &one : asked_of(station))
            requests.insert(one.bytes);
        return requests;
    }
    bool is_read(int number) const {
        const auto value = value_of(station, static_cast<unsigned>(number));
        return driver.held_values({"", station, 7, std::to_string(number), 1, View::unsigned_words}).at(0) == value;
    }

    std::set<int> absent;
    int most = 125;
    unsigned code = 2;
};

TEST_F(Holes, AVariableThatDoesNotExistSparesTheOthers) {
    for (const int number : {5, 10, 20})
        poll(number);
    lack(10, 11);
    run_for(seconds(2));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{5, 1}, {10, 1}, {20, 1}}));
    EXPECT_TRUE(is_read(5));
    EXPECT_TRUE(is_read(20));
    EXPECT_FALSE(is_read(10));
    // 6 to 9 are not read, and may be what is missing: so 10 to 20 are asked for.
    EXPECT_EQ(different().size(), 5U);
    EXPECT_EQ(wrong, 0);
    const kelpo::Holes found = holes->holes();
    ASSERT_EQ(found.missing.size(), 1U);
    EXPECT_EQ(found.missing[0].first, 10);
    ASSERT_EQ(found.unread.size(), 1U);
    EXPECT_EQ(found.unread[0].first, 6);
    EXPECT_EQ(found.unread[0].count, 14);
}

TEST_F(Holes, WhatNoVariableNamesIsLeftOut) {
    poll(5);
    poll(20, 2);
    lack(10, 11);
    run_for(seconds(2));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{5, 1}, {20, 2}}));
    EXPECT_EQ(different().size(), 3U);
    EXPECT_EQ(holes->open(), 0);
    const kelpo::Holes found = holes->holes();
    EXPECT_TRUE(found.missing.empty());
    ASSERT_EQ(found.unread.size(), 1U);
    EXPECT_EQ(found.unread[0].first, 6);
    EXPECT_EQ(found.unread[0].count, 14);
}

TEST_F(Holes, OneInAHundredTakesFewRequestsAndLeavesThreeBlocks) {
    poll_each(0, 100);
    lack(37, 38);
    run_for(seconds(5));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{0, 37}, {37, 1}, {38, 62}}));
    for (int number = 0; number < 100; ++number)
        EXPECT_EQ(is_read(number), number != 37) << number;
    // The block itself, the halves that it takes to find 37, and one for each time that two parts are joined.
    EXPECT_LE(different().size(), 1U + 10 + 5);
    EXPECT_EQ(holes->open(), 0);
}

// Nobody waits for what is known: the parts come before everything else.
TEST_F(Holes, AreFoundBeforeTheOthersAreAskedAgain) {
    poll_each(0, 100);
    lack(37, 38);
    run_for(seconds(5));
    const std::vector<Asked> all = asked_of(station);
    const auto first_of_others = [&](Time after) {
        return std::count_if(asked.begin(), asked.end(),
                             [&](const Asked &one) { return one.station == 1 && one.time > after; });
    };
    // The hundred, 50, 25, 12, 6, 3, 1, and what is left of each but of those that were halved at once.
    ASSERT_GT(all.size(), 11U);
    EXPECT_EQ(first_of_others(all[0].time) - first_of_others(all[10].time), 0);
}

TEST_F(Holes, SeveralAreFound) {
    poll_each(0, 100);
    lack(0, 3);
    lack(50, 52);
    lack(99, 100);
    run_for(seconds(10));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{0, 3}, {3, 47}, {50, 2}, {52, 47}, {99, 1}}));
    EXPECT_EQ(wrong, 0);
}

TEST_F(Holes, NoVariableIsTakenApart) {
    poll(0, 10);
    poll(5, 20);  // overlaps
    poll(30, 4);
    lack(2, 3);
    run_for(seconds(2));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{0, 25}, {30, 4}}));
}

TEST_F(Holes, AStationThatAnswersOnlyShortRequestsIsAskedForLess) {
    poll_each(0, 100);
    most = 25;
    code = 3;
    run_for(seconds(5));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{0, 25}, {25, 25}, {50, 25}, {75, 25}}));
    // The whole, its halves and quarters, and once the two quarters in the middle.
    EXPECT_EQ(different().size(), 8U);
    EXPECT_EQ(holes->holes().longest.at(station), 25);
}

TEST_F(Holes, AreNotLookedForWhenTheRefusalHasAnotherReason) {
    poll_each(0, 100);
    lack(37, 38);
    for (const unsigned other : {1U, 4U, 6U}) {
        code = other;
        run_for(seconds(2));
        EXPECT_EQ(different().size(), 1U) << other;
    }
}

TEST_F(Holes, AStationThatRefusesAllCostsTheOthersLittle) {
    poll_each(0, 100);
    poll_each(200, 300);
    poll_each(400, 500);
    lack(0, 500);
    run_for(seconds(1));
    // Nine for each block, and perhaps four when it is asked for again after a second.
    EXPECT_LE(asked_of(station).size(), 3U * 13);
    run_for(minutes(10));
    while (holes->open() > 0)
        run_for(seconds(1));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{0, 100}, {200, 100}, {400, 100}}));
    EXPECT_LT(asked_of(station).size() * 100, asked.size() * 2);
    const std::size_t before = asked_of(station).size(), all_before = asked.size();
    run_for(minutes(10));
    EXPECT_LT((asked_of(station).size() - before) * 100, asked.size() - all_before);
}

TEST_F(Holes, TheOnlyVariableThatExistsIsFoundInTheEnd) {
    poll_each(0, 100);
    lack(0, 73);
    lack(74, 100);
    run_for(minutes(30));
    EXPECT_TRUE(is_read(73));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{0, 73}, {73, 1}, {74, 26}}));
}

TEST_F(Holes, WhatExistsAgainIsReadAgain) {
    poll_each(0, 10);
    lack(3, 4);
    run_for(seconds(5));
    EXPECT_FALSE(is_read(3));
    absent.clear();
    run_for(seconds(40));
    EXPECT_TRUE(is_read(3));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{0, 10}}));
}

TEST_F(Holes, AreForgottenWhenTheUserSwitchesAStation) {
    poll_each(0, 10);
    lack(3, 4);
    run_for(seconds(5));
    EXPECT_EQ(blocks().size(), 3U);
    absent.clear();
    driver.switch_station(station, true);
    const std::size_t before = asked.size();
    run_for(seconds(1));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{0, 10}}));
    EXPECT_TRUE(is_read(3));
    const auto parts = std::count_if(asked.begin() + static_cast<std::ptrdiff_t>(before), asked.end(),
                                     [](const Asked &one) { return one.station == station && one.is_short(); });
    EXPECT_EQ(parts, 0);
}

// The one hole is in the second of the two requests that the block takes.
TEST_F(Holes, AreFoundBehindTheSeamOfTheAddressMap) {
    for (const int number : {7998, 8001, 8003})
        poll(number);
    lack(50001, 50002);  // where 8001 is
    run_for(seconds(2));
    EXPECT_EQ(blocks(), (std::set<Stretch>{{7998, 1}, {8001, 1}, {8003, 1}}));
}

}  // namespace
}  // namespace polled
