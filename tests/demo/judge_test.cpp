#include "demo/judge.h"

#include "hand_made_memory.h"

#include <gtest/gtest.h>

namespace {

using kelpo::DemoRow;
using kelpo::Judge;
using kelpo::Kind;
using kelpo::Moment;
using kelpo::Verdict;
using kelpo::View;

class JudgeTest : public testing::Test {
protected:
    HandMadeMemory memory;
    Judge judge{memory};

    void hold(int address, Moment moment, std::uint16_t value) {
        memory.registers[{2, address, moment}] = value;
    }
    void hold_coils(int address, Moment moment, const std::vector<bool> &values) {
        for (const bool value : values)
            memory.coils[{2, address++, moment}] = value;
    }
};

const DemoRow word{{"level", 2, 7, "1", 1, View::unsigned_words}, Kind::word, {{1, 1}}, true};
const DemoRow signed_word{{"temp", 2, 7, "1", 1, View::signed_words}, Kind::word, {{1, 1}}, true};
const DemoRow split_words{{"pair", 2, 7, "7999", 2, View::unsigned_words}, Kind::word, {{7999, 1}, {50000, 1}}, true};
const DemoRow long_word{{"total", 2, 12, "4", 2, View::unsigned_longs}, Kind::long_word, {{4, 1}}, true};
const DemoRow signed_long{{"total", 2, 12, "4", 2, View::signed_longs}, Kind::long_word, {{4, 1}}, true};
const DemoRow coils{{"lamps", 2, 0, "0", 3, View::bits}, Kind::coil, {{1200, 3}}, true};
const DemoRow word_bits{{"flags", 2, 17, "7.8", 3, View::bits}, Kind::word_bit, {{8507, 3, 8}}, true};

TEST_F(JudgeTest, AcceptsAValueThatWasHeldInTheRange) {
    hold(1, 4, 40);
    hold(1, 5, 50);
    EXPECT_EQ(judge.judge(word, {40}, {4, 5}), Verdict::right);
    EXPECT_EQ(judge.judge(word, {50}, {4, 5}), Verdict::right);
    EXPECT_EQ(judge.right(), 2U);
    EXPECT_EQ(judge.wrong(), 0U);
}

TEST_F(JudgeTest, RejectsAValueThatWasHeldOnlyBeforeTheRange) {
    hold(1, 3, 30);
    hold(1, 4, 40);
    hold(1, 5, 50);
    EXPECT_EQ(judge.judge(word, {30}, {4, 5}), Verdict::wrong);
    EXPECT_EQ(judge.wrong(), 1U);
}

TEST_F(JudgeTest, SaysWhatWasShownAndWhatWasHeld) {
    hold(1, 4, 40);
    hold(1, 5, 50);
    judge.judge(word, {41}, {4, 5});
    ASSERT_EQ(judge.complaints().size(), 1U);
    EXPECT_EQ(judge.complaints()[0], "level (station 2, type 7, address 1) showed 41, the controller held 40, then 50");
}

TEST_F(JudgeTest, NotesOnlyTheFirstComplaintsButCountsAll) {
    hold(1, 4, 40);
    for (int i = 0; i < 1000; ++i)
        judge.judge(word, {41}, {4, 4});
    EXPECT_EQ(judge.wrong(), 1000U);
    EXPECT_EQ(judge.complaints().size(), 10U);
}

TEST_F(JudgeTest, DoesNotJudgeMomentsThatAreNotRecorded) {
    hold(1, 5, 50);
    EXPECT_EQ(judge.judge(word, {40}, {4, 5}), Verdict::unproven);
    EXPECT_EQ(judge.judge(word, {50}, {4, 5}), Verdict::right);
    EXPECT_EQ(judge.unproven(), 1U);
    EXPECT_EQ(judge.wrong(), 0U);
}

TEST_F(JudgeTest, RejectsAMissingValue) {
    hold(1, 4, 40);
    EXPECT_EQ(judge.judge(word, {}, {4, 4}), Verdict::wrong);
    EXPECT_EQ(judge.judge(word, {40, 40}, {4, 4}), Verdict::wrong);
}

TEST_F(JudgeTest, ReadsTheHeldWordAsTheViewDoes) {
    hold(1, 4, 0xFE0C);
    EXPECT_EQ(judge.judge(signed_word, {-500}, {4, 4}), Verdict::right);
    EXPECT_EQ(judge.judge(signed_word, {65036}, {4, 4}), Verdict::wrong);
    EXPECT_EQ(judge.judge(word, {65036}, {4, 4}), Verdict::right);
}

TEST_F(JudgeTest, ExpectsTheHighWordAtTheLowerAddress) {
    hold(4, 4, 0x8234);
    hold(5, 4, 0x5678);
    EXPECT_EQ(judge.judge(long_word, {0x82345678}, {4, 4}), Verdict::right);
    EXPECT_EQ(judge.judge(signed_long, {0x82345678LL - 0x100000000LL}, {4, 4}), Verdict::right);
    EXPECT_EQ(judge.judge(long_word, {0x56788234}, {4, 4}), Verdict::wrong);
}

TEST_F(JudgeTest, DoesNotMixTheHalvesOfTwoMoments) {
    hold(4, 4, 1);
    hold(5, 4, 0xFFFF);
    hold(4, 5, 2);
    hold(5, 5, 0);
    EXPECT_EQ(judge.judge(long_word, {0x1FFFF}, {4, 5}), Verdict::right);
    EXPECT_EQ(judge.judge(long_word, {0x10000}, {4, 5}), Verdict::wrong);
}

TEST_F(JudgeTest, ExpectsTheValuesOfOnePlaceToBeOfOneMoment) {
    hold_coils(1200, 4, {true, false, true});
    hold_coils(1200, 5, {false, true, false});
    EXPECT_EQ(judge.judge(coils, {1, 0, 1}, {4, 5}), Verdict::right);
    EXPECT_EQ(judge.judge(coils, {0, 1, 0}, {4, 5}), Verdict::right);
    EXPECT_EQ(judge.judge(coils, {1, 1, 1}, {4, 5}), Verdict::wrong);
}

TEST_F(JudgeTest, AllowsTwoPlacesOfDifferentMoments) {
    hold(7999, 4, 10);
    hold(7999, 5, 11);
    hold(50000, 4, 20);
    hold(50000, 5, 21);
    EXPECT_EQ(judge.judge(split_words, {10, 21}, {4, 5}), Verdict::right);
    EXPECT_EQ(judge.judge(split_words, {21, 10}, {4, 5}), Verdict::wrong);
}

TEST_F(JudgeTest, CountsTheBitsOfAWordFromTheLowest) {
    hold(8507, 4, 0x0500);
    EXPECT_EQ(judge.judge(word_bits, {1, 0, 1}, {4, 4}), Verdict::right);
    EXPECT_EQ(judge.judge(word_bits, {0, 1, 0}, {4, 4}), Verdict::wrong);
}

TEST_F(JudgeTest, UsesTheVariablesOwnStation) {
    memory.registers[{3, 1, 4}] = 40;
    hold(1, 4, 41);
    EXPECT_EQ(judge.judge(word, {40}, {4, 4}), Verdict::wrong);
}

}  // namespace
