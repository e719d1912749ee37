#include "host/frames/trace_file.h"

#include "host/frames/trace_time.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;

TraceTime at(std::int64_t microseconds) {
    return TraceTime(std::chrono::microseconds(microseconds));
}

struct Read {
    std::vector<TraceRecord> records;
    std::vector<std::string> mistakes;
    std::size_t count;
};

Read read(const std::string &text) {
    Read result;
    std::istringstream in(text);
    result.count = read_trace(in, "my.trace",
                              {[&result](const TraceRecord &record) {
                                   result.records.push_back(record);
                                   return true;
                               },
                               [&result](const std::string &mistake) {
                                   result.mistakes.push_back(mistake);
                               }});
    return result;
}

// The only mistake in a file whose third line is `line`.
std::string mistake(const std::string &line) {
    const Read result = read("# kelpo trace 1\n\n" + line + "\n2026-11-21 12:00:00.000000 * end\n");
    EXPECT_EQ(result.records.size(), 1U) << "the line after the mistake is read";
    return result.mistakes.size() == 1 ? result.mistakes.front() : "not one mistake";
}

void expect_equal(const TraceRecord &one, const TraceRecord &other) {
    EXPECT_EQ(one.time, other.time);
    EXPECT_EQ(one.direction, other.direction);
    EXPECT_EQ(one.bytes, other.bytes);
    EXPECT_EQ(one.context, other.context);
    EXPECT_EQ(one.text, other.text);
}

TEST(TraceFileTest, LinesAsTheyAreWritten) {
    EXPECT_EQ(trace_file_head(), "# kelpo trace 1\n# times are UTC; > sent, < received, ~ thrown away, * note\n");
    EXPECT_EQ(trace_file_line({at(1795262400000001), Direction::sent, {0x01, 0xAB}, TraceContext{9, 8, 2, 3, -1}, {}}),
              "2026-11-21 12:00:00.000001 > 01 AB | type=9 address=8 count=2 group=3 id=-1\n");
    EXPECT_EQ(trace_file_line({at(0), Direction::received, {}, {}, {}}), "1970-01-01 00:00:00.000000 <\n");
    EXPECT_EQ(trace_file_line({at(0), Direction::discarded, {0xFF}, {}, {}}), "1970-01-01 00:00:00.000000 ~ FF\n");
    EXPECT_EQ(trace_file_line({at(0), Direction::note, {}, {}, "line\nlost"}),
              "1970-01-01 00:00:00.000000 * line\\x0Alost\n");
}

TEST(TraceFileTest, WhatIsWrittenIsReadBack) {
    const std::vector<TraceRecord> records = {
        {at(1795262400123456), Direction::sent, {0x01, 0x03, 0xFF}, TraceContext{9, 8, 2, 0, -1}, {}},
        {at(1795262400123457), Direction::received, {}, TraceContext{15, 1603, 1, 11, 2147483647}, {}},
        {at(1795262400123458), Direction::received, {0x00}, {}, {}},
        {at(4102444799999999), Direction::discarded, FrameBytes(1024, 0xA5), {}, {}},
        {at(951782400000000), Direction::note, {}, {}, "line lost: \"/dev/ttyUSB0\"  | gone"},
        {at(0), Direction::note, {}, {}, ""}};
    std::string text = trace_file_head();
    for (const TraceRecord &record : records)
        text += trace_file_line(record);
    const Read result = read(text);
    EXPECT_EQ(result.count, 0U);
    ASSERT_EQ(result.records.size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i)
        expect_equal(result.records[i], records[i]);
}

TEST(TraceFileTest, LineEndsOfOtherSystemsAndAMissingLastOneAreTaken) {
    const Read result = read("# kelpo trace 1\r\n2026-11-21 12:00:00.000000 > 01 03\r\n"
                             "2026-11-21 12:00:00.000000   <   0a");
    EXPECT_TRUE(result.mistakes.empty());
    ASSERT_EQ(result.records.size(), 2U);
    EXPECT_EQ(result.records[0].bytes, (FrameBytes{1, 3}));
    EXPECT_EQ(result.records[1].bytes, (FrameBytes{10}));
}

TEST(TraceFileTest, MistakesNameFileLineAndWhatWouldBeRight) {
    EXPECT_EQ(mistake("nonsense"),
              "my.trace:3: \"nonsense\" \"\" is not a time; date and time, such as 2026-11-21 05:31:26.123456");
    EXPECT_EQ(mistake("2026-02-29 12:00:00.000000 > 01"),
              "my.trace:3: \"2026-02-29\" \"12:00:00.000000\" is not a time; date and time, such as 2026-11-21 "
              "05:31:26.123456");
    EXPECT_EQ(mistake("2026-11-21 12:00:00.000000 ? 01"),
              "my.trace:3: \"?\" is not a direction; > sent, < received, ~ thrown away, * a note");
    EXPECT_EQ(mistake("2026-11-21 12:00:00.000000 > 01 0G"),
              "my.trace:3: \"0G\" is not a byte; two hexadecimal digits, such as 0A");
    EXPECT_EQ(mistake("2026-11-21 12:00:00.000000 > 1"),
              "my.trace:3: \"1\" is not a byte; two hexadecimal digits, such as 0A");
    EXPECT_EQ(mistake("2026-11-21 12:00:00.000000 >"), "my.trace:3: no bytes; only a reply may have none");
    EXPECT_EQ(mistake("2026-11-21 12:00:00.000000 > 01 | type=9 address=8"),
              "my.trace:3: nothing is where count=NUMBER is expected; after | come type, address, count, group, id");
    EXPECT_EQ(mistake("2026-11-21 12:00:00.000000 > 01 | type=9 address=8 count=x group=0 id=0"),
              "my.trace:3: \"count=x\" has no whole number after its =");
    EXPECT_EQ(mistake("2026-11-21 12:00:00.000000 > 01 | type=9 address=8 count=1 group=0 id=99999999999"),
              "my.trace:3: \"id=99999999999\" has no whole number after its =");
    EXPECT_EQ(mistake("2026-11-21 12:00:00.000000 > 01 | type=9 address=8 count=1 group=0 id=1 x"),
              "my.trace:3: \"x\" comes after id=NUMBER, which ends the line");
}

TEST(TraceFileTest, LongLinesAndFramesAreBounded) {
    EXPECT_EQ(mistake(std::string(9000, ' ')), "my.trace:3: a line of more than 8192 bytes");
    std::string line = "2026-11-21 12:00:00.000000 <";
    for (int i = 0; i < 1025; ++i)
        line += " 00";
    EXPECT_EQ(mistake(line), "my.trace:3: more than 1024 bytes");
    EXPECT_EQ(mistake(std::string(70, 'x')), "my.trace:3: \"" + std::string(59, 'x') +
                                                 "...\" \"\" is not a time; date and time, such as 2026-11-21 "
                                                 "05:31:26.123456");
}

TEST(TraceFileTest, AFileThatIsNoTraceIsRefusedAtOnce) {
    const Read other = read("[line]\npath = \"/dev/ttyUSB0\"\n");
    EXPECT_EQ(other.mistakes, (std::vector<std::string>{
                                  "my.trace:1: this is not a saved trace; its first line would be # kelpo trace 1"}));
    EXPECT_EQ(read("").count, 1U);
    EXPECT_EQ(read("# kelpo trace 2\n2026-11-21 12:00:00.000000 > 01\n").mistakes,
              (std::vector<std::string>{
                  "my.trace:1: a saved trace of another version, \"2\"; this program reads version 1"}));
}

TEST(TraceFileTest, TooManyMistakesEndTheReading) {
    std::string text = "# kelpo trace 1\n";
    for (int i = 0; i < 200; ++i)
        text += "x\n";
    const Read result = read(text);
    EXPECT_EQ(result.count, 100U);
    EXPECT_EQ(result.mistakes.size(), 101U);
    EXPECT_EQ(result.mistakes.back(), "my.trace: 100 mistakes; the rest is not read");
}

TEST(TraceFileTest, AnyBytesAreTaken) {
    std::mt19937 random(7);
    const std::string good = "# kelpo trace 1\n2026-11-21 12:00:00.000000 > 01 03 | type=9 address=8 count=2 group=0 "
                             "id=-1\n2026-11-21 12:00:00.000000 * note\n";
    for (int round = 0; round < 5000; ++round) {
        std::string text = good;
        for (auto i = random() % 6; i > 0; --i)
            text[random() % text.size()] = static_cast<char>(random() & 0xFF);
        text.resize(text.size() - (random() % 2) * (random() % text.size()));
        for (const TraceRecord &record : read(text).records)
            EXPECT_FALSE(trace_file_line(record).empty());
    }
}

TEST(TraceFileTest, TimesGoThereAndBackOverTheYears) {
    std::mt19937_64 random(3);
    for (int round = 0; round < 2000; ++round) {
        const TraceTime time = at(static_cast<std::int64_t>(random() % 4291747199999999));  // to the end of 2105
        EXPECT_EQ(time_from(date_text(time, TimeZone::utc), clock_text(time, TimeZone::utc)), time);
    }
    EXPECT_EQ(date_text(at(951782400000000), TimeZone::utc), "2000-02-29");
    EXPECT_EQ(date_text(at(4107542400000000), TimeZone::utc), "2100-03-01");
    EXPECT_EQ(time_from("2100-02-29", "00:00:00.000000"), std::nullopt);
    EXPECT_EQ(time_from("2106-01-01", "00:00:00.000000"), std::nullopt);
    EXPECT_EQ(time_from("2026-11-21", "24:00:00.000000"), std::nullopt);
    EXPECT_EQ(clock_text(TraceTime::min(), TimeZone::utc), "00:00:00.000000");
    EXPECT_FALSE(date_text(TraceTime::max(), TimeZone::local).empty());
}

}  // namespace
}  // namespace kelpo
