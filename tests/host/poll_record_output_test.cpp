#include "host/poll/record_output.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <string>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace kelpo {
namespace {

class RecordOutputTest : public testing::Test {
protected:
    int ends[2] = {-1, -1};
    StopSignal stop;

    void SetUp() override {
        std::signal(SIGPIPE, SIG_IGN);
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    }
    void TearDown() override {
        close_end(0);
        close_end(1);
    }
    void close_end(int end) {
        if (ends[end] >= 0)
            close(ends[end]);
        ends[end] = -1;
    }
};

TEST_F(RecordOutputTest, WritesAllToASlowReader) {
    const std::string text(300000, 'x');
    std::string received;
    std::thread reader([this, &received] {
        char bytes[1000];
        for (ssize_t count = 0; (count = read(ends[0], bytes, sizeof bytes)) > 0;)
            received.append(bytes, static_cast<std::size_t>(count));
    });
    RecordOutput output(ends[1], stop);
    output.write(text);
    output.write_until(StopSignal::Clock::now() + std::chrono::hours(1));
    EXPECT_EQ(output.waiting(), 0U);
    close_end(1);
    reader.join();
    EXPECT_EQ(received.size(), text.size());
    EXPECT_EQ(received, text);
}

TEST_F(RecordOutputTest, NoticesThatTheReaderHasGone) {
    RecordOutput output(ends[1], stop);
    EXPECT_FALSE(output.reader_gone());
    close_end(0);
    EXPECT_TRUE(output.reader_gone());
    output.write("nobody reads this\n");
}

TEST_F(RecordOutputTest, NoticesThatTheReaderHasGoneWhileItWrites) {
    RecordOutput output(ends[1], stop);
    close_end(0);
    output.write("nobody reads this\n");
    EXPECT_TRUE(output.reader_gone());
}

TEST_F(RecordOutputTest, KeepsWhatNobodyReadsYetAndWaitsForNobody) {
    RecordOutput output(ends[1], stop);
    output.write(std::string(1000000, 'x'));
    const std::size_t waiting = output.waiting();
    EXPECT_GT(waiting, 0U);
    EXPECT_LT(waiting, 1000000U);
    output.write("yz");
    EXPECT_EQ(output.waiting(), waiting + 2);
}

TEST_F(RecordOutputTest, StopsWhereNobodyEverReads) {
    RecordOutput output(ends[1], stop);
    output.write(std::string(1000000, 'x'));
    std::thread writer([&output] { output.write_until(StopSignal::Clock::now() + std::chrono::hours(1)); });
    stop.raise();
    writer.join();
    EXPECT_GT(output.waiting(), 0U);
}

TEST_F(RecordOutputTest, KeepsNothingForAReaderThatHasGone) {
    RecordOutput output(ends[1], stop);
    output.write(std::string(1000000, 'x'));
    close_end(0);
    output.write_until(StopSignal::Clock::now() + std::chrono::hours(1));
    EXPECT_EQ(output.waiting(), 0U);
    EXPECT_TRUE(output.reader_gone());
}

TEST_F(RecordOutputTest, ReportsWhatTheSystemRefuses) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    RecordOutput output(full, stop);
    EXPECT_THROW(output.write("a line\n"), std::system_error);
    close(full);
}

}  // namespace
}  // namespace kelpo
