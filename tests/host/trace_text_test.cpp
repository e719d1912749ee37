#include "host/trace/trace_text.h"

#include "host/frames/return_codes.h"
#include "host/text/words.h"

#include <gtest/gtest.h>

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;
using Lines = std::vector<std::string>;

const FrameBytes read_9008 = {0x01, 0x03, 0x23, 0x30, 0x00, 0x02, 0xCF, 0x80};
const FrameBytes reply_9008 = {0x01, 0x03, 0x04, 0x00, 0x07, 0x00, 0x08, 0x4A, 0x34};
const FrameBytes refusal = {0x01, 0x83, 0x02, 0xC0, 0xF1};
const FrameBytes write_to_2 = {0x02, 0x06, 0x00, 0x64, 0x00, 0x2A, 0x49, 0xF9};
const TraceContext type_9{9, 8, 2, 0, -1};

// 21 November 2026, noon UTC, plus microseconds.
TraceTime at(std::int64_t microseconds) {
    return TraceTime(std::chrono::microseconds(1795262400000000 + microseconds));
}

TraceRecord sent(const FrameBytes &bytes, std::int64_t time = 0) {
    return {at(time), Direction::sent, bytes, type_9, {}};
}

TraceRecord received(const FrameBytes &bytes, std::int64_t time = 12345) {
    return {at(time), Direction::received, bytes, type_9, {}};
}

TraceRecord note(const std::string &text) {
    return {at(0), Direction::note, {}, {}, text};
}

// What is shown of the records, without the date.
Lines shown(const std::vector<TraceRecord> &records, const TraceFilter &filter = {}, bool coloured = false) {
    TraceFormatter formatter({coloured, TimeZone::utc}, filter);
    Lines all;
    for (const TraceRecord &record : records)
        for (const std::string &line : formatter.lines(record))
            if (line.substr(0, 4) != "----")
                all.push_back(line);
    return all;
}

const std::string read_line = "12:00:00.000000 > 01 03 23 30 00 02 CF 80   station 1 read holding registers 9008..9009 "
                              "(type 9 no. 8..9)";

TEST(TraceTextTest, AnExchangeIsTwoLines) {
    EXPECT_EQ(shown({sent(read_9008, 1), received(reply_9008)}),
              (Lines{"12:00:00.000001 > 01 03 23 30 00 02 CF 80   station 1 read holding registers 9008..9009 (type 9 "
                     "no. 8..9)",
                     "12:00:00.012345 < 01 03 04 00 07 00 08 4A 34   station 1: holding registers 9008..9009 (type 9 "
                     "no. 8..9) = 0x0007 0x0008 (7 8) [12.3 ms]"}));
}

TEST(TraceTextTest, BytesThrownAwayNotesAndMissingRepliesAreLinesToo) {
    EXPECT_EQ(shown({{at(0), Direction::discarded, {0xFF}, {}, {}}, note("line lost"), sent(read_9008), received({})}),
              (Lines{"12:00:00.000000 ~ FF                        thrown away: 1 byte not expected",
                     "12:00:00.000000 * line lost", read_line,
                     "12:00:00.012345 <                           no reply [12.3 ms]"}));
}

TEST(TraceTextTest, TheSameRequestAfterAFailureIsMarked) {
    const Lines lines = shown({sent(read_9008), received({}), sent(read_9008), received(reply_9008), sent(read_9008)});
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[2], read_line + ", again");
    EXPECT_EQ(lines[4], read_line);
}

TEST(TraceTextTest, TheDateIsAboveTheFirstLineOfEachDay) {
    TraceFormatter formatter({false, TimeZone::utc}, {});
    constexpr std::int64_t half_a_day = 43200000000;
    EXPECT_EQ(formatter.lines(note("one")), (Lines{"---- 2026-11-21", "12:00:00.000000 * one"}));
    EXPECT_EQ(formatter.lines(note("two")), (Lines{"12:00:00.000000 * two"}));
    EXPECT_EQ(formatter.lines({at(half_a_day), Direction::note, {}, {}, "three"}),
              (Lines{"---- 2026-11-22", "00:00:00.000000 * three"}));
}

TEST(TraceTextTest, StationFilterKeepsThatStationsExchangesAndTheNotes) {
    TraceFilter filter;
    filter.station = 2;
    const Lines lines =
        shown({note("open"), sent(read_9008), received(reply_9008), sent(write_to_2), received(reply_9008)}, filter);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "12:00:00.000000 * open");
    EXPECT_NE(lines[1].find("station 2 write"), std::string::npos);
    EXPECT_NE(lines[2].find("station 1 answers, station 2 was asked"), std::string::npos);
}

TEST(TraceTextTest, FunctionFilterLooksAtTheRequest) {
    TraceFilter filter;
    filter.function = 6;
    const Lines lines = shown({sent(read_9008), received(reply_9008), sent(write_to_2), received(write_to_2)}, filter);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find("station 2 write"), std::string::npos);
    EXPECT_NE(lines[1].find("station 2: written"), std::string::npos);
}

TEST(TraceTextTest, FailuresOnlyShowsTheRequestOnceItsReplyFailed) {
    TraceFilter filter;
    filter.failures = true;
    EXPECT_EQ(
        shown({sent(read_9008), received(reply_9008), sent(read_9008), received(refusal), sent(read_9008)}, filter),
        (Lines{read_line, "12:00:00.012345 < 01 83 02 C0 F1            station 1 refuses: illegal data address "
                          "(exception 2) [12.3 ms]"}));
}

TEST(TraceTextTest, RequestsAndFailuresAreCountedWhateverIsShown) {
    TraceFilter filter;
    filter.station = 7;
    TraceFormatter formatter({}, filter);
    for (const TraceRecord &record : {sent(read_9008), received(refusal), sent(read_9008), received(reply_9008)})
        formatter.lines(record);
    EXPECT_EQ(formatter.requests(), 2U);
    EXPECT_EQ(formatter.failures(), 1U);
}

TEST(TraceTextTest, ColoursOnlyWhenAskedFor) {
    EXPECT_EQ(shown({sent(read_9008), received({})}, {}, true),
              (Lines{"12:00:00.000000 > 01 03 23 30 00 02 CF 80   \033[36mstation 1 read holding registers 9008..9009 "
                     "(type 9 no. 8..9)\033[0m",
                     "12:00:00.012345 <                           \033[31mno reply [12.3 ms]\033[0m"}));
}

TEST(TraceTextTest, NotesCannotSteerATerminal) {
    EXPECT_EQ(shown({note("a\033b")}), (Lines{"12:00:00.000000 * a\\x1Bb"}));
}

TEST(TraceTextTest, DriverReturnCodesInWords) {
    EXPECT_EQ(return_code_words(0), "the reply failed, the same request is sent again");
    EXPECT_EQ(return_code_words(1), "good reply");
    EXPECT_EQ(return_code_words(10), "unknown driver code 10");
    EXPECT_EQ(return_code_words(11), "given up: the check of the reply failed");
    EXPECT_EQ(return_code_words(22), "given up: the check of the reply failed");
    EXPECT_EQ(return_code_words(23), "unknown driver code 23");
    EXPECT_EQ(return_code_words(41), "given up: no reply");
    EXPECT_EQ(return_code_words(71), "given up: a reply of the wrong length, or an exception");
    EXPECT_EQ(return_code_words(152), "given up: no reply, remote area");
    EXPECT_EQ(return_code_words(1000), "not judged, the request stays in flight");
}

}  // namespace
}  // namespace kelpo
