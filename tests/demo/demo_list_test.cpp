#include "demo/demo_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace {

using kelpo::demo_list;
using kelpo::DemoRow;
using kelpo::Kind;

TEST(DemoList, HasEveryRegisterTypeAndThreeStations) {
    std::set<int> types, stations;
    for (const DemoRow &row : demo_list()) {
        types.insert(row.variable.type);
        stations.insert(row.variable.station);
    }
    EXPECT_EQ(types.size(), 18U);
    EXPECT_EQ(*types.begin(), 0);
    EXPECT_EQ(*types.rbegin(), 17);
    EXPECT_EQ(stations, std::set<int>({1, 2, 3}));
    EXPECT_GE(demo_list().size(), 60U);
}

TEST(DemoList, PlacesAsManyValuesAsTheVariableHas) {
    for (const DemoRow &row : demo_list()) {
        int values = 0;
        for (const kelpo::Place &place : row.places)
            values += place.values;
        EXPECT_EQ(row.kind == Kind::long_word ? values * 2 : values, row.variable.count) << row.variable.name;
    }
}

// The driver takes a bit in a word from the word, which nothing else polls.
TEST(DemoList, PollsEveryWordWhoseBitsItShows) {
    const std::map<int, int> word_type = {{15, 7}, {16, 8}, {17, 11}};
    for (const DemoRow &bits : demo_list()) {
        if (bits.kind != Kind::word_bit)
            continue;
        const std::string address = bits.variable.address.substr(0, bits.variable.address.find('.'));
        const bool polled = std::any_of(demo_list().begin(), demo_list().end(), [&](const DemoRow &row) {
            return row.variable.station == bits.variable.station &&
                   row.variable.type == word_type.at(bits.variable.type) && row.variable.address == address;
        });
        EXPECT_TRUE(polled) << bits.variable.name;
    }
}

}  // namespace
