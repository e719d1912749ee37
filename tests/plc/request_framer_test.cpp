#include "plc/protocol/request_framer.h"

#include "hex.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace plc {
namespace {

std::optional<Bytes> take(RequestFramer &framer, const Bytes &bytes) {
    return framer.take(bytes.data(), bytes.size());
}

void expect_nothing_before_the_last_byte(const Bytes &request) {
    RequestFramer framer;
    for (std::size_t i = 0; i + 1 < request.size(); ++i)
        EXPECT_EQ(take(framer, {request[i]}), std::nullopt) << "at byte " << i;
    EXPECT_EQ(take(framer, {request.back()}), request);
    EXPECT_TRUE(framer.at_rest());
}

// The same bytes in every run.
class Garbage {
public:
    std::uint8_t next() {
        state_ = state_ * 1664525u + 1013904223u;
        return static_cast<std::uint8_t>(state_ >> 24);
    }

private:
    std::uint32_t state_ = 1;
};

const Bytes good_request = hex("01 03 00 00 00 0A C5 CD");

TEST(RequestFramer, FindsARequestThatIsAloneAtOnce) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, good_request), good_request);
    EXPECT_TRUE(framer.at_rest());
}

TEST(RequestFramer, FindsARequestThatComesByteByByteWithItsLastByte) {
    expect_nothing_before_the_last_byte(hex("01 01 00 13 00 25 0C 14"));
    expect_nothing_before_the_last_byte(hex("01 03 00 00 00 0A C5 CD"));
    expect_nothing_before_the_last_byte(hex("02 05 00 AC FF 00 4C 28"));
    expect_nothing_before_the_last_byte(hex("02 06 00 01 00 03 98 38"));
    expect_nothing_before_the_last_byte(hex("11 0F 00 13 00 0A 02 CD 01 BF 0B"));
    expect_nothing_before_the_last_byte(hex("11 10 00 01 00 02 04 00 0A 01 02 C6 F0"));
}

TEST(RequestFramer, FindsARequestForAnyStationAndForAll) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, hex("F7 03 00 00 00 0A D1 5B")), hex("F7 03 00 00 00 0A D1 5B"));
    EXPECT_EQ(take(framer, hex("00 06 00 01 00 03 99 DA")), hex("00 06 00 01 00 03 99 DA"));
}

TEST(RequestFramer, FindsTheNextRequestWithoutASilenceAfterAGoodOne) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, good_request), good_request);
    EXPECT_EQ(take(framer, good_request), good_request);
}

TEST(RequestFramer, FindsARequestAfterGarbageWhenSilenceEndsTheFrame) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, hex("00 FF 01")), std::nullopt);
    EXPECT_EQ(take(framer, good_request), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), good_request);
    EXPECT_TRUE(framer.at_rest());
}

TEST(RequestFramer, FindsTheLastOfTwoRequestsThatCameAsOne) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, joined(hex("01 06 00 01 00 03 98 0B"), good_request)), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), good_request);
}

TEST(RequestFramer, PrefersALongRequestToOneThatItsDataLookLike) {
    const Bytes data_end_in_a_request = hex("01 10 01 00 00 05 0A 00 00 61 77 01 03 00 00 00 01 84 0A");
    RequestFramer framer;
    EXPECT_EQ(take(framer, joined(hex("55"), data_end_in_a_request)), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), data_end_in_a_request);
}

TEST(RequestFramer, DropsARequestWithAWrongCrcAndFindsTheNextOne) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, hex("01 03 00 00 00 0A C5 CC")), std::nullopt);
    EXPECT_FALSE(framer.at_rest());
    EXPECT_EQ(framer.end_by_silence(), std::nullopt);
    EXPECT_EQ(take(framer, good_request), good_request);
}

TEST(RequestFramer, DropsARequestThatWasCutShortAndFindsTheNextOne) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, hex("01 03 00 00 00 0A C5")), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), std::nullopt);
    EXPECT_EQ(take(framer, good_request), good_request);
}

TEST(RequestFramer, DropsAServedFunctionOfAWrongLength) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, hex("01 03 02 12 34 B5 33")), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), std::nullopt);
    EXPECT_EQ(take(framer, hex("01 03 00 00 00 0A 00 0D 53")), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), std::nullopt);
}

TEST(RequestFramer, GivesAnUnknownFunctionWithAGoodCrcWhenSilenceEndsIt) {
    for (const Bytes &frame : {hex("01 02 00 00 00 01 B9 CA"), hex("01 07 41 E2"), hex("01 00 00 20"),
                               hex("01 2B 0E 01 00 70 77"), hex("01 7F 12 80 3D")}) {
        RequestFramer framer;
        EXPECT_EQ(take(framer, frame), std::nullopt);
        EXPECT_EQ(framer.end_by_silence(), frame);
    }
}

TEST(RequestFramer, DropsAnUnknownFunctionWithAWrongCrc) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, hex("01 02 00 00 00 01 B9 CB")), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), std::nullopt);
}

TEST(RequestFramer, DropsAnUnknownFunctionAfterGarbage) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, joined(hex("55"), hex("01 02 00 00 00 01 B9 CA"))), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), std::nullopt);
}

TEST(RequestFramer, DropsAnExceptionReplySinceItIsNoRequest) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, hex("01 83 02 C0 F1")), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), std::nullopt);
}

TEST(RequestFramer, FindsARequestAtTheEndOfTheLongestFrame) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, Bytes(248, 0x55)), std::nullopt);
    EXPECT_EQ(take(framer, good_request), std::nullopt);
    EXPECT_EQ(framer.end_by_silence(), good_request);
}

TEST(RequestFramer, DropsEverythingUpToTheSilenceWhenAFrameIsTooLong) {
    RequestFramer framer;
    EXPECT_EQ(take(framer, Bytes(249, 0x55)), std::nullopt);
    EXPECT_EQ(take(framer, good_request), std::nullopt);
    EXPECT_EQ(take(framer, good_request), std::nullopt);
    EXPECT_FALSE(framer.at_rest());
    EXPECT_EQ(framer.end_by_silence(), std::nullopt);
    EXPECT_TRUE(framer.at_rest());
    EXPECT_EQ(take(framer, good_request), good_request);
}

TEST(RequestFramer, TakesTheLongestRequestThatThereIs) {
    Bytes request = hex("01 10 00 00 00 7B F6");
    request.resize(request.size() + 246, 0x5A);
    append_crc(request);
    RequestFramer framer;
    EXPECT_EQ(take(framer, request), request);
}

TEST(RequestFramer, FindsTheNextGoodRequestAfterAnyGarbageAndASilence) {
    Garbage garbage;
    for (std::size_t length = 1; length <= 600; ++length) {
        RequestFramer framer;
        for (std::size_t left = length; left != 0;) {
            Bytes piece(std::min<std::size_t>(left, 1 + garbage.next() % 40u));
            std::generate(piece.begin(), piece.end(), [&garbage] { return garbage.next(); });
            take(framer, piece);
            left -= piece.size();
        }
        framer.end_by_silence();
        ASSERT_EQ(take(framer, good_request), good_request) << "after " << length << " bytes of garbage";
    }
}

}  // namespace
}  // namespace plc
