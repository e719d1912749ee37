#include "process.h"
#include "pseudo_terminal.h"
#include "station_1_frames.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

// The program as users start it, on a line whose controller is late.
namespace {

using station_1::read_100;
using station_1::read_200;
using station_1::reply_111;
using station_1::reply_222;
using std::chrono::milliseconds;

constexpr int no_reply = 8;

class LateCommands : public testing::Test {
protected:
    LateCommands() : kept_open(open(terminal.path().c_str(), O_RDWR | O_NOCTTY)) {}
    ~LateCommands() override {
        close(kept_open);
    }
    LateCommands(const LateCommands &) = delete;
    LateCommands &operator=(const LateCommands &) = delete;

    std::vector<std::string> command(const std::vector<std::string> &words) const {
        std::vector<std::string> all = {KELPO_PROGRAM, words.front(),   "--driver", DRIVER_FILE,
                                        "--line",      terminal.path(), "--settle", "0"};
        all.insert(all.end(), words.begin() + 1, words.end());
        return all;
    }

    // Does something when the time has come, independently of the program.
    void later(milliseconds time, const std::function<void()> &action) {
        others.emplace_back([time, action] {
            std::this_thread::sleep_for(time);
            action();
        });
    }
    void TearDown() override {
        for (std::thread &other : others)
            other.join();
    }

    PseudoTerminal terminal;
    const int kept_open;  // so that the line does not hang up between two commands
    TemporaryDirectory directory;
    std::vector<std::thread> others;
};

TEST_F(LateCommands, AReplyToACommandThatHasEndedIsNotTheNextOnes) {
    Process first(command({"read", "1:7:100", "--reply-timeout", "1000", "--retries", "0"}), directory.file("first"));
    ASSERT_EQ(terminal.take(8), read_100);
    later(milliseconds(1500), [this] { terminal.put(reply_111); });
    EXPECT_EQ(first.exit_code(), no_reply);

    Process second(command({"read", "1:7:200", "--reply-timeout", "20000"}), directory.file("second"));
    ASSERT_EQ(terminal.take(8), read_200);
    terminal.put(reply_222);
    EXPECT_EQ(second.exit_code(), 0);
    EXPECT_EQ(second.output(), "1:7:200 = 222\n");
}

TEST_F(LateCommands, AReplyToACommandThatWasKilledIsNotTheNextOnesEither) {
    Process first(command({"read", "1:7:100", "--reply-timeout", "1000"}), directory.file("first"));
    ASSERT_EQ(terminal.take(8), read_100);
    later(milliseconds(1500), [this] { terminal.put(reply_111); });
    first.signal(SIGKILL);
    first.exit_code();

    Process second(command({"read", "1:7:200", "--reply-timeout", "20000"}), directory.file("second"));
    ASSERT_EQ(terminal.take(8), read_200);
    terminal.put(reply_222);
    EXPECT_EQ(second.exit_code(), 0);
    EXPECT_EQ(second.output(), "1:7:200 = 222\n");
}

TEST_F(LateCommands, AnInterruptWaitsForTheReplyThatIsOnItsWay) {
    Process reading(command({"read", "1:7:100", "--reply-timeout", "20000"}), directory.file("first"));
    ASSERT_EQ(terminal.take(8), read_100);
    reading.signal(SIGINT);
    later(milliseconds(300), [this] { terminal.put(reply_111); });
    EXPECT_EQ(reading.exit_code(), 0);
    EXPECT_EQ(reading.output(), "1:7:100 = 111\n");
}

TEST_F(LateCommands, ASecondInterruptDoesNotWait) {
    Process reading(command({"read", "1:7:100", "--reply-timeout", "60000"}), directory.file("first"));
    ASSERT_EQ(terminal.take(8), read_100);
    // Two that come at the same time count as one.
    for (int i = 0; i < 20; ++i) {
        reading.signal(SIGINT);
        std::this_thread::sleep_for(milliseconds(100));
    }
    EXPECT_EQ(reading.exit_code(), 1);
}

TEST_F(LateCommands, SayThatTheTimeOutIsTooShort) {
    Process reading(command({"read", "1:7:100", "--reply-timeout", "1000", "--settle", "1000", "--retries", "1"}),
                    directory.file("first"));
    ASSERT_EQ(terminal.take(8), read_100);
    later(milliseconds(1300), [this] { terminal.put(reply_111); });
    EXPECT_EQ(reading.exit_code(), no_reply);
    const std::string output = reading.output();
    EXPECT_NE(output.find("kelpo: station 1 answers after up to 1"), std::string::npos) << output;
    EXPECT_NE(output.find(" ms: reply-ms 1000 is too short\n"), std::string::npos) << output;
}

}  // namespace
