#include "host/frames/verdict.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace {

using kelpo::Exchange;
using kelpo::ExitCode;
using kelpo::Failure;
using Kind = kelpo::Failure::Kind;

// Station 1 is asked for holding register 0.
const std::string request("\x01\x03\x00\x00\x00\x01\x84\x0A", 8);

Failure failure(const std::string &reply, int code) {
    Exchange exchange{};
    exchange.request = request;
    exchange.reply = reply;
    exchange.expected_length = 7;
    exchange.code = code;
    return kelpo::failure_of(exchange);
}

TEST(Failures, AreNoReplyWhenNothingCame) {
    EXPECT_EQ(failure("", 41).kind, Kind::no_reply);
    EXPECT_EQ(failure("", 0).text, "no reply");
}

TEST(Failures, AreRefusalsWithTheirReasonWhenAnExceptionCame) {
    const Failure refused = failure(std::string("\x01\x83\x02\xC0\xF1", 5), 71);
    EXPECT_EQ(refused.kind, Kind::refused);
    EXPECT_EQ(refused.text, "refused: illegal data address (exception 2)");
    EXPECT_EQ(failure(std::string("\x01\x83\x06\xC1\x32", 5), 71).text, "refused: server device busy (exception 6)");
}

TEST(Failures, AreBadRepliesWhenAnythingElseCame) {
    const std::initializer_list<std::string> replies = {
        std::string("\x01\x83\x02\xC0\xF2", 5),          // an exception with a wrong check
        std::string("\x02\x83\x02\x30\xF1", 5),          // of another station
        std::string("\x01\x84\x02\xC2\xC1", 5),          // to another function
        std::string("\x01\x03\x02\x00\x2A\x39\x9C", 7),  // a value with a wrong check
        std::string("\x01\x03\x02", 3),
        std::string("\x55", 1),
    };
    for (const std::string &reply : replies) {
        EXPECT_EQ(failure(reply, 11).kind, Kind::bad_reply) << reply.size();
        EXPECT_EQ(failure(reply, 11).text.substr(0, 11), "bad reply: ") << failure(reply, 11).text;
    }
}

TEST(Failures, NameAnEcho) {
    // The receiver stops at the seven bytes that are expected.
    const Failure echo = failure(request.substr(0, 7), 11);
    EXPECT_EQ(echo.kind, Kind::bad_reply);
    EXPECT_EQ(echo.text, "bad reply: the request came back; the adapter receives what it sends, or the line is a loop");
}

TEST(Failures, NameTheDriversCodeWhenTheReplyLooksWell) {
    const std::string good("\x01\x03\x02\x00\x2A\x39\x9B", 7);
    EXPECT_EQ(failure(good, 12).kind, Kind::bad_reply);
    EXPECT_NE(failure(good, 12).text.find("; the driver did not take it (code 12)"), std::string::npos)
        << failure(good, 12).text;
}

TEST(Failures, AreToWaitWhenTheDriverSaysSo) {
    EXPECT_EQ(failure(std::string("\x01\x6A\x8B\x00\x00", 5), 1000).kind, Kind::not_now);
}

TEST(Failures, EndWithTheirOwnExitCodes) {
    EXPECT_EQ(kelpo::exit_code_of(Kind::no_reply), ExitCode::no_reply);
    EXPECT_EQ(kelpo::exit_code_of(Kind::refused), ExitCode::refused);
    EXPECT_EQ(kelpo::exit_code_of(Kind::bad_reply), ExitCode::bad_reply);
    EXPECT_EQ(kelpo::exit_code_of(Kind::not_now), ExitCode::bad_reply);
}

}  // namespace
