#include "demo/write_judge.h"

#include "hand_made_memory.h"

#include <gtest/gtest.h>

namespace {

using kelpo::DemoRow;
using kelpo::fault_of_write;
using kelpo::Kind;
using kelpo::LoggedWrite;
using kelpo::Moment;
using kelpo::View;
using plc::Table;

const DemoRow words{{"recipe", 2, 8, "254", 3, View::unsigned_words}, Kind::word, {{8254, 2}, {12100, 1}}, false};
const DemoRow moving_word{{"level", 2, 7, "1", 1, View::unsigned_words}, Kind::word, {{1, 1}}, true};
const DemoRow long_word{{"total", 2, 12, "4", 2, View::unsigned_longs}, Kind::long_word, {{4, 1}}, true};
const DemoRow coils{{"lamps", 2, 1, "0", 2, View::bits}, Kind::coil, {{100, 2}}, false};
const DemoRow word_bits{{"flags", 2, 15, "7.15", 2, View::bits}, Kind::word_bit, {{7, 2, 15}}, true};

class WriteJudge : public testing::Test {
protected:
    HandMadeMemory memory;
    std::vector<LoggedWrite> log;

    void hold(int address, std::uint16_t value) {
        memory.registers[{2, address, 0}] = value;
    }
    void write(unsigned address, std::uint16_t before, std::uint16_t after, Moment moment = 0) {
        log.push_back({2, Table::registers, address, before, after, moment});
    }
    std::string fault(const DemoRow &target, const kelpo::Values &values) const {
        return fault_of_write(target, values, log, memory);
    }
};

TEST_F(WriteJudge, AcceptsAWriteThatIsLoggedAndHeld) {
    hold(8254, 1), hold(8255, 2), hold(12100, 3);
    write(8254, 0, 1), write(8255, 0, 2), write(12100, 9, 3);
    EXPECT_EQ(fault(words, {1, 2, 3}), "");
}

TEST_F(WriteJudge, NoticesAWriteThatIsNotInTheLog) {
    hold(8254, 1), hold(8255, 2), hold(12100, 3);
    EXPECT_EQ(fault(words, {1, 2, 3}), "the controller's log has no such write to address 8254");
    write(8254, 0, 1), write(8255, 0, 2);
    EXPECT_EQ(fault(words, {1, 2, 3}), "the controller's log has no such write to address 12100");
}

TEST_F(WriteJudge, NoticesAWrongValue) {
    hold(8254, 1), hold(8255, 2), hold(12100, 3);
    write(8254, 0, 1), write(8255, 0, 3), write(12100, 0, 3);
    EXPECT_EQ(fault(words, {1, 2, 3}), "the controller's log has 0 -> 3 in register 8255 of station 2");
}

TEST_F(WriteJudge, NoticesAWriteElsewhere) {
    hold(8254, 1), hold(8255, 2), hold(12100, 3);
    write(8254, 0, 1), write(8255, 0, 2), write(12100, 0, 3), write(12101, 0, 4);
    EXPECT_EQ(fault(words, {1, 2, 3}), "the controller's log has 0 -> 4 in register 12101 of station 2");
    log.back() = {3, Table::registers, 8254, 0, 1, 0};
    EXPECT_EQ(fault(words, {1, 2, 3}), "the controller's log has 0 -> 1 in register 8254 of station 3");
    log.back() = {2, Table::coils, 8254, 0, 1, 0};
    EXPECT_EQ(fault(words, {1, 2, 3}), "the controller's log has 0 -> 1 in coil 8254 of station 2");
}

TEST_F(WriteJudge, AllowsAWriteThatWasSentAgain) {
    hold(8254, 1), hold(8255, 2), hold(12100, 3);
    write(8254, 0, 1), write(8255, 0, 2), write(8254, 1, 1), write(8255, 2, 2), write(12100, 9, 3);
    EXPECT_EQ(fault(words, {1, 2, 3}), "");
}

TEST_F(WriteJudge, ExpectsTheMemoryToHoldTheValue) {
    hold(8254, 1), hold(8255, 2), hold(12100, 4);
    write(8254, 0, 1), write(8255, 0, 2), write(12100, 9, 3);
    EXPECT_EQ(fault(words, {1, 2, 3}), "the controller does not hold the value");
}

TEST_F(WriteJudge, DoesNotExpectAMovingPlaceToHoldTheValue) {
    hold(1, 55);
    write(1, 40, 7);
    EXPECT_EQ(fault(moving_word, {7}), "");
}

TEST_F(WriteJudge, ExpectsTheHighWordAtTheLowerAddress) {
    write(4, 0, 0x1234), write(5, 0, 0x5678);
    EXPECT_EQ(fault(long_word, {0x12345678}), "");
    EXPECT_NE(fault(long_word, {0x56781234}), "");
}

TEST_F(WriteJudge, ReadsCoilsFromTheirOwnTable) {
    memory.coils[{2, 100, 0}] = true;
    memory.coils[{2, 101, 0}] = false;
    log = {{2, Table::coils, 100, 0, 1, 0}, {2, Table::coils, 101, 0, 0, 0}};
    EXPECT_EQ(fault(coils, {1, 0}), "");
    log[1].table = Table::registers;
    EXPECT_NE(fault(coils, {1, 0}), "");
}

TEST_F(WriteJudge, ExpectsOneBitChangedAndTheOthersUnchanged) {
    write(7, 0x0123, 0x8123), write(8, 0x0041, 0x0040);
    EXPECT_EQ(fault(word_bits, {1, 0}), "");
    log[0].after = 0x8122;
    EXPECT_EQ(fault(word_bits, {1, 0}), "the controller's log has 291 -> 33058 in register 7 of station 2");
    log[0].after = 0x0123;
    EXPECT_NE(fault(word_bits, {1, 0}), "");
}

TEST_F(WriteJudge, AllowsAWordThatWasReadInTheMomentBefore) {
    memory.registers[{2, 7, 4}] = 0x0100;
    write(7, 0x0101, 0x8100, 5), write(8, 0, 0, 5);
    EXPECT_EQ(fault(word_bits, {1, 0}), "");
    memory.registers[{2, 7, 4}] = 0x00FF;
    EXPECT_NE(fault(word_bits, {1, 0}), "");
}

TEST_F(WriteJudge, ExpectsEveryBit) {
    write(7, 0, 0x8000);
    EXPECT_EQ(fault(word_bits, {1, 1}), "the controller's log has no such write to address 8");
}

}  // namespace
