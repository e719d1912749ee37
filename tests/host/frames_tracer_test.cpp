#include "host/frames/tracer.h"

#include <gtest/gtest.h>

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;
using std::chrono::microseconds;

const std::string read_9008("\x01\x03\x23\x30\x00\x02\xCF\x80", 8);
const std::string reply_9008("\x01\x03\x04\x00\x07\x00\x08\x4A\x34", 9);

class Kept : public TraceSink {
public:
    void take(const TraceRecord &record) override {
        records.push_back(record);
    }

    std::vector<TraceRecord> records;
};

class TracerTest : public testing::Test {
protected:
    // 10 ms pass from the request to the reply.
    Exchange exchange(std::string_view reply, Outcome outcome, int code) const {
        Exchange exchange{};
        exchange.sent_at = Exchange::Time(microseconds(5000000));
        exchange.ended_at = Exchange::Time(microseconds(5010000));
        exchange.request = read_9008;
        exchange.reply = reply;
        exchange.expected_length = 9;
        exchange.station = 1;
        exchange.type = 9;
        exchange.address = 8;
        exchange.count = 2;
        exchange.name = {3, 42};
        exchange.code = code;
        exchange.outcome = outcome;
        return exchange;
    }

    const std::vector<TraceRecord> &records() const {
        return kept.records;
    }

    Kept kept;
    Tracer tracer{{&kept}};
};

TEST_F(TracerTest, AGoodExchangeIsARequestAndAReply) {
    tracer.exchanged(exchange(reply_9008, Outcome::good, 1));
    ASSERT_EQ(records().size(), 2U);
    EXPECT_EQ(records()[0].direction, Direction::sent);
    EXPECT_EQ(records()[0].time, TraceTime(microseconds(5000000)));
    EXPECT_EQ(records()[0].bytes, (FrameBytes{0x01, 0x03, 0x23, 0x30, 0x00, 0x02, 0xCF, 0x80}));
    EXPECT_EQ(records()[0].context, (TraceContext{9, 8, 2, 3, 42}));
    EXPECT_EQ(records()[1].direction, Direction::received);
    EXPECT_EQ(records()[1].time, TraceTime(microseconds(5010000)));
    EXPECT_EQ(records()[1].bytes, (FrameBytes{0x01, 0x03, 0x04, 0x00, 0x07, 0x00, 0x08, 0x4A, 0x34}));
    EXPECT_EQ(records()[1].context, (TraceContext{9, 8, 2, 3, 42}));
}

TEST_F(TracerTest, WhatWasThrownAwayComesBeforeTheRequest) {
    Exchange after_noise = exchange(reply_9008, Outcome::good, 1);
    after_noise.stale = "\xFF";
    tracer.exchanged(after_noise);
    ASSERT_EQ(records().size(), 3U);
    EXPECT_EQ(records()[0].direction, Direction::discarded);
    EXPECT_EQ(records()[0].bytes, (FrameBytes{0xFF}));
    EXPECT_EQ(records()[1].direction, Direction::sent);
}

TEST_F(TracerTest, AGivenUpRequestEndsWithANote) {
    tracer.exchanged(exchange({}, Outcome::given_up, 45));
    ASSERT_EQ(records().size(), 3U);
    EXPECT_EQ(records()[1].direction, Direction::received);
    EXPECT_TRUE(records()[1].bytes.empty());
    EXPECT_EQ(records()[2].direction, Direction::note);
    EXPECT_EQ(records()[2].text, "given up: no reply (driver code 45)");
}

TEST_F(TracerTest, AReplyThatLooksGoodAndIsNotTakenGetsARemark) {
    tracer.exchanged(exchange(reply_9008, Outcome::sent_again, 0));
    ASSERT_EQ(records().size(), 3U);
    EXPECT_EQ(records()[2].text, "the driver does not take this reply (driver code 0)");
    tracer.exchanged(exchange({}, Outcome::sent_again, 0));
    EXPECT_EQ(records().size(), 5U) << "a missing reply speaks for itself";
}

TEST_F(TracerTest, TheLineComesAndGoes) {
    tracer.line_opened();
    tracer.line_lost("/dev/ttyUSB0: hung up", std::chrono::milliseconds(500));
    ASSERT_EQ(records().size(), 2U);
    EXPECT_EQ(records()[0].text, "line open");
    EXPECT_EQ(records()[1].text, "line lost: /dev/ttyUSB0: hung up; next try in 0.5 s");
}

TraceRecord note(const std::string &text) {
    return {TraceTime(microseconds(7)), Direction::note, {}, {}, text};
}

TEST_F(TracerTest, QueueHandsOutEachRecordOnceAndSaysWhatItLeftOut) {
    TraceQueue queue(2);
    for (const char *text : {"a", "b", "c", "d"})
        queue.take(note(text));
    const std::vector<TraceRecord> taken = queue.taken();
    ASSERT_EQ(taken.size(), 3U);
    EXPECT_EQ(taken[0].text, "a");
    EXPECT_EQ(taken[1].text, "b");
    EXPECT_EQ(taken[2].text, "2 records left out, the output was too slow");
    EXPECT_EQ(taken[2].time, TraceTime(microseconds(7)));
    EXPECT_TRUE(queue.taken().empty());
    queue.take(note("e"));
    EXPECT_EQ(queue.taken().size(), 1U);
}

TEST_F(TracerTest, RingKeepsTheLastRecords) {
    TraceRing ring(2);
    for (const char *text : {"a", "b", "c"})
        ring.take(note(text));
    ASSERT_EQ(ring.last().size(), 2U);
    EXPECT_EQ(ring.last()[0].text, "b");
    EXPECT_EQ(ring.last()[1].text, "c");
    EXPECT_EQ(ring.count(), 3U);
}

TEST_F(TracerTest, ARequestToAStationThatRestsSaysWhatItIsFor) {
    tracer.station_rests(1, std::chrono::milliseconds(1000));
    tracer.line_probed(exchange({}, Outcome::good, 0), ProbePurpose::rest);
    tracer.rest_ended(1, true);
    tracer.line_probed(exchange({}, Outcome::good, 0), ProbePurpose::echo);
    tracer.rest_ended(2, false);
    ASSERT_EQ(records().size(), 9U);
    EXPECT_EQ(records()[0].text, "station 1 rests; next try in 1.0 s");
    EXPECT_EQ(records()[1].text, "does station 1 answer again? a request of the host's own:");
    EXPECT_EQ(records()[2].direction, Direction::sent);
    EXPECT_EQ(records()[3].direction, Direction::received);
    EXPECT_EQ(records()[4].text, "station 1 answers and is asked as before");
    EXPECT_EQ(records()[5].text, "does the line return what is sent? a request of the host's own:");
    EXPECT_EQ(records()[8].text, "station 2 was switched and is asked as before");
}

}  // namespace
}  // namespace kelpo
