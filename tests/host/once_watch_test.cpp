#include "host/once/request_watch.h"
#include "host/once/scan_options.h"
#include "host/once/station_watch.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using kelpo::Exchange;
using kelpo::Failure;
using kelpo::Outcome;
using kelpo::StationWatch;
using std::chrono::milliseconds;

std::string request_to(char station) {
    return std::string(1, station) + std::string("\x03\x00\x00\x00\x01\x00\x00", 7);
}

Exchange exchange_with(const std::string &request, const std::string &reply, int code) {
    Exchange exchange{};
    exchange.sent_at = Exchange::Time(milliseconds(1000));
    exchange.ended_at = Exchange::Time(milliseconds(1012));
    exchange.request = request;
    exchange.reply = reply;
    exchange.expected_length = 7;
    exchange.station = request[0];
    exchange.name = {12, request[0]};
    exchange.code = code;
    exchange.outcome = kelpo::outcome_of(code);
    return exchange;
}

const std::string refusal_of_2("\x02\x83\x02\x30\xF1", 5);
const std::string value_of_3("\x03\x03\x02\x00\x07\x80\x46", 7);
const std::string input_of_4("\x04\x04\x02\x00\x01\xB4\xF0", 7);

TEST(RequestWatch, KnowsWhyEachRequestFailed) {
    kelpo::RequestWatch watch;
    const std::string to_2 = request_to(2), to_3 = request_to(3);
    watch.exchanged(exchange_with(to_2, refusal_of_2, 72));
    watch.exchanged(exchange_with(to_3, value_of_3, 1));
    const auto failure = watch.failure({12, 2});
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, Failure::Kind::refused);
    EXPECT_FALSE(watch.failure({12, 3}));
    EXPECT_FALSE(watch.failure({12, 4}));
    EXPECT_FALSE(watch.failure({11, 2}));
}

TEST(StationWatch, HearsValuesRefusalsAndOtherAnswers) {
    StationWatch watch;
    const std::string to_1 = request_to(1), to_2 = request_to(2), to_3 = request_to(3), to_4 = request_to(4);
    watch.exchanged(exchange_with(to_1, "", 41));
    watch.exchanged(exchange_with(to_2, refusal_of_2, 71));
    watch.exchanged(exchange_with(to_3, value_of_3, 1));
    watch.exchanged(exchange_with(to_4, input_of_4, 11));
    EXPECT_EQ(watch.asked(), 4);
    const auto answers = watch.answers();
    ASSERT_EQ(answers.size(), 3U);
    EXPECT_EQ(answers.at(2).kind, kelpo::StationAnswer::Kind::refused);
    EXPECT_EQ(answers.at(2).text, "refused: illegal data address (exception 2)");
    EXPECT_EQ(answers.at(3).kind, kelpo::StationAnswer::Kind::value);
    EXPECT_EQ(answers.at(3).time, milliseconds(12));
    EXPECT_EQ(answers.at(4).kind, kelpo::StationAnswer::Kind::other);
    EXPECT_TRUE(watch.noises().empty());
}

TEST(StationWatch, CountsAStationOnceHoweverOftenItIsAsked) {
    StationWatch watch;
    const std::string to_1 = request_to(1);
    watch.exchanged(exchange_with(to_1, "", 0));
    EXPECT_EQ(watch.asked(), 0);
    watch.exchanged(exchange_with(to_1, "", 41));
    EXPECT_EQ(watch.asked(), 1);
}

TEST(StationWatch, HearsAStationThatAnswersLate) {
    StationWatch watch;
    const std::string to_5 = request_to(5), to_6 = request_to(6);
    watch.exchanged(exchange_with(to_5, value_of_3, 11));
    Exchange next = exchange_with(to_6, "", 41);
    next.stale = refusal_of_2;
    watch.exchanged(next);
    const auto answers = watch.answers();
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers.at(3).kind, kelpo::StationAnswer::Kind::late);
    EXPECT_EQ(answers.at(2).kind, kelpo::StationAnswer::Kind::late);
    EXPECT_TRUE(watch.noises().empty());
}

TEST(StationWatch, PrefersAnAnswerInTime) {
    StationWatch watch;
    const std::string to_3 = request_to(3), to_5 = request_to(5);
    watch.exchanged(exchange_with(to_5, value_of_3, 11));
    watch.exchanged(exchange_with(to_3, value_of_3, 1));
    watch.exchanged(exchange_with(to_5, value_of_3, 11));
    EXPECT_EQ(watch.answers().at(3).kind, kelpo::StationAnswer::Kind::value);
}

TEST(StationWatch, TakesNoNoiseForAnAnswer) {
    StationWatch watch;
    const std::string to_3 = request_to(3);
    const std::string garbled("\x03\x03\x02\x00\x07\x80\x47", 7);
    watch.exchanged(exchange_with(to_3, garbled, 11));
    watch.exchanged(exchange_with(to_3, "\x55\x55", 71));
    EXPECT_TRUE(watch.answers().empty());
    ASSERT_EQ(watch.noises().size(), 1U);
    EXPECT_EQ(watch.noises().at(3).substr(0, 11), "bad reply: ");
}

TEST(Stations, AreNamedByNumbersAndRanges) {
    EXPECT_EQ(kelpo::stations_from("7"), std::vector<int>{7});
    EXPECT_EQ(kelpo::stations_from("9,1-3,2,247"), (std::vector<int>{1, 2, 3, 9, 247}));
    EXPECT_EQ(kelpo::stations_from("1-247").size(), 247U);
    EXPECT_EQ(kelpo::stations_from("5-5"), std::vector<int>{5});
}

TEST(Stations, ThatAreNoneAreRefused) {
    for (const char *text : {"", "0", "248", "3-1", "1,", "a", "1-", "-1", "1-300", "1;2"})
        EXPECT_THROW(kelpo::stations_from(text), kelpo::StationsError) << text;
    try {
        kelpo::stations_from("1-5,300");
    } catch (const kelpo::StationsError &error) {
        EXPECT_STREQ(error.what(), "'300' names no stations; write numbers from 1 to 247 such as 1-20,33");
    }
}

}  // namespace
