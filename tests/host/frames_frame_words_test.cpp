#include "host/frames/frame_words.h"
#include "host/line/rtu_crc.h"

#include "host/frames/rtu_frame.h"

#include <gtest/gtest.h>

#include <random>

namespace kelpo {
namespace {

FrameBytes hex(const std::string &text) {
    FrameBytes bytes;
    for (std::size_t at = 0; at + 1 < text.size(); at += 3)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(at, 2), nullptr, 16)));
    return bytes;
}

void append_crc(FrameBytes &bytes) {
    const std::uint16_t crc = rtu_crc(bytes.data(), bytes.size());
    bytes.push_back(static_cast<std::uint8_t>(crc & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(crc >> 8));
}

TraceContext context(int type, int address, int count) {
    return {type, address, count, 0, -1};
}

std::string request(const std::string &bytes, const std::optional<TraceContext> &from = {}) {
    return request_meaning(hex(bytes), from).words;
}

std::string reply(const std::string &bytes, const std::string &asked, const std::optional<TraceContext> &from = {}) {
    return reply_meaning(hex(bytes), hex(asked), from).words;
}

// Two registers from 9008; two coils from 1200; and their replies.
const std::string hex_read_9008 = "01 03 23 30 00 02 CF 80";
const std::string hex_reply_9008 = "01 03 04 00 07 00 08 4A 34";

TEST(TraceFrameWordsTest, CrcOfTheStandardsExample) {
    EXPECT_EQ(rtu_crc(hex("02 07").data(), 2), 0x1241);
    EXPECT_EQ(rtu_crc(nullptr, 0), 0xFFFF);
}

TEST(TraceFrameWordsTest, ReadRequestNamesTableAndTypesOfItsRange) {
    EXPECT_EQ(request(hex_read_9008),
              "station 1 read holding registers 9008..9009 (type 9 no. 8..9 or type 11 no. 508..509)");
    EXPECT_EQ(request(hex_read_9008, context(9, 8, 2)),
              "station 1 read holding registers 9008..9009 (type 9 no. 8..9)");
    EXPECT_EQ(request("01 03 21 3B 00 01 FF FF"),
              "station 1 read holding register 8507 (type 11 no. 7); CRC FF FF is wrong, FF FB would be right");
    EXPECT_EQ(request("01 01 04 B0 00 0A BC DA", context(0, 0, 10)),
              "station 1 read coils 1200..1209 (type 0 no. 0..11)");
    EXPECT_EQ(request("01 02 00 00 00 08 79 CC"), "station 1 read discrete inputs 0..7");
    EXPECT_EQ(request("01 04 00 05 00 01 21 CB"), "station 1 read input register 5");
}

TEST(TraceFrameWordsTest, WriteRequestShowsItsValues) {
    EXPECT_EQ(request("01 05 00 03 FF 00 7C 3A", context(1, 3, 1)), "station 1 write coil 3 (type 1 no. 3) = 1");
    EXPECT_EQ(request("01 05 00 03 00 00 3D CA"), "station 1 write coil 3 (type 1 no. 3) = 0");
    EXPECT_EQ(request("01 05 00 03 12 34 30 BD"),
              "station 1 write coil 3 (type 1 no. 3) = 0x1234, which is neither 1 (FF00) nor 0");
    EXPECT_EQ(request("01 06 00 64 00 2A 49 CA"),
              "station 1 write holding register 100 (type 7 no. 100) = 0x002A (42)");
    EXPECT_EQ(request("01 10 00 64 00 02 04 00 01 FF FE 65 C4", context(7, 100, 2)),
              "station 1 write holding registers 100..101 (type 7 no. 100..101) = 0x0001 0xFFFE (1 65534)");
    EXPECT_EQ(request("01 10 00 64 00 02 04 00 01 FF FE 65 C4", context(12, 100, 2)),
              "station 1 write holding registers 100..101 (type 12 no. 100..101) = 0x0001FFFE (131070)");
    EXPECT_EQ(request("01 0F 00 00 00 0A 02 CD 01 70 68"),
              "station 1 write coils 0..9 (type 1 no. 0..11) = 1011001110");
    EXPECT_EQ(request("00 06 00 64 00 2A 48 1B"),
              "all stations write holding register 100 (type 7 no. 100) = 0x002A (42)");
}

TEST(TraceFrameWordsTest, WriteWhoseCountsDisagreeIsABadRequest) {
    const FrameMeaning meaning = request_meaning(hex("01 10 00 64 00 03 04 00 01 00 02 25 A4"), {});
    EXPECT_EQ(meaning.words, "station 1 write holding registers 100..102 (type 7 no. 100..102) = 0x0001 0x0002 (1 2); "
                             "byte count 4, quantity and 4 bytes of data do not agree");
    EXPECT_TRUE(meaning.failed);
    EXPECT_TRUE(request_meaning(hex("01 10 00 64 00 02 04 00 01 8F F1"), {}).failed) << "a register is missing";
}

TEST(TraceFrameWordsTest, LongValuesAreCutShort) {
    FrameBytes write = hex("01 10 00 00 00 14 28");
    for (int i = 0; i < 20; ++i) {
        write.push_back(0);
        write.push_back(static_cast<std::uint8_t>(i));
    }
    append_crc(write);
    const std::string words = request_meaning(write, {}).words;
    EXPECT_NE(words.find("0x000F (0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15) and 4 more"), std::string::npos) << words;
}

TEST(TraceFrameWordsTest, OddRequestsAreDescribedToo) {
    EXPECT_EQ(request(""), "nothing was sent");
    EXPECT_EQ(request("01 03 23"), "too short for a request: 3 bytes");
    EXPECT_EQ(request("01 08 00 00 12 34 ED 7C"), "station 1 function 8 (diagnostics), 4 bytes of data");
    EXPECT_EQ(request("01 63 40 09"), "station 1 function 99, 0 bytes of data");
    EXPECT_EQ(request("01 03 00 00 00 00 45 CA"), "station 1 read no holding registers at 0");
    EXPECT_EQ(
        request("01 03 FF FF 00 02 C4 2F"),
        "station 1 read holding registers 65535..65536 (type 7 no. 23535..23536 or type 8 no. 53791..53792 or type "
        "10 no. 56035..56036 or others), beyond 65535");
}

TEST(TraceFrameWordsTest, RemoteStationsRequestGetsARemark) {
    EXPECT_EQ(request("16 03 00 02 01 00 08 00 00 00 64 00 0A FF FF FF FF 00 00 00 00 8E"),
              "remote station's request: station 1 read type 8 address 100, 10 units");
    EXPECT_EQ(request("18 03 01 02 01 00 08 00 00 00 64 00 01 00 00 00 00 00 00 00 00 12 34 D2"),
              "remote station's request: station 1 write type 8 address 100, 1 units, 2 bytes of values");
}

TEST(TraceFrameWordsTest, GoodReplyShowsTheValuesOfTheRange) {
    const FrameMeaning meaning = reply_meaning(hex(hex_reply_9008), hex(hex_read_9008), context(9, 8, 2));
    EXPECT_EQ(meaning.words, "station 1: holding registers 9008..9009 (type 9 no. 8..9) = 0x0007 0x0008 (7 8)");
    EXPECT_FALSE(meaning.failed);
    EXPECT_EQ(meaning.station, 1);
    EXPECT_EQ(meaning.function, 3);
    EXPECT_EQ(reply("01 01 02 CD 01 2C AC", "01 01 04 B0 00 0A BC DA", context(0, 0, 10)),
              "station 1: coils 1200..1209 (type 0 no. 0..11) = 1011001110");
}

TEST(TraceFrameWordsTest, GoodEchoOfAWrite) {
    const std::string coil = "01 05 00 03 FF 00 7C 3A", registers = "01 10 00 64 00 02 04 00 01 FF FE 65 C4";
    EXPECT_EQ(reply(coil, coil), "station 1: written, coil 3 (type 1 no. 3) = 1");
    const FrameMeaning meaning = reply_meaning(hex("01 10 00 64 00 02 00 17"), hex(registers), {});
    EXPECT_EQ(meaning.words, "station 1: written, holding registers 100..101 (type 7 no. 100..101)");
    EXPECT_FALSE(meaning.failed);
}

TEST(TraceFrameWordsTest, EchoThatDiffersIsABadReply) {
    const FrameMeaning meaning = reply_meaning(hex("01 05 00 03 00 00 3D CA"), hex("01 05 00 03 FF 00 7C 3A"), {});
    EXPECT_EQ(meaning.words, "station 1: confirms coil 3 (type 1 no. 3) = 0, which is not what was written");
    EXPECT_TRUE(meaning.failed);
    EXPECT_EQ(reply("01 05 00 04 FF 00 CD FB", "01 05 00 03 FF 00 7C 3A"),
              "station 1: confirms coil 4 (type 1 no. 4) = 1, which is not what was written");
    EXPECT_EQ(reply("01 10 00 64 00 01 40 16", "01 10 00 64 00 02 04 00 01 FF FE 65 C4"),
              "station 1: confirms holding register 100 (type 7 no. 100), which is not what was written");
}

TEST(TraceFrameWordsTest, ExceptionsHaveTheStandardsText) {
    const FrameMeaning meaning = reply_meaning(hex("01 83 02 C0 F1"), hex(hex_read_9008), {});
    EXPECT_EQ(meaning.words, "station 1 refuses: illegal data address (exception 2)");
    EXPECT_TRUE(meaning.failed);
    EXPECT_EQ(meaning.function, 3);
    EXPECT_EQ(exception_words(1), "illegal function");
    EXPECT_EQ(exception_words(3), "illegal data value");
    EXPECT_EQ(exception_words(4), "server device failure");
    EXPECT_EQ(exception_words(6), "server device busy");
    EXPECT_EQ(exception_words(8), "memory parity error");
    EXPECT_EQ(exception_words(10), "gateway path unavailable");
    EXPECT_EQ(exception_words(11), "gateway target device failed to respond");
    EXPECT_EQ(exception_words(9), "not in the standard");
}

TEST(TraceFrameWordsTest, BadRepliesSayWhatIsWrong) {
    EXPECT_EQ(reply("", hex_read_9008), "no reply");
    EXPECT_EQ(reply("01 03 04", hex_read_9008), "cut short: 3 of 9 bytes");
    EXPECT_EQ(reply("01 03 04 00 07 00", hex_read_9008), "cut short: 6 of 9 bytes");
    EXPECT_EQ(reply("01 03 04 00 07 00 08 4A 35", hex_read_9008), "CRC 4A 35 is wrong, 4A 34 would be right");
    EXPECT_EQ(reply("01 83 02 C0 F2", hex_read_9008), "CRC C0 F2 is wrong, C0 F1 would be right");
    EXPECT_EQ(reply("02 03 04 00 07 00 08 79 34", hex_read_9008), "station 2 answers, station 1 was asked");
    EXPECT_EQ(reply("01 04 04 00 07 00 08 4B 83", hex_read_9008),
              "station 1 answers function 4 (read input registers), function 3 (read holding registers) was asked");
    EXPECT_EQ(reply("01 03 02 00 07 F9 86", hex_read_9008), "station 1: 2 bytes of data, 4 are expected");
    EXPECT_EQ(reply("01 03 05 00 07 00 08 77 F4", hex_read_9008), "station 1: byte count 5, but 4 bytes of data");
    EXPECT_EQ(reply("01 03 03 00 07 00 47 BE", hex_read_9008),
              "station 1: byte count 3, which is not a whole number of registers");
    EXPECT_EQ(reply("A5 5A FF 00", hex_read_9008),
              "noise or a garbled reply, 4 bytes: station, function and CRC are wrong");
    EXPECT_EQ(reply("A5", hex_read_9008), "noise, 1 byte: too short for a reply");
    EXPECT_EQ(reply("01 6A 8B 00 00", hex_read_9008), "station 1: special reply 6A 8B, the request stays in flight");
}

TEST(TraceFrameWordsTest, WholeReplyAmongNoiseIsFound) {
    const FrameMeaning meaning = reply_meaning(hex("FF 00 " + hex_reply_9008 + " 55"), hex(hex_read_9008), {});
    EXPECT_EQ(meaning.words,
              "2 bytes of noise before and 1 byte too many after a whole reply; station 1: holding registers "
              "9008..9009 (type 9 no. 8..9 or type 11 no. 508..509) = 0x0007 0x0008 (7 8)");
    EXPECT_TRUE(meaning.failed);
}

TEST(TraceFrameWordsTest, WholeReplyOfAnotherStationAmongNoiseIsNoise) {
    EXPECT_EQ(reply("FF 02 03 04 00 07 00 08 79 34", hex_read_9008),
              "noise or a garbled reply, 10 bytes: station, function and CRC are wrong");
}

TEST(TraceFrameWordsTest, BroadcastGetsNoReply) {
    const FrameMeaning meaning = reply_meaning({}, hex("00 06 00 64 00 2A 48 1B"), {});
    EXPECT_EQ(meaning.words, "no reply, none is expected to a broadcast");
    EXPECT_FALSE(meaning.failed);
}

TEST(TraceFrameWordsTest, ReplyWithoutAKnownRequestIsJudgedByItself) {
    EXPECT_EQ(reply(hex_reply_9008, ""), "station 1: 0x0007 0x0008 (7 8)");
    EXPECT_EQ(reply("01 03 04 00 07 00 08 4A 35", ""), "CRC 4A 35 is wrong, 4A 34 would be right");
}

TEST(TraceFrameWordsTest, BytesThrownAwayMayBeALateReply) {
    const FrameMeaning late = discarded_meaning(hex(hex_reply_9008));
    EXPECT_EQ(late.words,
              "thrown away: 9 bytes with a whole reply of station 1 to function 3 (read holding registers), "
              "too late");
    EXPECT_EQ(late.station, 1);
    EXPECT_EQ(discarded_meaning(hex("FF 00")).words, "thrown away: 2 bytes not expected");
}

bool one_ascii_line(const std::string &words) {
    for (const char character : words)
        if (character < ' ' || character > '~')
            return false;
    return !words.empty();
}

TEST(TraceFrameWordsTest, AnyBytesGiveOneLine) {
    std::mt19937 random(20261121);
    const auto below = [&random](unsigned limit) {
        return static_cast<int>(random() % limit);
    };
    const std::vector<std::string> seeds = {hex_read_9008, hex_reply_9008, "01 10 00 64 00 02 04 00 01 FF FE 65 C4",
                                            "01 83 02 C0 F1",
                                            "16 03 00 02 01 00 08 00 00 00 64 00 0A FF FF FF FF 00 00 00 00 8E"};
    const auto any = [&] {
        FrameBytes bytes = below(2) == 0 ? FrameBytes() : hex(seeds[static_cast<std::size_t>(below(5))]);
        for (int i = below(3) == 0 ? below(300) : below(4); i > 0; --i)
            bytes.push_back(static_cast<std::uint8_t>(below(256)));
        for (int i = bytes.empty() ? 0 : below(3); i > 0; --i)
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(below(256));
        bytes.resize(bytes.size() - random() % (bytes.size() + 1) * (random() % 2));
        if (below(2) == 0)
            append_crc(bytes);
        return bytes;
    };
    for (int round = 0; round < 5000; ++round) {
        const FrameBytes asked = any(), answer = any();
        std::optional<TraceContext> from;
        if (below(2) == 0)
            from = context(below(30) - 5, static_cast<int>(random()), static_cast<int>(random()));
        ASSERT_TRUE(one_ascii_line(request_meaning(asked, from).words));
        ASSERT_TRUE(one_ascii_line(reply_meaning(answer, asked, from).words));
        ASSERT_TRUE(one_ascii_line(discarded_meaning(answer).words));
    }
}

}  // namespace
}  // namespace kelpo
