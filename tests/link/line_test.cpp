#include "host/line/line.h"

#include "line_material.h"
#include "pseudo_terminal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

#include <pthread.h>

namespace {

using kelpo::Line;
using kelpo::LineSettings;
using kelpo::Parity;
using kelpo::ReplyTimeouts;
using kelpo::StopSignal;
using lines::message_of;
using lines::never;
using lines::settings;
using std::chrono::milliseconds;

constexpr ReplyTimeouts short_silence{milliseconds(3600000), milliseconds(20), milliseconds(0)};
constexpr ReplyTimeouts short_reply{milliseconds(20), milliseconds(3600000), milliseconds(0)};

std::string received(Line &line, int expected_length, const ReplyTimeouts &timeouts, std::size_t capacity = 512) {
    std::string buffer(capacity, '\0');
    const std::size_t whole =
        expected_length < 0 ? capacity : std::min(capacity, static_cast<std::size_t>(expected_length));
    buffer.resize(line.receive(
        buffer.data(), 0, [whole](std::string_view) { return whole; }, timeouts));
    return buffer;
}

class LineTest : public testing::Test {
protected:
    PseudoTerminal terminal;
    StopSignal stop;
    Line line{settings(terminal.path()), stop};
};

TEST_F(LineTest, SendsTheBytesAsTheyAre) {
    const std::string request("\x01\x03\x00\x00\x0A\x0D\x11\x13\xFF", 9);
    line.send(request.data(), request.size());
    EXPECT_EQ(terminal.take(request.size()), request);
}

TEST_F(LineTest, SendsMoreThanTheLineHoldsAtOnce) {
    const std::string request(100000, 'x');
    std::string arrived;
    std::thread reader([&] { arrived = terminal.take(request.size()); });
    line.send(request.data(), request.size());
    reader.join();
    EXPECT_EQ(arrived, request);
}

TEST_F(LineTest, ReportsALineThatAcceptsNoBytes) {
    const std::string flood(1000000, 'x');
    EXPECT_EQ(message_of([&] { line.send(flood.data(), flood.size()); }), terminal.path() + ": takes no bytes");
}

TEST_F(LineTest, ReceivesBytesAsTheyAre) {
    const std::string reply("\x01\x03\x00\x0A\x0D\x11\x13\x03\x04\x7F\xFF", 11);
    terminal.put(reply);
    EXPECT_EQ(received(line, 11, never), reply);
}

TEST_F(LineTest, PutsTogetherAReplyThatComesInPieces) {
    std::thread controller([&] {
        for (const char *piece : {"a", "bc", "def", "g"}) {
            terminal.put(piece);
            terminal.wait_until_read();
        }
    });
    EXPECT_EQ(received(line, 7, never), "abcdefg");
    controller.join();
}

TEST_F(LineTest, ReturnsAtTheExpectedLengthWithoutWaitingForSilence) {
    terminal.put("0123456");
    EXPECT_EQ(received(line, 7, never), "0123456");
}

TEST_F(LineTest, LeavesWhatIsBeyondTheExpectedLengthInTheInput) {
    terminal.put("0123456789");
    EXPECT_EQ(received(line, 7, never), "0123456");
    EXPECT_EQ(received(line, 3, never), "789");
}

TEST_F(LineTest, EndsAShortReplyBySilence) {
    terminal.put("01234");
    terminal.wait_until_arrived(5);
    EXPECT_EQ(received(line, 25, short_silence), "01234");
}

// Each byte comes before the silence that would end the reply, and all of them after twenty seconds.
TEST_F(LineTest, GivesUpAReplyThatComesTooSlowly) {
    constexpr ReplyTimeouts timeouts{milliseconds(200), milliseconds(1000), milliseconds(0), {}};
    std::atomic<bool> ended{false};
    std::thread controller([&] {
        while (!ended) {
            terminal.put("x");
            std::this_thread::sleep_for(milliseconds(40));
        }
    });
    EXPECT_LT(received(line, 500, timeouts).size(), 500U);
    ended = true;
    controller.join();
}

TEST_F(LineTest, TakesAReplyOfAnyLengthUntilSilence) {
    terminal.put("0123456789");
    terminal.wait_until_arrived(10);
    EXPECT_EQ(received(line, -1, short_silence), "0123456789");
}

TEST_F(LineTest, TakesNoMoreThanTheBufferHolds) {
    terminal.put("0123456789");
    EXPECT_EQ(received(line, -1, never, 4), "0123");
    EXPECT_EQ(received(line, 100, never, 4), "4567");
}

TEST_F(LineTest, DoesNotWaitWhereNoReplyIsExpected) {
    terminal.put("x");
    EXPECT_EQ(received(line, 0, never), "");
}

TEST_F(LineTest, GivesUpWaitingWhenNothingComes) {
    EXPECT_EQ(received(line, 7, short_reply), "");
    EXPECT_FALSE(line.stop_requested());
}

TEST_F(LineTest, DiscardsStaleInput) {
    terminal.put(std::string(1500, 's'));
    terminal.wait_until_arrived(1500);
    EXPECT_EQ(line.discard_input(), std::string(512, 's'));
    terminal.put("fresh");
    EXPECT_EQ(received(line, 5, never), "fresh");
}

TEST_F(LineTest, DiscardsNothingWhenNothingCame) {
    EXPECT_EQ(line.discard_input(), "");
}

TEST_F(LineTest, DiscardsWhatComesWhileItSettles) {
    std::thread controller([&] {
        // More than the line holds and one read takes out: it is sent only as long as somebody reads.
        terminal.put(std::string(1000000, 's'));
        stop.raise();
    });
    EXPECT_EQ(line.settle(std::chrono::hours(1)), std::string(512, 's'));
    controller.join();
}

TEST_F(LineTest, SettlesWhereNothingComes) {
    EXPECT_EQ(line.settle(milliseconds(20)), "");
}

TEST_F(LineTest, SettlesNoLongerThanItIsAskedTo) {
    terminal.put("fresh");
    terminal.wait_until_arrived(5);
    EXPECT_EQ(line.settle(milliseconds(0)), "");
    EXPECT_EQ(received(line, 5, never), "fresh");
}

TEST_F(LineTest, WaitsForNoSilenceWhereNoneIsKept) {
    terminal.put("stale");
    terminal.wait_until_arrived(5);
    EXPECT_EQ(line.await_silence(), "stale");
    EXPECT_EQ(line.await_silence(), "");
    EXPECT_EQ(line.received(), 5U);
}

TEST_F(LineTest, ReportsAHangUpWhileItWaits) {
    terminal.put("01");
    std::thread controller([&] {
        terminal.wait_until_read();
        terminal.hang_up();
    });
    const std::string message = message_of([&] { received(line, 7, never); });
    controller.join();
    EXPECT_EQ(message.find(terminal.path() + ": "), 0U) << message;
}

TEST_F(LineTest, ReportsAHangUpWhenItDiscardsOrSends) {
    terminal.hang_up();
    EXPECT_NE(message_of([&] { line.discard_input(); }), "no LineError");
    EXPECT_NE(message_of([&] { line.settle(std::chrono::hours(1)); }), "no LineError");
    EXPECT_NE(message_of([&] { line.await_silence(); }), "no LineError");
    EXPECT_NE(message_of([&] { line.send("x", 1); }), "no LineError");
}

TEST_F(LineTest, WaitsForAReplyThoughAnotherThreadAsksToStop) {
    terminal.put("01");
    std::thread other([&] {
        terminal.wait_until_read();
        stop.raise();
        terminal.put("23456");
    });
    EXPECT_EQ(received(line, 7, never), "0123456");
    EXPECT_TRUE(line.stop_requested());
    EXPECT_FALSE(line.broken_off());
    other.join();
}

TEST_F(LineTest, StopsWaitingForAReplyWhenAnotherThreadIsInAHurry) {
    terminal.put("01");
    std::thread other([&] {
        terminal.wait_until_read();
        stop.hurry();
    });
    EXPECT_LE(received(line, 7, never).size(), 2U);
    EXPECT_TRUE(line.stop_requested());
    EXPECT_TRUE(line.broken_off());
    other.join();
}

TEST_F(LineTest, DoesNotWaitAnyMoreOnceStopped) {
    stop.raise();
    line.pause(std::chrono::hours(1));
    EXPECT_EQ(line.listen(kelpo::Channel::Clock::now() + std::chrono::hours(1)), "");
    EXPECT_FALSE(line.send("x", 1));
    EXPECT_EQ(terminal.take_all(), "");
}

StopSignal *signalled = nullptr;

TEST_F(LineTest, StopsWaitingWhenASignalHandlerIsInAHurry) {
    signalled = &stop;
    struct sigaction action {};
    action.sa_handler = [](int) {
        signalled->hurry();
    };
    struct sigaction before {};
    sigaction(SIGUSR1, &action, &before);
    terminal.put("01");
    std::thread other([&, waiting = pthread_self()] {
        terminal.wait_until_read();
        pthread_kill(waiting, SIGUSR1);
    });
    EXPECT_LE(received(line, 7, never).size(), 2U);
    EXPECT_TRUE(line.stop_requested());
    other.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(LineTest, KeepsWaitingWhenASignalInterruptsIt) {
    struct sigaction action {};
    action.sa_handler = [](int) {
    };
    struct sigaction before {};
    sigaction(SIGUSR1, &action, &before);
    std::thread other([&, waiting = pthread_self()] {
        for (int i = 0; i < 100; ++i)
            pthread_kill(waiting, SIGUSR1);
        terminal.put("0123456");
    });
    EXPECT_EQ(received(line, 7, never), "0123456");
    other.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(LineTest, KeepsNoSilenceOnAPseudoTerminal) {
    EXPECT_EQ(line.frame_gap().count(), 0);
}

TEST(LineOpening, KeepsTheSilenceThatIsSet) {
    PseudoTerminal terminal;
    const StopSignal stop;
    LineSettings slow = settings(terminal.path());
    slow.gap = milliseconds(7);
    EXPECT_EQ(Line(slow, stop).frame_gap(), milliseconds(7));
}

TEST(LineOpening, DiscardsWhatComesBeforeTheSilence) {
    PseudoTerminal terminal;
    StopSignal stop;
    LineSettings slow = settings(terminal.path());
    slow.gap = std::chrono::hours(1);
    Line line(slow, stop);
    std::thread controller([&] {
        // More than the line holds: it is sent only as long as somebody reads.
        terminal.put(std::string(1000000, 's'));
        stop.raise();
    });
    EXPECT_EQ(line.await_silence(), std::string(512, 's'));
    controller.join();
    EXPECT_GT(line.received(), 900000U);
}

TEST(LineOpening, DoesNotAwaitTheSilenceOfALineThatBabbles) {
    PseudoTerminal terminal;
    const StopSignal stop;
    LineSettings slow = settings(terminal.path());
    slow.gap = milliseconds(20);
    Line line(slow, stop);
    std::atomic<bool> heard_enough{false}, quiet{false};
    std::thread controller([&] {
        while (!heard_enough)
            terminal.put("s");
        quiet = true;
    });
    line.await_silence();
    heard_enough = true;
    while (!quiet)
        line.discard_input();  // the controller may be waiting for room
    controller.join();
}

TEST(LineOpening, NamesThePathThatDoesNotExist) {
    EXPECT_EQ(
        message_of([] {
            const StopSignal stop;
            Line line(settings("/nowhere/tty"), stop);
        }),
        "/nowhere/tty: cannot be opened: No such file or directory; is the adapter plugged in? ls /dev/serial/by-id "
        "names those that are");
}

TEST(LineOpening, RefusesWhatIsNoLine) {
    const std::string message = message_of([] {
        const StopSignal stop;
        Line line(settings("/dev/null"), stop);
    });
    EXPECT_EQ(message.find("/dev/null: cannot be opened: "), 0U) << message;
    EXPECT_NE(message.find("; a line is a tty, such as /dev/ttyUSB0, or tcp:HOST:PORT"), std::string::npos) << message;
}

TEST(LineOpening, RefusesASpeedThatTheSystemDoesNotKnow) {
    PseudoTerminal terminal;
    const StopSignal stop;
    LineSettings odd = settings(terminal.path());
    odd.speed = 12345;
    const std::string message = message_of([&] { Line line(odd, stop); });
    EXPECT_EQ(message.find(terminal.path() + ": refuses the speed 12345: "), 0U) << message;
}

TEST(LineOpening, PassesOverTheParityThatAPseudoTerminalRefuses) {
    PseudoTerminal terminal;
    const StopSignal stop;
    LineSettings even = settings(terminal.path());
    even.parity = Parity::even;
    even.stop_bits = 2;
    { Line first(even, stop); }
    Line second(even, stop);
    terminal.put("x");
    EXPECT_EQ(received(second, 1, never), "x");
}

TEST(LineOpening, RefusesALineThatAnotherMasterHas) {
    PseudoTerminal terminal;
    const StopSignal stop;
    {
        const Line first(settings(terminal.path()), stop);
        EXPECT_EQ(message_of([&] { Line second(settings(terminal.path()), stop); }),
                  terminal.path() + ": cannot be opened: another program has it, and a line has one master");
    }
    const Line third(settings(terminal.path()), stop);
}

TEST(LineOpening, SaysWhenTheKernelDoesNotSwitchTheTransmitter) {
    PseudoTerminal terminal;
    const StopSignal stop;
    LineSettings two_wires = settings(terminal.path());
    two_wires.rs485 = true;
    const std::string message = message_of([&] { Line line(two_wires, stop); });
    EXPECT_EQ(message.find(terminal.path() + ": its driver does not switch an RS-485 transmitter: "), 0U) << message;
    EXPECT_NE(message.find("; take rs485 out where"), std::string::npos) << message;
}

TEST(LineTimes, FollowFromTheSettings) {
    LineSettings line;
    line.speed = 9600;
    line.parity = Parity::even;
    EXPECT_EQ(line.character_time().count(), 1145833);
    line.parity = Parity::none;
    EXPECT_EQ(line.character_time().count(), 1041666);
    EXPECT_EQ(line.frame_gap().count(), 3645831);
    line.speed = 115200;
    EXPECT_EQ(line.frame_gap().count(), 1750000);
}

}  // namespace
