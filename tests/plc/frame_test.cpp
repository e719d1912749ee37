#include "plc/protocol/frame.h"

#include "hex.h"

#include <gtest/gtest.h>

namespace plc {
namespace {

bool has_right_crc(const Bytes &frame) {
    return crc_is_right(frame.data(), frame.size());
}

std::optional<std::size_t> length_from(const Bytes &start) {
    return request_length(start.data(), start.size());
}

TEST(Frame, AppendsTheCrcWithItsLowByteFirst) {
    Bytes frame = hex("01 03 00 00 00 0A");
    append_crc(frame);
    EXPECT_EQ(frame, hex("01 03 00 00 00 0A C5 CD"));
}

TEST(Frame, DistinguishesTheRightCrcFromWrongOnes) {
    EXPECT_TRUE(has_right_crc(hex("01 03 00 00 00 0A C5 CD")));
    EXPECT_TRUE(has_right_crc(hex("01 03 00 00 00 01 84 0A")));
    EXPECT_FALSE(has_right_crc(hex("01 03 00 00 00 0A CD C5")));
    EXPECT_FALSE(has_right_crc(hex("01 03 00 00 00 0B C5 CD")));
}

TEST(Frame, HasNoCrcWhenItIsTooShortToBeAFrame) {
    EXPECT_FALSE(has_right_crc(hex("")));
    EXPECT_FALSE(has_right_crc(hex("FF FF")));
    EXPECT_FALSE(has_right_crc(hex("00 40 BF")));
}

TEST(Frame, KnowsTheLengthOfARequestByItsFunction) {
    EXPECT_EQ(length_from(hex("01 01")), 8u);
    EXPECT_EQ(length_from(hex("01 03")), 8u);
    EXPECT_EQ(length_from(hex("01 05")), 8u);
    EXPECT_EQ(length_from(hex("01 06")), 8u);
    EXPECT_EQ(length_from(hex("01 0F 00 00 00 09 02")), 11u);
    EXPECT_EQ(length_from(hex("01 10 00 00 00 02 04")), 13u);
}

TEST(Frame, KnowsNoLengthBeforeTheBytesThatDecideIt) {
    EXPECT_EQ(length_from(hex("")), std::nullopt);
    EXPECT_EQ(length_from(hex("01")), std::nullopt);
    EXPECT_EQ(length_from(hex("01 10 00 00 00 02")), std::nullopt);
}

TEST(Frame, KnowsNoLengthOfAFunctionThatIsNotServed) {
    EXPECT_EQ(length_from(hex("01 02 00 00 00 01 B9 CA")), std::nullopt);
    EXPECT_EQ(length_from(hex("01 83 00 00 00 01 B9 CA")), std::nullopt);
}

TEST(Frame, AnExceptionReplyHasTheFunctionsTopBitSetAndTheCode) {
    EXPECT_EQ(exception_reply(hex("01 02 00 00 00 01 B9 CA"), Exception::illegal_function), hex("01 82 01 81 60"));
    EXPECT_EQ(exception_reply(hex("11 03 FF FF 00 02 C6 BF"), Exception::illegal_data_address), hex("11 83 02 C1 34"));
}

}  // namespace
}  // namespace plc
