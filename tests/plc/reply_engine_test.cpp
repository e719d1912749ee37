#include "plc/protocol/reply_engine.h"

#include "hex.h"

#include <gtest/gtest.h>

namespace plc {
namespace {

class ReplyEngineTest : public testing::Test {
protected:
    Bytes reply_to(const Bytes &request) {
        answer_ = engine_.answer(request, memory_);
        return answer_.reply;
    }

    void expect_change(Table table, unsigned address, unsigned count) const {
        ASSERT_TRUE(answer_.change.has_value());
        EXPECT_EQ(answer_.change->table, table);
        EXPECT_EQ(answer_.change->address, address);
        EXPECT_EQ(answer_.change->before.size(), count);
    }

    void expect_exception(const Bytes &request, const Bytes &reply) {
        const auto coils = memory_.coils;
        const auto registers = memory_.registers;
        EXPECT_EQ(reply_to(request), reply);
        EXPECT_FALSE(answer_.change.has_value());
        EXPECT_TRUE(memory_.coils == coils && memory_.registers == registers);
    }

    StationMemory memory_{1};
    ReplyEngine engine_;
    Answer answer_;
};

// A write whose data are all AA: `data_count` of them after the byte count that is in `start`.
Bytes long_write(const Bytes &start, std::size_t data_count) {
    Bytes request = joined(start, Bytes(data_count, 0xAA));
    append_crc(request);
    return request;
}

TEST_F(ReplyEngineTest, ReadsCoilsLowestAddressInTheLowestBit) {
    memory_.coils[100] = memory_.coils[102] = memory_.coils[103] = memory_.coils[107] = memory_.coils[109] = 1;
    EXPECT_EQ(reply_to(hex("01 01 00 64 00 0A FD D2")), hex("01 01 02 8D 02 5D 6D"));
    EXPECT_FALSE(answer_.change.has_value());
}

TEST_F(ReplyEngineTest, ReadsRegistersHighByteFirst) {
    memory_.registers[100] = 0x1234;
    memory_.registers[101] = 0xFFFE;
    EXPECT_EQ(reply_to(hex("01 03 00 64 00 02 85 D4")), hex("01 03 04 12 34 FF FE 7E F5"));
    EXPECT_FALSE(answer_.change.has_value());
}

TEST_F(ReplyEngineTest, SwitchesACoilOnAndOff) {
    EXPECT_EQ(reply_to(hex("01 05 00 64 FF 00 CD E5")), hex("01 05 00 64 FF 00 CD E5"));
    EXPECT_EQ(memory_.coils[100], 1);
    expect_change(Table::coils, 100, 1);

    EXPECT_EQ(reply_to(hex("01 05 00 64 00 00 8C 15")), hex("01 05 00 64 00 00 8C 15"));
    EXPECT_EQ(memory_.coils[100], 0);
}

TEST_F(ReplyEngineTest, SaysWhatWasThereBeforeAWrite) {
    memory_.registers[100] = 7;
    memory_.registers[101] = 8;
    reply_to(hex("01 10 00 64 00 02 04 12 34 FF FE 70 B2"));
    ASSERT_TRUE(answer_.change.has_value());
    EXPECT_EQ(answer_.change->before, (std::vector<std::uint16_t>{7, 8}));
    reply_to(hex("01 06 00 64 00 0B 89 D2"));
    EXPECT_EQ(answer_.change->before, std::vector<std::uint16_t>{0x1234});

    memory_.coils[101] = 1;
    reply_to(hex("01 0F 00 64 00 0A 02 8D FE 09 CC"));
    EXPECT_EQ(answer_.change->before, (std::vector<std::uint16_t>{0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    reply_to(hex("01 05 00 64 00 00 8C 15"));
    EXPECT_EQ(answer_.change->before, std::vector<std::uint16_t>{1});
}

TEST_F(ReplyEngineTest, WritesARegister) {
    EXPECT_EQ(reply_to(hex("01 06 00 64 12 34 C5 62")), hex("01 06 00 64 12 34 C5 62"));
    EXPECT_EQ(memory_.registers[100], 0x1234);
    expect_change(Table::registers, 100, 1);
}

TEST_F(ReplyEngineTest, WritesCoilsAndLeavesTheirNeighbours) {
    memory_.coils[99] = memory_.coils[110] = 1;
    EXPECT_EQ(reply_to(hex("01 0F 00 64 00 0A 02 8D FE 09 CC")), hex("01 0F 00 64 00 0A 94 13"));
    const std::vector<std::uint8_t> around(memory_.coils.begin() + 99, memory_.coils.begin() + 112);
    EXPECT_EQ(around, (std::vector<std::uint8_t>{1, 1, 0, 1, 1, 0, 0, 0, 1, 0, 1, 1, 0}));
    expect_change(Table::coils, 100, 10);
}

TEST_F(ReplyEngineTest, WritesRegisters) {
    EXPECT_EQ(reply_to(hex("01 10 00 64 00 02 04 12 34 FF FE 70 B2")), hex("01 10 00 64 00 02 00 17"));
    EXPECT_EQ(memory_.registers[100], 0x1234);
    EXPECT_EQ(memory_.registers[101], 0xFFFE);
    EXPECT_EQ(memory_.registers[102], 0);
    expect_change(Table::registers, 100, 2);
}

TEST_F(ReplyEngineTest, RepliesUnderTheStationNumberOfTheRequest) {
    EXPECT_EQ(reply_to(hex("F7 06 00 64 12 34 D1 F4")), hex("F7 06 00 64 12 34 D1 F4"));
}

TEST_F(ReplyEngineTest, ServesTheLastAddress) {
    EXPECT_EQ(reply_to(hex("01 05 FF FF FF 00 8C 1E")), hex("01 05 FF FF FF 00 8C 1E"));
    EXPECT_EQ(reply_to(hex("01 01 FF FF 00 01 FD EE")), hex("01 01 01 01 90 48"));
    EXPECT_EQ(reply_to(hex("01 06 FF FF 12 34 84 99")), hex("01 06 FF FF 12 34 84 99"));
    EXPECT_EQ(reply_to(hex("01 03 FF FF 00 01 84 2E")), hex("01 03 02 12 34 B5 33"));
    EXPECT_EQ(reply_to(hex("01 0F FF FF 00 01 01 00 2E 8C")), hex("01 0F FF FF 00 01 94 2F"));
    EXPECT_EQ(reply_to(hex("01 10 FF FF 00 01 02 00 00 BD 50")), hex("01 10 FF FF 00 01 01 ED"));
}

TEST_F(ReplyEngineTest, ServesTheLargestQuantities) {
    EXPECT_EQ(reply_to(hex("01 01 00 64 07 D0 7E 79")).size(), 5u + 250u);
    EXPECT_EQ(reply_to(hex("01 03 00 64 00 7D C4 34")).size(), 5u + 250u);
    EXPECT_EQ(reply_to(long_write(hex("01 0F 00 64 07 B0 F6"), 246)), hex("01 0F 00 64 07 B0 17 90"));
    EXPECT_EQ(memory_.coils[100 + 1967], 1);
    EXPECT_EQ(reply_to(long_write(hex("01 10 00 64 00 7B F6"), 246)), hex("01 10 00 64 00 7B C1 F5"));
    EXPECT_EQ(memory_.registers[100 + 122], 0xAAAA);
}

TEST_F(ReplyEngineTest, RefusesARangeThatLeavesTheAddresses) {
    expect_exception(hex("01 01 FF FF 00 02 BD EF"), hex("01 81 02 C1 91"));
    expect_exception(hex("01 01 FC 00 07 D0 0F F6"), hex("01 81 02 C1 91"));
    expect_exception(hex("01 03 FF FF 00 02 C4 2F"), hex("01 83 02 C0 F1"));
    expect_exception(hex("01 03 FF 84 00 7D F5 D6"), hex("01 83 02 C0 F1"));
    expect_exception(hex("01 0F FF FF 00 02 01 03 9E 8D"), hex("01 8F 02 C5 F1"));
    expect_exception(hex("01 10 FF FF 00 02 04 12 34 56 78 82 6B"), hex("01 90 02 CD C1"));
}

TEST_F(ReplyEngineTest, RefusesAQuantityOfNone) {
    expect_exception(hex("01 01 00 64 00 00 7D D5"), hex("01 81 03 00 51"));
    expect_exception(hex("01 03 00 64 00 00 04 15"), hex("01 83 03 01 31"));
    expect_exception(hex("01 0F 00 64 00 00 00 14 0F"), hex("01 8F 03 04 31"));
    expect_exception(hex("01 10 00 64 00 00 00 16 60"), hex("01 90 03 0C 01"));
}

TEST_F(ReplyEngineTest, RefusesAQuantityThatIsTooLarge) {
    expect_exception(hex("01 01 00 64 07 D1 BF B9"), hex("01 81 03 00 51"));
    expect_exception(hex("01 03 00 64 00 7E 84 35"), hex("01 83 03 01 31"));
    expect_exception(long_write(hex("01 0F 00 64 07 B1 F7"), 247), hex("01 8F 03 04 31"));
    expect_exception(long_write(hex("01 10 00 64 00 7C F7"), 247), hex("01 90 03 0C 01"));
}

TEST_F(ReplyEngineTest, RefusesAByteCountThatDoesNotFitTheQuantity) {
    expect_exception(hex("01 0F 00 64 00 09 01 FF 9E DD"), hex("01 8F 03 04 31"));
    expect_exception(hex("01 0F 00 64 00 08 02 FF FF ED 14"), hex("01 8F 03 04 31"));
    expect_exception(hex("01 10 00 64 00 02 02 12 34 A3 47"), hex("01 90 03 0C 01"));
    expect_exception(hex("01 10 00 64 00 01 04 12 34 56 78 8F 73"), hex("01 90 03 0C 01"));
}

TEST_F(ReplyEngineTest, RefusesACoilValueThatIsNeitherOnNorOff) {
    expect_exception(hex("01 05 00 64 00 01 4D D5"), hex("01 85 03 02 91"));
    expect_exception(hex("01 05 00 64 FF FF 8D A5"), hex("01 85 03 02 91"));
}

TEST_F(ReplyEngineTest, RefusesEveryOtherFunction) {
    expect_exception(hex("01 02 00 00 00 01 B9 CA"), hex("01 82 01 81 60"));
    expect_exception(hex("01 04 00 00 00 01 31 CA"), hex("01 84 01 82 C0"));
    expect_exception(hex("01 11 C0 2C"), hex("01 91 01 8C 50"));
    expect_exception(hex("01 16 00 64 00 F2 00 25 E7 E6"), hex("01 96 01 8E 60"));
    expect_exception(hex("01 17 00 64 00 01 00 64 00 01 02 00 FF 5E A1"), hex("01 97 01 8F F0"));

    for (unsigned function = 0; function < 0x80; ++function) {
        if (function == 1 || function == 3 || function == 5 || function == 6 || function == 15 || function == 16)
            continue;
        Bytes request = {0x01, static_cast<std::uint8_t>(function)};
        append_crc(request);
        const Bytes reply = reply_to(request);
        ASSERT_EQ(reply.size(), 5u);
        EXPECT_EQ(reply[1], function + 0x80);
        EXPECT_EQ(reply[2], 1);
    }
}

}  // namespace
}  // namespace plc
