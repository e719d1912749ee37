#include "host/link/link_loop.h"

#include "host/line/line_error.h"
#include "host/link/link_remarks.h"
#include "host/link/rtu_shape.h"
#include "simulated_line.h"
#include "station_1_frames.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

namespace {

using kelpo::Exchange;
using kelpo::Outcome;
using kelpo::rtu::with_crc;
using station_1::read_100;
using station_1::read_200;
using station_1::refusal;
using station_1::reply_111;
using station_1::reply_222;
using station_1::wait_please;
using std::chrono::milliseconds;

// Writes to station 1 and their replies.
const std::string write_100 = with_crc(std::string("\x01\x10\x00\x64\x00\x01\x02\x00\x07", 9));
const std::string write_200 = with_crc(std::string("\x01\x10\x00\xC8\x00\x01\x02\x00\x07", 9));
const std::string written_100 = with_crc(std::string("\x01\x10\x00\x64\x00\x01", 6));
const std::string written_200 = with_crc(std::string("\x01\x10\x00\xC8\x00\x01", 6));

struct SeenExchange {
    std::string request, reply, late;
    Outcome outcome;
    int code;
};

/// Ends the loop after `most` exchanges, and keeps what it saw.
class ExchangeRecorder : public kelpo::LinkRemarks {
public:
    explicit ExchangeRecorder(SimulatedLine &line) : LinkRemarks(kelpo::LinkSettings()), line_(line) {}

    void exchanged(const Exchange &exchange) override {
        seen.push_back({std::string(exchange.request), std::string(exchange.reply), std::string(exchange.late),
                        exchange.outcome, exchange.code});
        discarded += exchange.discarded;
        if (seen.size() == most)
            line_.stop();
    }
    void request_ended(const kelpo::RequestName &name, kelpo::RequestOutcome outcome) override {
        ended.emplace_back(name.id, outcome == kelpo::RequestOutcome::done ? 1 : 2);
    }
    void line_probed(const Exchange &exchange, kelpo::ProbePurpose) override {
        probes.emplace_back(exchange.request);
    }

    std::size_t most = 1;
    std::vector<SeenExchange> seen;
    std::vector<std::pair<int, int>> ended;
    std::vector<std::string> probes;
    std::uint64_t discarded = 0;

private:
    SimulatedLine &line_;
};

class OddReplies : public testing::Test {
protected:
    OddReplies() {
        info.max_count = 100;
        info.retry_times = 0;
        info.multi_station = 1;
        info.write_mode = 2;
        kelpo::attach(driver.entry(), info, recorder);
        line.on_request = [this](const std::string &request) {
            sent.push_back(request);
            answer(request);
        };
    }

    void read_once(const char *address, int type = 7, int count = 1, int station = 1) {
        RW_VAR var;
        var.var_group = 20;
        var.var_id = next_id++;
        var.reg_type = type;
        var.addr_text = QLatin1String(address);
        var.station_no = station;
        var.reg_count = count;
        driver.entry().AddListOnceReadVar(&var, 0);
    }
    void write(const char *address, int type = 7) {
        const char value = type == 7 ? '\7' : '\1';
        driver.entry().SetRegisterData(QString(), type, QLatin1String(address), 1, QByteArray(1, value) + '\0', 1, 20,
                                       next_id++);
    }
    void run(std::size_t exchanges) {
        recorder.most = exchanges;
        loop().run(line);
    }
    kelpo::LinkLoop &loop() {
        if (!loop_)
            loop_.emplace(driver.entry(), info, settings, recorder);
        return *loop_;
    }

    const kelpo::DriverLibrary driver{DRIVER_FILE};
    ComInfo info{};
    SimulatedLine line;
    ExchangeRecorder recorder{line};
    kelpo::LoopSettings settings;
    std::function<void(const std::string &)> answer = [](const std::string &) {
    };
    std::vector<std::string> sent;
    int next_id = 1;

private:
    std::optional<kelpo::LinkLoop> loop_;
};

using Ends = std::vector<std::pair<int, int>>;
constexpr int done = 1, failed = 2;

// Late for 100, and 200 is never carried out.
TEST_F(OddReplies, AnAcknowledgementOfAnotherWriteIsNone) {
    write("100");
    write("200");
    answer = [&](const std::string &request) {
        if (request == write_100)
            line.comes(milliseconds(700), written_100);
    };
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}, {2, failed}}));
    EXPECT_EQ(recorder.seen[1].late, written_100);
    EXPECT_EQ(recorder.seen[1].reply, "");
    EXPECT_EQ(recorder.sentences(),
              std::vector<std::string>{"station 1 answers after up to 700 ms: reply-ms 500 is too short"});
}

TEST_F(OddReplies, AnAcknowledgementOfWhatWasNotWrittenIsNotAccepted) {
    write("200");
    answer = [&](const std::string &) {
        line.comes(milliseconds(10), written_100);
    };
    run(1);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}}));
    EXPECT_EQ(recorder.seen[0].reply, written_100);
}

TEST_F(OddReplies, TheLateOneIsPassedOverForTheRightOneAfterIt) {
    write("100");
    write("200");
    answer = [&](const std::string &request) {
        line.comes(milliseconds(request == write_100 ? 700 : 200), request == write_100 ? written_100 : written_200);
    };
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}, {2, done}}));
    EXPECT_EQ(recorder.seen[1].late, written_100);
    EXPECT_EQ(recorder.seen[1].reply, written_200);
}

TEST_F(OddReplies, AReadWhoseReplyMayBeAnothersIsMadeAgainBeforeItIsGivenUp) {
    answer = [this](const std::string &request) {
        if (request == read_200)
            line.comes(milliseconds(10), reply_222);
    };
    read_once("100");
    read_once("200");
    run(3);
    EXPECT_EQ(sent, (std::vector<std::string>{read_100, read_200, read_200}));
    EXPECT_EQ(recorder.seen[0].outcome, Outcome::given_up);
    EXPECT_EQ(recorder.seen[1].outcome, Outcome::sent_again);
    EXPECT_EQ(recorder.seen[1].late, reply_222);
    EXPECT_EQ(recorder.seen[2].outcome, Outcome::good);
    EXPECT_EQ(recorder.seen[2].reply, reply_222);
}

TEST_F(OddReplies, AReadIsMadeAgainOnlyOnceForThat) {
    answer = [this](const std::string &request) {
        if (request == read_200 && sent.size() == 2)
            line.comes(milliseconds(10), reply_222);
    };
    read_once("100");
    read_once("200");
    run(3);
    EXPECT_EQ(sent, (std::vector<std::string>{read_100, read_200, read_200}));
    EXPECT_EQ(recorder.seen[2].outcome, Outcome::given_up);
}

TEST_F(OddReplies, AByteCountThatIsNotTheReplysIsNone) {
    read_once("100", 1, 20);
    answer = [&](const std::string &) {
        line.comes(milliseconds(10), with_crc(std::string("\x01\x01\x02\x01\x02\x03", 6)));
    };
    run(1);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}}));
}

// As long as its own reply, and with the same station, function and check.
TEST_F(OddReplies, TheEchoOfAReadOf20BitsIsNone) {
    read_once("100", 1, 20);
    read_once("1400", 1, 20);  // octal: 768, whose high byte is the byte count
    answer = [&](const std::string &request) {
        line.comes(milliseconds(10), request);
    };
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}, {2, failed}}));
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[1].substr(0, 6), std::string("\x01\x01\x03\x00\x00\x14", 6));
    EXPECT_EQ(
        recorder.sentences(),
        std::vector<std::string>{"the line returns what is sent: it is a loop, or the adapter receives what it sends"});
}

TEST_F(OddReplies, TheEchoOfAWriteOfOneBitIsNoAcknowledgement) {
    write("10", 2);
    write("11", 2);
    answer = [&](const std::string &request) {
        line.comes(milliseconds(10), request);
    };
    run(2);
    ASSERT_EQ(sent.size(), 3U);
    ASSERT_EQ(sent[0][1], 5);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}, {2, failed}}));
    EXPECT_EQ(recorder.seen[0].reply, sent[0]);
    EXPECT_EQ(recorder.probes, std::vector<std::string>{sent[1]});
    EXPECT_EQ(sent[1], with_crc(sent[0].substr(0, 1) + '\1' + sent[0].substr(2, 2) + std::string("\0\1", 2)));
    EXPECT_EQ(recorder.sentences().size(), 1U);
}

// Where the echo is to be taken off.
class Echoes : public OddReplies {
protected:
    Echoes() {
        settings.takes_off_echo = true;
    }
    /// Each request comes back, and then its reply.
    void echo_and(std::function<std::string(const std::string &)> reply) {
        answer = [this, reply = std::move(reply)](const std::string &request) {
            line.comes(milliseconds(1), request);
            line.comes(milliseconds(20), reply(request));
        };
    }
};

TEST_F(Echoes, AreRemovedAndTheReplyFollowsThem) {
    read_once("100");
    write("100");
    echo_and([](const std::string &request) { return request == read_100 ? reply_111 : written_100; });
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{2, done}, {1, done}}));
    EXPECT_EQ(recorder.seen[0].reply, written_100);
    EXPECT_EQ(recorder.seen[1].reply, reply_111);
    EXPECT_EQ(recorder.discarded, 0U);
    EXPECT_TRUE(recorder.probes.empty());
    EXPECT_EQ(recorder.sentences(), std::vector<std::string>{"the line returns what is sent, and that is taken off"});
}

TEST_F(Echoes, AloneAreNoReply) {
    read_once("100");
    write("100");
    write("10", 2);
    answer = [&](const std::string &request) {
        line.comes(milliseconds(1), request);
    };
    run(3);
    EXPECT_EQ(recorder.ended, (Ends{{2, failed}, {3, failed}, {1, failed}}));
    for (const SeenExchange &each : recorder.seen)
        EXPECT_EQ(each.reply, "");
}

// The acknowledgement is its request once more.
TEST_F(Echoes, OfAWriteOfOneBitAreExpectedTwice) {
    write("10", 2);
    write("11", 2);
    echo_and([](const std::string &request) {
        return request[1] == 5 ? request : with_crc(std::string("\x01\x01\x01\x00", 4));
    });
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}, {2, done}}));
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(sent[0][1], 1);
    EXPECT_EQ(recorder.probes, std::vector<std::string>{sent[0]});
    EXPECT_EQ(recorder.seen[0].reply, sent[1]);
    EXPECT_EQ(recorder.discarded, 0U);
}

TEST_F(Echoes, AreNotWaitedForOnALineThatReturnsNothing) {
    write("10", 2);
    read_once("100");
    write("11", 2);
    answer = [&](const std::string &request) {
        line.comes(milliseconds(10), request[1] == 5   ? request
                                     : request[1] == 1 ? with_crc(std::string("\x01\x01\x01\x00", 4))
                                                       : reply_111);
    };
    run(3);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}, {3, done}, {2, done}}));
    EXPECT_EQ(recorder.probes.size(), 1U);
    EXPECT_TRUE(recorder.sentences().empty());
}

TEST_F(Echoes, ThatAreDamagedMakeAReplyDamaged) {
    info.retry_times = 1;
    write("10", 2);
    bool damaged = false;
    answer = [&](const std::string &request) {
        const bool is_write = request[1] == 5;
        std::string echo = request;
        if (is_write && !std::exchange(damaged, true))
            echo[3] ^= 1;
        line.comes(milliseconds(1), echo);
        line.comes(milliseconds(20), is_write ? request : with_crc(std::string("\x01\x01\x01\x00", 4)));
    };
    run(2);
    EXPECT_EQ(recorder.seen[0].outcome, Outcome::sent_again);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}}));
}

// The reply alone: the adapter has stopped, or the echo was lost. Then its bytes once are no acknowledgement either.
TEST_F(Echoes, ThatHaveComeAreExpectedFromThenOn) {
    read_once("100");
    bool first = true;
    answer = [&](const std::string &request) {
        if (std::exchange(first, false)) {
            line.comes(milliseconds(1), request);
            read_once("200");
        } else if (request == read_200) {
            write("10", 2);
        }
        line.comes(milliseconds(20), request == read_100 ? reply_111 : request == read_200 ? reply_222 : request);
    };
    run(3);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}, {2, done}, {3, failed}}));
}

TEST_F(OddReplies, DamagedBytesDoNotShowThatALineReturnsNothing) {
    read_once("100");
    answer = [&](const std::string &request) {
        if (request == read_100)
            write("10", 2);
        line.comes(milliseconds(10),
                   request == read_100 ? std::string("\x01\x03\x00\x65\x00\x01\xC5\xD5", 8) : request);
    };
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}, {2, failed}}));
}

class ProbeAnswers : public OddReplies, public testing::WithParamInterface<std::string> {};

// A refusal of a read, and silence: both show that the line is not a loop.
INSTANTIATE_TEST_SUITE_P(ThatAreNoEcho, ProbeAnswers,
                         testing::Values(with_crc(std::string("\x01\x81\x02", 3)), std::string()),
                         [](const auto &answer) { return answer.param.empty() ? "Silence" : "Refusal"; });

TEST_P(ProbeAnswers, LetAnAcknowledgementBeTakenThatLooksLikeItsRequest) {
    write("10", 2);
    write("11", 2);
    answer = [&](const std::string &request) {
        line.comes(milliseconds(10), request[1] == 5 ? request : GetParam());
    };
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}, {2, done}}));
    EXPECT_EQ(recorder.probes.size(), 1U);
    EXPECT_TRUE(recorder.sentences().empty());
}

TEST_F(OddReplies, NoProbeIsNeededWhereAValueWasRead) {
    read_once("100");
    answer = [&](const std::string &request) {
        if (request == read_100)
            write("10", 2);
        line.comes(milliseconds(10), request[1] == 5 ? request : reply_111);
    };
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}, {2, done}}));
    EXPECT_TRUE(recorder.probes.empty());
}

TEST_F(OddReplies, AStationMayAskToWaitALimitedNumberOfTimesInARow) {
    read_once("100");
    answer = [&](const std::string &) {
        line.comes(milliseconds(10), wait_please);
    };
    run(17);
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(recorder.seen[i].code, 1000) << i;
    EXPECT_EQ(recorder.seen[16].outcome, Outcome::given_up);
    EXPECT_EQ(recorder.seen[16].reply, wait_please);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}}));
    EXPECT_EQ(recorder.sentences(),
              std::vector<std::string>{"station 1 keeps asking to wait (6A 8B): that is taken for no reply"});
}

TEST_F(OddReplies, OnlyTheStationItselfMayAskToWait) {
    const std::string damaged("\x01\x6A\x8B\x00\x00", 5), of_2("\x02\x6A\x8B\xBE\xC7", 5);
    read_once("100");
    read_once("200");
    answer = [&](const std::string &request) {
        line.comes(milliseconds(10), request == read_100 ? damaged : of_2);
    };
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}, {2, failed}}));
}

TEST_F(OddReplies, ARefusalIsKnownByItsLength) {
    read_once("100");
    answer = [&](const std::string &) {
        line.comes(milliseconds(10), refusal);
        line.comes(milliseconds(20), reply_111);
    };
    run(1);
    EXPECT_EQ(recorder.seen[0].reply, refusal);
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}}));
}

// 7 characters take 7 ms here: what is there after 3 began before the request was sent.
TEST_F(OddReplies, AReplySoonerThanTheSpeedAllowsIsAnothers) {
    line.time_of_a_character = milliseconds(1);
    read_once("100");
    answer = [&](const std::string &) {
        line.comes(milliseconds(3), reply_222);
        line.comes(milliseconds(40), reply_111);
    };
    run(1);
    EXPECT_EQ(recorder.seen[0].late, reply_222);
    EXPECT_EQ(recorder.seen[0].reply, reply_111);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}}));
}

// A pseudo-terminal has no speed: the reply is there before the time that its settings give the request is over.
TEST_F(OddReplies, WithoutAWireNoReplyIsTooSoon) {
    line.time_of_a_request = milliseconds(9);
    read_once("100");
    answer = [&](const std::string &) {
        line.comes(milliseconds(1), reply_111);
    };
    run(1);
    EXPECT_EQ(recorder.seen[0].reply, reply_111);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}}));
}

// A controller's own USB port accepts any speed, and does not keep to it.
TEST_F(OddReplies, TheSpeedProvesNothingWhereNothingComesAfterSuchReplies) {
    line.time_of_a_character = milliseconds(1);
    info.retry_times = 5;
    read_once("100");
    answer = [&](const std::string &) {
        line.comes(milliseconds(3), reply_111);
    };
    run(3);
    EXPECT_EQ(recorder.seen[1].late, reply_111);
    EXPECT_EQ(recorder.seen[2].reply, reply_111);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}}));
}

TEST_F(OddReplies, AStopWaitsForTheReplyInFlight) {
    read_once("100");
    answer = [&](const std::string &) {
        line.stop();
        line.comes(milliseconds(400), reply_111);
    };
    run(9);
    ASSERT_EQ(recorder.seen.size(), 1U);
    EXPECT_EQ(recorder.seen[0].reply, reply_111);
    EXPECT_FALSE(line.replies_until);
}

TEST_F(OddReplies, ItIsKnownUntilWhenAReplyCanCome) {
    read_once("100");
    std::optional<kelpo::Channel::Time> during;
    answer = [&](const std::string &) {
        during = line.replies_until;
    };
    const auto begin = line.now();
    run(1);
    EXPECT_EQ(during, begin + milliseconds(2250));
    EXPECT_EQ(line.replies_until, begin + milliseconds(2250));
}

TEST_F(OddReplies, FailedRepliesOfOneRequestDoNotCountForTheNextWhereSoIsSet) {
    settings.retries_per_request = true;
    info.retry_times = 1;
    read_once("100");
    read_once("200");
    int asked = 0;
    answer = [&](const std::string &) {
        if (++asked % 2 == 0)
            line.comes(milliseconds(10), reply_111);
    };
    // Each is answered at the second try.
    run(4);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}, {2, done}}));
}

// The bit's register is read, and the line breaks before it is written back.
TEST_F(OddReplies, AWordThatWasReadBeforeTheLineBrokeIsNotWrittenBack) {
    info.retry_times = 3;
    write("100.4", 15);
    answer = [&](const std::string &request) {
        if (request == read_100)
            line.comes(milliseconds(10), reply_111);
        else
            throw kelpo::LineError("gone");
    };
    recorder.most = 9;
    EXPECT_THROW(loop().run(line), kelpo::LineError);
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[1][1], 6);
    loop().line_was_lost();
    EXPECT_EQ(recorder.ended, (Ends{{1, failed}}));
    EXPECT_EQ(recorder.seen.back().request, sent[1]);
    EXPECT_EQ(recorder.seen.back().outcome, Outcome::given_up);
    EXPECT_TRUE(driver.entry().PLC_driver->frame_list.isEmpty());
}

TEST_F(OddReplies, TheReadingOfABitsRegisterIsMadeAgainWhenTheLineBreaksAfterIt) {
    write("100.4", 15);
    bool broken = false;
    answer = [&](const std::string &request) {
        if (!std::exchange(broken, true))
            throw kelpo::LineError("gone");
        line.comes(milliseconds(10), request == read_100 ? reply_222 : request);
    };
    EXPECT_THROW(run(2), kelpo::LineError);
    loop().line_was_lost();
    EXPECT_TRUE(recorder.ended.empty());
    run(2);
    EXPECT_EQ(recorder.ended, (Ends{{1, done}}));
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(sent[2].substr(0, 6), std::string("\x01\x06\x00\x64\x00\xDE", 6));  // 222 has bit 4
}

}  // namespace
