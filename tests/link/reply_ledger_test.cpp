#include "host/link/reply_ledger.h"

#include "host/link/rtu_shape.h"
#include "station_1_frames.h"

#include <gtest/gtest.h>

namespace {

using kelpo::ReplyLedger;
using station_1::read_100;
using station_1::read_1000;
using station_1::refusal;
using station_1::reply_111;
using station_1::reply_222;
using station_1::wait_please;
using std::chrono::milliseconds;
using Whose = ReplyLedger::Whose;

constexpr int word_reply = 7;

std::string frame(const std::string &bytes) {
    return kelpo::rtu::with_crc(bytes);
}
const std::string read_two = frame(std::string("\x01\x03\x00\x64\x00\x02", 6));
const std::string two_words = frame(std::string("\x01\x03\x04\x00\x01\x00\x02", 7));
constexpr int two_word_reply = 9;

class Ledger : public testing::Test {
protected:
    static ReplyLedger::Time at(int time) {
        return ReplyLedger::Time() + milliseconds(10000 + time);
    }
    void sent(const std::string &request, int time, int reply_size = word_reply) {
        ledger.sent(1, request, reply_size, at(time));
    }
    Whose heard(const std::string &reply, const std::string &awaited, int time) {
        return heard_between(reply, awaited, time, time);
    }
    Whose heard_between(const std::string &reply, const std::string &awaited, int after, int before) {
        return ledger.heard(reply, awaited, {at(after), at(before)});
    }
    // Nothing when station 1 may be asked at once, otherwise the time.
    int listens_until(int time) {
        const auto until = ledger.listen_until(1, at(time));
        return until ? static_cast<int>(std::chrono::duration_cast<milliseconds>(*until - at(0)).count()) : 0;
    }
    int lateness() {
        const auto late = ledger.take_lateness();
        return late ? static_cast<int>(std::chrono::duration_cast<milliseconds>(late->time).count()) : 0;
    }

    ReplyLedger ledger{milliseconds(100)};  // and so patient for 450 ms
};

TEST_F(Ledger, GivesAReplyToTheOnlyRequestThatItCanBelongTo) {
    sent(read_100, 0);
    EXPECT_EQ(heard(reply_111, read_100, 20), Whose::awaited);
    EXPECT_EQ(listens_until(20), 0);
    EXPECT_EQ(lateness(), 0);
    EXPECT_EQ(heard(reply_111, read_100, 30), Whose::nobody);
}

TEST_F(Ledger, GivesAReplyToARepeatedRequestAndThenListensForTheOther) {
    sent(read_100, 0);
    EXPECT_EQ(listens_until(110), 0);
    sent(read_100, 110);
    EXPECT_EQ(heard(reply_111, read_100, 140), Whose::awaited);
    EXPECT_EQ(listens_until(140), 140 + 450);
    EXPECT_EQ(heard(reply_111, "", 280), Whose::late);
    EXPECT_EQ(listens_until(280), 0);
    EXPECT_EQ(lateness(), 170);
}

TEST_F(Ledger, ForgetsNoRequestWhoseReplyMayHaveComeInTimeAndWasReadLate) {
    sent(read_100, 0);
    sent(read_1000, 110);
    EXPECT_EQ(heard_between(reply_111, read_1000, 449, 900), Whose::late);
    EXPECT_EQ(listens_until(901), 900 + 450);
}

TEST_F(Ledger, ForgetsARequestWhoseReplyWouldHaveComeTooLate) {
    sent(read_100, 0);
    sent(read_1000, 110);
    EXPECT_EQ(heard_between(reply_111, read_1000, 450, 451), Whose::awaited);
}

TEST_F(Ledger, KnowsWhenAStationThatAnswersOneByOneHasAnsweredTheLast) {
    EXPECT_FALSE(ledger.last_reply_until(at(0)));
    EXPECT_EQ(ledger.last_reply_until(1, at(0)), at(450));
    sent(read_100, 0);
    sent(read_1000, 110);
    EXPECT_EQ(ledger.last_reply_until(at(120)), at(110 + 2 * 450));
    EXPECT_EQ(ledger.last_reply_until(1, at(220)), at(220 + 3 * 450));
    EXPECT_EQ(heard(reply_111, "", 300), Whose::late);
    EXPECT_EQ(ledger.last_reply_until(at(301)), at(300 + 2 * 450));
}

TEST_F(Ledger, CallsAReplyLateByTheTimeThatItCertainlyTook) {
    sent(read_100, 0);
    EXPECT_EQ(heard_between(reply_111, "", 190, 400), Whose::late);
    EXPECT_EQ(lateness(), 190);
}

TEST_F(Ledger, ListensNoLongerThanAReplyCanBeLate) {
    sent(read_100, 0);
    sent(read_100, 110);
    EXPECT_EQ(heard(reply_111, read_100, 140), Whose::awaited);
    EXPECT_EQ(listens_until(589), 140 + 450);
    EXPECT_EQ(listens_until(590), 0);
    EXPECT_EQ(lateness(), 0);  // one may have been lost
}

TEST_F(Ledger, GivesNoReplyToARequestWhereItCanBelongToAnother) {
    sent(read_100, 0);
    sent(read_1000, 110);
    EXPECT_EQ(heard(reply_111, read_1000, 120), Whose::late);
    EXPECT_EQ(listens_until(130), 120 + 450);
    EXPECT_EQ(heard(reply_222, "", 150), Whose::late);
    EXPECT_EQ(listens_until(150), 0);
    sent(read_1000, 160);
    EXPECT_EQ(heard(reply_111, read_1000, 180), Whose::awaited);
}

// The second reply may be the first request's.
TEST_F(Ledger, AssumesNoOrder) {
    sent(read_100, 0);
    sent(read_1000, 110);
    EXPECT_EQ(heard(reply_111, read_1000, 120), Whose::late);
    EXPECT_EQ(heard(reply_222, read_1000, 130), Whose::late);
}

// What is sent twice at once answers one request, though two are left: the reply to the other may still come.
TEST_F(Ledger, DoesNotTakeACopyForAnotherReply) {
    sent(read_100, 0);
    sent(read_100, 110);
    EXPECT_EQ(heard(reply_111, read_100, 120), Whose::awaited);
    EXPECT_EQ(heard(reply_111, "", 121), Whose::late);
    EXPECT_EQ(listens_until(121), 121 + 450);
    EXPECT_EQ(heard(reply_111, "", 230), Whose::late);
    EXPECT_EQ(listens_until(230), 0);
}

TEST_F(Ledger, DoesNotWaitForAStationThatIsSilent) {
    sent(read_100, 0);
    EXPECT_EQ(heard(reply_111, read_100, 20), Whose::awaited);
    for (int time = 30; time < 2000; time += 110) {
        EXPECT_EQ(listens_until(time), 0) << time;
        sent(read_100, time);
    }
}

TEST_F(Ledger, WaitsWhereItCannotRememberMore) {
    for (int i = 0; i < 63; ++i)
        sent(read_100, i);
    EXPECT_EQ(listens_until(70), 0);
    sent(read_100, 70);
    EXPECT_EQ(listens_until(71), 450);
    EXPECT_EQ(listens_until(450), 0);
}

TEST_F(Ledger, DistinguishesRepliesByFunctionAndSize) {
    sent(read_two, 0, two_word_reply);
    sent(read_100, 110);
    EXPECT_EQ(heard(reply_111, read_100, 120), Whose::awaited);
    EXPECT_EQ(heard(two_words, "", 130), Whose::late);
    EXPECT_EQ(listens_until(130), 0);
    EXPECT_EQ(lateness(), 130);
}

TEST_F(Ledger, DoesNotKnowWhoIsRefused) {
    sent(read_two, 0, two_word_reply);
    sent(read_100, 110);
    EXPECT_EQ(heard(refusal, read_100, 120), Whose::late);
    EXPECT_EQ(heard(wait_please, read_100, 130), Whose::late);
    ReplyLedger other(milliseconds(100));
    other.sent(1, read_100, word_reply, at(0));
    EXPECT_EQ(other.heard(refusal, read_100, {at(10), at(10)}), Whose::awaited);
    other.sent(1, read_100, word_reply, at(20));
    EXPECT_EQ(other.heard(wait_please, read_100, {at(30), at(30)}), Whose::awaited);
}

TEST_F(Ledger, KeepsStationsApart) {
    sent(read_100, 0);
    const std::string read_of_2 = frame(std::string("\x02\x03\x00\x64\x00\x01", 6));
    ledger.sent(2, read_of_2, word_reply, at(110));
    EXPECT_EQ(heard(reply_111, read_of_2, 120), Whose::late);
    EXPECT_EQ(heard(frame(std::string("\x02\x03\x02\x00\x07", 5)), read_of_2, 130), Whose::awaited);
    EXPECT_EQ(heard(frame(std::string("\x03\x03\x02\x00\x07", 5)), read_of_2, 130), Whose::nobody);
}

struct Acknowledgement {
    const char *name;
    std::string request;
    std::string right;
    std::string wrong;
};

TEST(LedgerOfWrites, AcceptsAnAcknowledgementThatNamesWhatWasWritten) {
    const auto at = [](int time) {
        return ReplyLedger::Time() + milliseconds(time);
    };
    const Acknowledgement table[] = {
        {"5, another coil", frame(std::string("\x01\x05\x00\x0A\xFF\x00", 6)),
         frame(std::string("\x01\x05\x00\x0A\xFF\x00", 6)), frame(std::string("\x01\x05\x00\x0B\xFF\x00", 6))},
        {"5, another value", frame(std::string("\x01\x05\x00\x0A\xFF\x00", 6)),
         frame(std::string("\x01\x05\x00\x0A\xFF\x00", 6)), frame(std::string("\x01\x05\x00\x0A\x00\x00", 6))},
        {"6, another register", frame(std::string("\x01\x06\x00\x64\x00\x07", 6)),
         frame(std::string("\x01\x06\x00\x64\x00\x07", 6)), frame(std::string("\x01\x06\x00\xC8\x00\x07", 6))},
        {"15, another quantity", frame(std::string("\x01\x0F\x00\x0A\x00\x03\x01\x05", 8)),
         frame(std::string("\x01\x0F\x00\x0A\x00\x03", 6)), frame(std::string("\x01\x0F\x00\x0A\x00\x04", 6))},
        {"16, another register", frame(std::string("\x01\x10\x00\xC8\x00\x01\x02\x00\x07", 9)),
         frame(std::string("\x01\x10\x00\xC8\x00\x01", 6)), frame(std::string("\x01\x10\x00\x64\x00\x01", 6))},
    };
    for (const Acknowledgement &row : table) {
        ReplyLedger ledger{milliseconds(100)};
        ledger.sent(1, row.request, 8, at(0));
        EXPECT_EQ(ledger.heard(row.wrong, row.request, {at(10), at(10)}), Whose::nobody) << row.name;
        EXPECT_EQ(ledger.heard(row.right, row.request, {at(20), at(20)}), Whose::awaited) << row.name;
    }
}

TEST_F(Ledger, TakesADamagedReplyForTheReplyWhenItLooksLikeOne) {
    sent(read_100, 0);
    ledger.heard_damaged(1, reply_111.substr(0, 4), read_100, {at(20), at(20)});
    sent(read_100, 30);
    EXPECT_EQ(heard(reply_111, read_100, 40), Whose::awaited);
    EXPECT_EQ(listens_until(40), 0);
    sent(read_100, 50);
    ledger.heard_damaged(1, "!", read_100, {at(60), at(60)});
    EXPECT_EQ(listens_until(60), 60 + 450);
}

TEST_F(Ledger, KnowsTheSizeOfAReplyByItsHeader) {
    EXPECT_EQ(ledger.reply_size(reply_111), 0U);
    sent(read_100, 0);
    sent(read_two, 110, two_word_reply);
    EXPECT_EQ(ledger.reply_size(reply_111.substr(0, 2)), 0U);
    EXPECT_EQ(ledger.reply_size(reply_111.substr(0, 3)), 7U);
    EXPECT_EQ(ledger.reply_size(two_words), 9U);
    EXPECT_EQ(ledger.reply_size(refusal), 5U);
    EXPECT_EQ(ledger.reply_size(wait_please), 5U);
    // A byte count that nobody waits for.
    EXPECT_EQ(ledger.reply_size(std::string("\x01\x03\x06", 3)), 0U);
}

TEST_F(Ledger, SaysUntilWhenRepliesCanCome) {
    EXPECT_FALSE(ledger.last_reply_until(at(0)));
    sent(read_100, 0);
    EXPECT_EQ(ledger.last_reply_until(at(10)), at(450));
    EXPECT_EQ(heard(reply_111, "", 120), Whose::late);
    EXPECT_FALSE(ledger.last_reply_until(at(120)));
}

}  // namespace
