#include "host/engine/variable_watch.h"

#include <gmock/gmock.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kelpo {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class VariableWatchTest : public testing::Test {
protected:
    const std::vector<Variable> variables{{"a", 1, 7, "100", 1, View::unsigned_words},
                                          {"b", 2, 7, "100", 1, View::unsigned_words}};
    VariableWatch watch{variables};
    LinkReading link;
    std::set<int> off;
    VariableState::Time now{1h};

    VariableWatchTest() {
        link.line_open = true;
        link.cycles.count = 1;
        link.cycles.last = 1s;
    }

    std::vector<std::size_t> refresh(const std::vector<std::pair<std::size_t, ReadValue>> &news = {}) {
        return watch.refresh(news, link, off, now);
    }
    // A reply with `value` for the first variable.
    std::vector<std::size_t> read(char value) {
        ReadValue brought;
        brought.bytes = std::string(1, value) + std::string(1, '\0');
        brought.read_at = brought.newest_at = now;
        brought.wall_time = ReadValue::WallTime(2h);
        return refresh({{0, brought}});
    }
    const VariableState &state() const {
        return watch.states()[0];
    }
};

TEST_F(VariableWatchTest, KnowsNoValueBeforeItWasRead) {
    EXPECT_THAT(refresh(), IsEmpty());
    EXPECT_FALSE(state().known());
    EXPECT_EQ(state().quality, Quality::bad);
    EXPECT_THAT(read(5), ElementsAre(0));
    EXPECT_EQ(shown_text(variables[0], state()), "5");
    EXPECT_EQ(state().bytes, std::string({5, 0}));
    EXPECT_EQ(state().changes, 0U);
    EXPECT_EQ(state().read_at, now);
    EXPECT_EQ(state().wall_time, ReadValue::WallTime(2h));
    EXPECT_EQ(state().quality, Quality::good);
    EXPECT_FALSE(watch.states()[1].known());
}

TEST_F(VariableWatchTest, KeepsAValueGoodUntilItIsDueAgain) {
    const std::vector<Variable> rare{{"a", 1, 7, "100", 1, View::unsigned_words, 10s}};
    VariableWatch slow{rare};
    ReadValue brought;
    brought.bytes = std::string(2, '\1');
    brought.read_at = brought.newest_at = now;
    slow.refresh({{0, brought}}, link, off, now);
    slow.refresh({}, link, off, now + 13s);
    EXPECT_EQ(slow.states()[0].quality, Quality::good);
    slow.refresh({}, link, off, now + 13s + 1ms);
    EXPECT_EQ(slow.states()[0].quality, Quality::stale);
}

TEST_F(VariableWatchTest, CountsChangesAndKnowsWhenTheLastWas) {
    const std::pair<char, std::uint64_t> steps[] = {{5, 0}, {5, 0}, {6, 1}, {6, 1}, {5, 2}};
    auto changed = now + 1s;
    std::uint64_t changes = 0;
    for (const auto &[value, expected] : steps) {
        now += 1s;
        if (expected != changes)
            changed = now;
        changes = expected;
        read(value);
        EXPECT_EQ(state().changes, expected);
        EXPECT_EQ(state().changed_at, changed);
        EXPECT_EQ(state().read_at, now);
    }
}

TEST_F(VariableWatchTest, KeepsTheLastValueAndSaysWhyItIsNotReadAnyMore) {
    read(5);
    ReadValue failed;
    failed.bytes = std::string("\x05\x00", 2);
    failed.read_at = now;
    failed.failure = std::make_shared<const Failure>(Failure{Failure::Kind::refused, "refused"});
    EXPECT_THAT(refresh({{0, failed}}), ElementsAre(0));
    EXPECT_EQ(shown_text(variables[0], state()), "5");
    EXPECT_EQ(state().quality, Quality::bad);
    ASSERT_TRUE(state().failure);
    EXPECT_EQ(state().failure->text, "refused");
    EXPECT_THAT(read(5), ElementsAre(0));
    EXPECT_FALSE(state().failure);
}

TEST_F(VariableWatchTest, CallsAValueStaleThatIsOlderThanThreeCycles) {
    read(5);
    now += 3s;
    EXPECT_THAT(refresh(), IsEmpty());
    EXPECT_EQ(state().quality, Quality::good);
    now += 1ms;
    EXPECT_THAT(refresh(), ElementsAre(0));
    EXPECT_EQ(state().quality, Quality::stale);
    EXPECT_THAT(refresh(), IsEmpty());
    EXPECT_THAT(read(5), ElementsAre(0));
    EXPECT_EQ(state().quality, Quality::good);
}

TEST_F(VariableWatchTest, CallsAValueBadThatCannotBeRead) {
    read(5);
    link.stations[1].down_since = now;
    EXPECT_THAT(refresh(), ElementsAre(0));
    EXPECT_EQ(state().quality, Quality::bad);
    link.stations[1].down_since.reset();
    EXPECT_THAT(refresh(), ElementsAre(0));
    EXPECT_EQ(state().quality, Quality::good);
    off = {1};
    EXPECT_THAT(refresh(), ElementsAre(0));
    EXPECT_EQ(state().quality, Quality::bad);
    off = {2};
    EXPECT_THAT(refresh(), ElementsAre(0));
    link.line_open = false;
    EXPECT_THAT(refresh(), ElementsAre(0));
    EXPECT_EQ(state().quality, Quality::bad);
}

TEST(GoodFor, IsThreeCyclesAndAtLeastTwoSeconds) {
    LinkReading::Cycles cycles;
    EXPECT_EQ(good_for(cycles), 30s);
    cycles.count = 1;
    cycles.last = 100ms;
    EXPECT_EQ(good_for(cycles), 2s);
    cycles.last = 10s;
    EXPECT_EQ(good_for(cycles), 30s);
}

}  // namespace
}  // namespace kelpo
