#include "host/line/stop_signal.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

#include <poll.h>
#include <unistd.h>

namespace {

using kelpo::StopSignal;
using Clock = StopSignal::Clock;
using Wait = StopSignal::Wait;
using std::chrono::hours;
using std::chrono::milliseconds;

class Pipe {
public:
    Pipe() {
        EXPECT_EQ(pipe(ends_), 0);
    }
    ~Pipe() {
        close(ends_[0]);
        close(ends_[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    int reading() const {
        return ends_[0];
    }
    void put() const {
        EXPECT_EQ(write(ends_[1], "x", 1), 1);
    }

private:
    int ends_[2];
};

TEST(StopSignalTest, IsNotRaisedAtFirst) {
    const StopSignal stop;
    EXPECT_FALSE(stop.raised());
    EXPECT_FALSE(stop.wait_for(milliseconds(0)));
    EXPECT_FALSE(stop.wait_for(milliseconds(-5)));
}

TEST(StopSignalTest, EndsAllWaitsThatRunAndAllThatComeLater) {
    StopSignal stop;
    const Pipe silent;
    std::vector<std::thread> waiting;
    for (int i = 0; i < 3; ++i)
        waiting.emplace_back([&] { EXPECT_TRUE(stop.wait_for(hours(1))); });
    waiting.emplace_back(
        [&] { EXPECT_EQ(stop.wait_for_descriptor(silent.reading(), POLLIN, Clock::now() + hours(1)), Wait::stopped); });
    stop.raise();
    for (std::thread &thread : waiting)
        thread.join();
    EXPECT_TRUE(stop.wait_for(hours(1)));
    stop.raise();
    EXPECT_TRUE(stop.wait_for(hours(1)));
}

TEST(StopSignalTest, WaitsNoShorterThanItIsAskedTo) {
    const StopSignal stop;
    const Pipe silent;
    for (const auto time : {std::chrono::microseconds(30), std::chrono::microseconds(20000)}) {
        auto begun = Clock::now();
        EXPECT_FALSE(stop.wait_for(time));
        EXPECT_GE(Clock::now() - begun, time);
        begun = Clock::now();
        EXPECT_EQ(stop.wait_for_descriptor(silent.reading(), POLLIN, begun + time), Wait::timed_out);
        EXPECT_GE(Clock::now() - begun, time);
    }
}

TEST(StopSignalTest, LooksAtTheDescriptorEvenAfterTheDeadline) {
    const StopSignal stop;
    const Pipe pipe;
    const auto over = Clock::now() - hours(1);
    EXPECT_EQ(stop.wait_for_descriptor(pipe.reading(), POLLIN, over), Wait::timed_out);
    pipe.put();
    EXPECT_EQ(stop.wait_for_descriptor(pipe.reading(), POLLIN, over), Wait::ready);
}

TEST(StopSignalTest, GoesBeforeADescriptorThatIsReady) {
    StopSignal stop;
    const Pipe pipe;
    pipe.put();
    stop.raise();
    EXPECT_EQ(stop.wait_for_descriptor(pipe.reading(), POLLIN, Clock::now() + hours(1)), Wait::stopped);
}

TEST(StopSignalTest, LeavesErrnoToThoseWhomASignalInterrupts) {
    StopSignal stop;
    // So full that it takes no more: raising it fails, and still nobody else's errno changes.
    const std::uint64_t most = 0xFFFFFFFFFFFFFFFE;
    ASSERT_EQ(write(stop.descriptor(), &most, sizeof most), static_cast<ssize_t>(sizeof most));
    errno = ENOTDIR;
    stop.raise();
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_TRUE(stop.raised());
}

}  // namespace
