#include "plc/faults/reply_parts.h"

#include "hex.h"

#include <gtest/gtest.h>

namespace plc {
namespace {

using std::chrono::milliseconds;

const Bytes read_two_registers = hex("01 03 00 64 00 02 85 D4");
const Bytes two_registers = hex("01 03 04 12 34 56 78 81 07");

const Bytes write_a_register = hex("01 06 00 64 12 34 C5 62");
const Bytes refused = hex("01 83 02 C0 F1");

std::vector<ReplyPart> parts(const std::string &fault, const Bytes &request, const Bytes &reply,
                             std::uint32_t place = 0) {
    return spoiled_reply(request, reply, {parse_fault(fault), Random(1, 0, place)});
}

// What is sent at once for the read, or for the reply given.
Bytes only_part(const std::string &fault, const Bytes &reply = two_registers) {
    const auto sent = parts(fault, read_two_registers, reply);
    EXPECT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent.front().wait, milliseconds(0));
    return sent.front().bytes;
}

void expect_two_parts(const std::string &fault, const Bytes &first, milliseconds wait, const Bytes &second) {
    const auto sent = parts(fault, read_two_registers, two_registers);
    ASSERT_EQ(sent.size(), 2u) << fault;
    EXPECT_EQ(sent[0].wait, milliseconds(0)) << fault;
    EXPECT_EQ(sent[0].bytes, first) << fault;
    EXPECT_EQ(sent[1].wait, wait) << fault;
    EXPECT_EQ(sent[1].bytes, second) << fault;
}

TEST(SpoiledReply, IsNoneWhenItIsLostOrTheStationDead) {
    EXPECT_TRUE(parts("no-reply", read_two_registers, two_registers).empty());
    EXPECT_TRUE(parts("dead", read_two_registers, Bytes()).empty());
}

TEST(SpoiledReply, IsAnExceptionInPlaceOfTheReply) {
    const auto sent = parts("exception", read_two_registers, Bytes());
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].bytes, hex("01 83 04 40 F3"));
    EXPECT_EQ(only_part("exception code=6"), hex("01 83 06 C1 32"));
}

TEST(SpoiledReply, ComesWholeAndLate) {
    const auto sent = parts("late ms=80", read_two_registers, two_registers);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].wait, milliseconds(80));
    EXPECT_EQ(sent[0].bytes, two_registers);
    EXPECT_EQ(parts("late", read_two_registers, two_registers)[0].wait, milliseconds(100));
}

TEST(SpoiledReply, IsCutOff) {
    EXPECT_EQ(only_part("truncated"), hex("01 03 04 12"));
    EXPECT_EQ(only_part("truncated bytes=1"), hex("01"));
    EXPECT_EQ(only_part("truncated bytes=8"), hex("01 03 04 12 34 56 78 81"));
    EXPECT_EQ(only_part("truncated bytes=9"), hex("01 03 04 12 34 56 78 81"));
    EXPECT_EQ(only_part("truncated bytes=250"), hex("01 03 04 12 34 56 78 81"));
}

TEST(SpoiledReply, HasOneByteGarbledThatTheSeedDecides) {
    for (std::uint32_t place = 0; place < 200; ++place) {
        const Bytes sent = parts("garbled", read_two_registers, two_registers, place)[0].bytes;
        ASSERT_EQ(sent.size(), 9u);
        int differing = 0;
        for (std::size_t i = 0; i < sent.size(); ++i)
            differing += sent[i] != two_registers[i] ? 1 : 0;
        EXPECT_EQ(differing, 1);
        EXPECT_FALSE(crc_is_right(sent.data(), sent.size()));
        EXPECT_EQ(parts("garbled", read_two_registers, two_registers, place)[0].bytes, sent);
    }
    EXPECT_EQ(only_part("garbled", hex("01 03 02 00 00 B8 44")), hex("01 03 02 00 00 E9 44"));
}

TEST(SpoiledReply, NamesAnotherStationUnderARightCrc) {
    EXPECT_EQ(only_part("wrong-station"), hex("02 03 04 12 34 56 78 B2 07"));
    EXPECT_EQ(only_part("wrong-station", hex("F7 03 02 00 00 70 51")), hex("01 03 02 00 00 B8 44"));
}

TEST(SpoiledReply, NamesAFunctionThatLooksAlikeUnderARightCrc) {
    EXPECT_EQ(only_part("wrong-function"), hex("01 01 04 12 34 56 78 80 E5"));
    EXPECT_EQ(only_part("wrong-function", hex("01 01 01 05 91 8B")), hex("01 03 01 05 30 4B"));
    EXPECT_EQ(only_part("wrong-function", write_a_register), hex("01 05 00 64 12 34 81 62"));
    EXPECT_EQ(only_part("wrong-function", hex("01 05 00 64 12 34 81 62")), write_a_register);
    EXPECT_EQ(only_part("wrong-function", hex("01 10 00 64 00 02 00 17")), hex("01 0F 00 64 00 02 95 D5"));
    EXPECT_EQ(only_part("wrong-function", hex("01 0F 00 64 00 02 95 D5")), hex("01 10 00 64 00 02 00 17"));
    EXPECT_EQ(only_part("wrong-function", refused), hex("01 81 02 C1 91"));
    EXPECT_EQ(only_part("wrong-function", hex("01 82 01 81 60")), hex("01 83 01 80 F0"));
}

TEST(SpoiledReply, HasADataByteTooFewOrTheGivenNumberUnderARightCrc) {
    EXPECT_EQ(only_part("wrong-length"), hex("01 03 03 12 34 56 73 75"));
    EXPECT_EQ(only_part("wrong-length data=3"), hex("01 03 03 12 34 56 73 75"));
    EXPECT_EQ(only_part("wrong-length data=5"), hex("01 03 05 12 34 56 78 00 C6 B1"));
    EXPECT_EQ(only_part("wrong-length data=4"), hex("01 03 03 12 34 56 73 75"));
    EXPECT_EQ(only_part("wrong-length data=0"), hex("01 03 00 20 F0"));
    EXPECT_EQ(only_part("wrong-length data=250").size(), 255u);
    EXPECT_EQ(only_part("wrong-length", write_a_register), hex("01 06 00 64 12 B3 85"));
    EXPECT_EQ(only_part("wrong-length data=5", write_a_register), hex("01 06 00 64 12 34 00 A2 53"));
    EXPECT_EQ(only_part("wrong-length", refused), hex("01 83 41 81"));
}

TEST(SpoiledReply, ComesInPieces) {
    const auto sent = parts("pieces size=4 gap=2", read_two_registers, two_registers);
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[0].wait, milliseconds(0));
    EXPECT_EQ(sent[0].bytes, hex("01 03 04 12"));
    EXPECT_EQ(sent[1].wait, milliseconds(2));
    EXPECT_EQ(sent[1].bytes, hex("34 56 78 81"));
    EXPECT_EQ(sent[2].wait, milliseconds(2));
    EXPECT_EQ(sent[2].bytes, hex("07"));

    const auto bytes = parts("pieces", read_two_registers, two_registers);
    ASSERT_EQ(bytes.size(), 9u);
    EXPECT_EQ(bytes[8].wait, milliseconds(1));
    EXPECT_EQ(bytes[8].bytes, hex("07"));
    EXPECT_EQ(only_part("pieces size=9"), two_registers);
}

TEST(SpoiledReply, HasNoiseBeforeOrAfter) {
    expect_two_parts("noise", hex("07 3C F0 55 E6"), milliseconds(0), two_registers);
    expect_two_parts("noise bytes=2 gap=3", hex("07 3C"), milliseconds(3), two_registers);
    expect_two_parts("noise-behind", two_registers, milliseconds(0), hex("07 3C F0 55 E6"));
    expect_two_parts("noise-behind bytes=1 gap=30", two_registers, milliseconds(30), hex("07"));
}

TEST(SpoiledReply, FollowsTheEchoOfTheRequest) {
    expect_two_parts("echo", read_two_registers, milliseconds(0), two_registers);
    expect_two_parts("echo gap=4", read_two_registers, milliseconds(4), two_registers);
}

TEST(SpoiledReply, ComesTwice) {
    expect_two_parts("twice", two_registers, milliseconds(0), two_registers);
    expect_two_parts("twice gap=40", two_registers, milliseconds(40), two_registers);
}

}  // namespace
}  // namespace plc
