#include "player.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

// A short exchange that is as stated, in pieces that a test replaces.
struct Exchange {
    std::string prose = "# A read of one register.\n# Two lines of prose.\n";
    std::string host = "host: max_count 100, default_station 1, write_mode 2, channel_id 7\n";
    std::string poll = "poll: station 1 type 7 address 0 count 1\n";
    std::string blocks = "blocks: station 1 class 7 from 0 count 1\n";
    std::string frame = "next frame: 01 03 00 00 00 01 84 0A\n";
    std::string reply = "reply: 01 03 02 00 2A 39 9B\n";
    std::string returns = "returns: 1\n";
    std::string after = "cache: station 1 class 7 from 0: 0x002A -\n";

    std::string text() const {
        return prose + host + poll + blocks + frame + reply + returns + after;
    }
};

std::vector<transcripts::Complaint> play(const std::string &text) {
    std::istringstream stream(text);
    return transcripts::play(stream);
}

// The complaints as "line: text", one below the other.
std::string complaints(const Exchange &exchange) {
    std::ostringstream text;
    for (const transcripts::Complaint &complaint : play(exchange.text()))
        text << complaint.line << ": " << complaint.text << "\n";
    return text.str();
}

// With `statement` at its end, the exchange gets a single complaint, for the line of the statement, which contains
// `why`.
void expect_refused(const std::string &statement, const std::string &why) {
    Exchange exchange;
    exchange.after = statement + "\n";
    const std::vector<transcripts::Complaint> found = play(exchange.text());
    ASSERT_EQ(found.size(), 1u) << statement;
    EXPECT_EQ(found[0].text.substr(0, 11), "malformed: ") << statement;
    EXPECT_NE(found[0].text.find(why), std::string::npos) << statement << "\n" << found[0].text;
    EXPECT_EQ(found[0].line, 9) << statement;
}

TEST(TranscriptLanguage, AnExchangeThatIsAsStatedHasNoComplaint) {
    EXPECT_EQ(complaints(Exchange()), "");
}

TEST(TranscriptLanguage, RemarksBlankLinesAndIndentedLinesAreRead) {
    Exchange exchange;
    exchange.frame =
        "\nnext frame:       <- a remark\n    01 03 00 00\n    00 01 84 0A\n    expects 7 bytes, data at 3, 2 long\n"
        "# prose between\n    for station 1 class 7\n";
    EXPECT_EQ(complaints(exchange), "");
}

TEST(TranscriptLanguage, NamesTheLineAndBothValuesOfADifference) {
    Exchange exchange;
    exchange.after = "cache: station 1 class 7 from 0: 0x002B\n";
    EXPECT_EQ(complaints(exchange), "9: cache: address 0\n  expected: 0x002B\n  found:    0x002A\n");
}

TEST(TranscriptLanguage, AFrameIsComparedToItsLastByte) {
    Exchange exchange;
    exchange.frame = "next frame: 01 03 00 00 00 01 84 0B\n";
    EXPECT_EQ(complaints(exchange),
              "6: next frame\n  expected: 01 03 00 00 00 01 84 0B\n  found:    01 03 00 00 00 01 84 0A\n");
    exchange.frame = "next frame: none\n";
    EXPECT_EQ(complaints(exchange), "6: next frame\n  expected: none\n  found:    01 03 00 00 00 01 84 0A\n");
}

TEST(TranscriptLanguage, WhatAFrameExpectsAndServesIsCompared) {
    Exchange exchange;
    exchange.frame =
        "next frame: 01 03 00 00 00 01 84 0A\n    expects 7 bytes, data at 3, 3 long\n    for class 8 from 0\n";
    EXPECT_EQ(complaints(exchange),
              "6: next frame: expects\n  expected: 7 bytes, data at 3, 3 long\n  found:    7 bytes, data at 3, 2 long\n"
              "8: next frame: for\n  expected: class 8 from 0\n  found:    class 7 from 0\n");
}

TEST(TranscriptLanguage, AWrongReturnValueIsFound) {
    Exchange exchange;
    exchange.returns = "returns: 0\n";
    EXPECT_EQ(complaints(exchange), "8: returns\n  expected: 0\n  found:    1\n");
}

TEST(TranscriptLanguage, AReturnValueHasToBeStated) {
    Exchange exchange;
    exchange.returns = "";
    EXPECT_EQ(complaints(exchange), "8: before this line: returned and not stated: 1\n");
    exchange.after += "next frame: 01 03 00 00 00 01 84 0A\n";
    EXPECT_EQ(complaints(exchange), "9: before this line: returned and not stated: 1\n");
}

TEST(TranscriptLanguage, ACallbackHasToBeStated) {
    Exchange exchange;
    exchange.reply = "reply: none\n";
    exchange.returns = "returns: 41\n";
    exchange.after = "comm_failed: true\n";
    EXPECT_EQ(complaints(exchange),
              "9: before this line: called and not stated: comm_error(empty list, group 0, flag 1)\n");
    exchange.after = "callbacks: none\n";
    EXPECT_EQ(complaints(exchange),
              "9: callbacks: call 1\n  expected: none\n  found:    comm_error(empty list, group 0, flag 1)\n");
    exchange.after = "callbacks: comm_error(empty list, group 0, flag 1)\n";
    EXPECT_EQ(complaints(exchange), "");
}

TEST(TranscriptLanguage, AStatedCallbackHasToHappen) {
    Exchange exchange;
    exchange.after = "callbacks: write_result(channel 7, group 3, id 5, done)\n";
    EXPECT_EQ(complaints(exchange),
              "9: callbacks: call 1\n  expected: write_result(channel 7, group 3, id 5, done)\n  found:    none\n");
}

TEST(TranscriptLanguage, AFrameThatWasBuiltHasToBeStated) {
    Exchange exchange;
    exchange.poll = "poll: station 1 type 8 address 255 count 2\n";
    exchange.blocks = "blocks: 1 entry\n";
    exchange.frame = "next frame: 01 03 20 3F 00 01 BF C6\n";
    exchange.reply = "reply: 01 03 02 00 2A 39 9B\n";
    exchange.after = "in flight: 1 frame\n";
    EXPECT_EQ(complaints(exchange), "9: built and not stated: 01 03 2E E0 00 01 8C D4\n");
}

TEST(TranscriptLanguage, ARepetitionIsNotANewFrame) {
    Exchange exchange;
    exchange.reply = "next frame: 01 03 00 00 00 01 84 0A\nreply: 01 03 02 00 2A 39 9B\n";
    EXPECT_EQ(complaints(exchange), "7: the frame in flight is not retired: a repetition is called \"same frame\"\n");
    exchange.reply = "reply: 01 03 02 00 2A 39 9B\n";
    exchange.after = "same frame: 01 03 00 00 00 01 84 0A\n";
    EXPECT_EQ(complaints(exchange), "9: nothing is in flight that could be repeated\n");
}

TEST(TranscriptLanguage, ListsAreComparedInLengthAndInEveryStatedField) {
    Exchange exchange;
    exchange.blocks = "blocks:\n    station 1 class 7 from 0 count 2\n    station 1\n";
    EXPECT_EQ(complaints(exchange), "5: blocks: returned\n  expected: 2\n  found:    1\n"
                                    "5: blocks: entries\n  expected: 2\n  found:    1\n"
                                    "6: blocks\n  expected: station 1 class 7 from 0 count 2\n"
                                    "  found:    station 1 class 7 from 0 count 1\n");
}

TEST(TranscriptLanguage, StatementsAboutTheStateAreCompared) {
    const struct {
        const char *statement;
        const char *found;
    } checks[] = {
        {"counters: success_count 2", "success_count\n  expected: 2\n  found:    1"},
        {"counters: last_op 1", "last_op\n  expected: 1\n  found:    0"},
        {"comm_failed: true", "comm_failed\n  expected: true\n  found:    false"},
        {"write queue: 1 entry", "write queue: entries\n  expected: 1\n  found:    0"},
        {"once-read queue: 1 entry", "once-read queue: entries\n  expected: 1\n  found:    0"},
        {"read list: class 8", "read list\n  expected: class 8\n  found:    class 7"},
        {"in flight: 1 frame", "in flight: frames\n  expected: 1\n  found:    0"},
        {"cache holds: 0 bits, 2 registers, 0 values", "cache holds: registers\n  expected: 2\n  found:    1"},
        {"disabled stations: 3", "disabled stations\n  expected: 3 \n  found:    "},
        {"result record: ret_value 0", "result record\n  expected: ret_value 0\n  found:    ret_value 1"},
        {"fail record: station 1", "fail record\n  expected: station 1\n  found:    station 0"},
        {"read: station 1 type 7 address 0 count 1 gives 2A 01", "read\n  expected: 2A 01\n  found:    2A 00"},
        {"read: station 1 type 7 address 0 count 1 is refused with 2A 00",
         "read: returned\n  expected: 0\n  found:    1"},
        {"parse: type 13 address 200 gives 200", "parse\n  expected: 200\n  found:    0"},
    };
    for (const auto &check : checks) {
        Exchange exchange;
        exchange.after = std::string(check.statement) + "\n";
        EXPECT_EQ(complaints(exchange), "9: " + std::string(check.found) + "\n") << check.statement;
    }
}

TEST(TranscriptLanguage, RefusesWhatIsNotAStatement) {
    expect_refused("next frmae: none", "unknown verb");
    expect_refused("no colon here", "not a statement");
    expect_refused("returns:1", "no blank after the colon");
    expect_refused("\treturns: 1", "tab");
    expect_refused("Returns: 1", "unknown verb");
}

TEST(TranscriptLanguage, RefusesWhatAStatementDoesNotAllow) {
    expect_refused("next frame: 01 03 0", "hexadecimal");
    expect_refused("next frame:", "a frame is its bytes");
    expect_refused("next frame: none 01", "unknown");
    expect_refused("next frame: expects 8 byte", "\"bytes\" should be");
    expect_refused("same frame: none", "cannot be none");
    expect_refused("reply: 1", "hexadecimal");
    expect_refused("reply:", "a reply is");
    expect_refused("returns: one", "not a number");
    expect_refused("returns: 1 0", "not a number");
    expect_refused("counters: retries 1", "not a counter");
    expect_refused("counters: retry_count", "ends too early");
    expect_refused("comm_failed: no", "true or false");
    expect_refused("callbacks: write_result(channel 7, group 3, id 5)", "not a callback");
    expect_refused("callbacks:", "none");
    expect_refused("write queue:", "none");
    expect_refused("write queue: 2 entry", "entries");
    expect_refused("write queue: adress 5", "unknown field");
    expect_refused("write queue: from 5 from 6", "stated twice");
    expect_refused("write: station 1 type 7 address 0 count 1", "not stated: data");
    expect_refused("write: station 1 type 7 address 0 count 1 data 01 00 area 3", "no meaning here: area");
    expect_refused("write: station 1 type 7 address 0 count 1 data 1", "not bytes");
    expect_refused("read: station 1 type 7 address 0 count 1 is 2A 00", "\"gives\"");
    expect_refused("parse: type 7 address 0 gives nothing", "not a number");
    expect_refused("parse: type 7 address \"0 gives 1", "a quote that is not closed");
    expect_refused("cache: station 1 class 7 from 0 0x002A", "after a colon");
    expect_refused("cache: station 1 class 7 from 0: 0x2A", "not a value of this class");
    expect_refused("cache: station 1 class 4 from 0: 0x002A", "not a value of this class");
    expect_refused("cache holds: 0 bits, 1 words, 0 values", "\"registers\" should be");
    expect_refused("EnableEthernet: 3", "\"station\" should be");
    expect_refused("host changes: max_count", "ends too early");
    expect_refused("poll: station 1 type 300 address 0 count 1", "0 to 255");
    expect_refused("in flight: 01 0", "hexadecimal");
}

TEST(TranscriptLanguage, RefusesAStatementOutOfPlace) {
    expect_refused("returns: 1", "nothing was returned");
    expect_refused("blocks: none", "\"poll\" must come before");

    Exchange without_host;
    without_host.host = "";
    EXPECT_EQ(complaints(without_host), "3: malformed: the first statement must be \"host\"\n");

    Exchange without_blocks;
    without_blocks.blocks = "";
    EXPECT_EQ(complaints(without_blocks), "5: malformed: \"blocks\" must follow \"poll\"\n");
}

TEST(TranscriptLanguage, RefusesATranscriptWithoutProseOrWithoutContent) {
    Exchange exchange;
    exchange.prose = "# One line is not enough.\n";
    EXPECT_EQ(complaints(exchange), "2: malformed: the transcript does not begin with prose\n");
    ASSERT_EQ(play("# Nothing but\n# prose.\n").size(), 1u);
    ASSERT_EQ(play("").size(), 1u);
}

TEST(TranscriptLanguage, AMalformedLineIsFoundBeforeAnythingIsPlayed) {
    Exchange exchange;
    exchange.returns = "returns: 0\n";
    exchange.after = "nonsense: 1\n";
    EXPECT_EQ(complaints(exchange), "9: malformed: unknown verb: \"nonsense\"\n");
}

}  // namespace
