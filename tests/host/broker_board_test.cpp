#include "host/board/board.h"

#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using kelpo::Board;
using kelpo::BoardMessage;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> taken(Board::Follower &follower, std::size_t most = 100) {
    std::vector<std::string> texts;
    for (const BoardMessage &message : follower.take(most))
        texts.push_back(message.topic + "=" + message.payload);
    return texts;
}

void nothing() {}

TEST(Board, GivesEachFollowerTheNewestMessageOfEachTopic) {
    Board board;
    board.put("a", "1");
    Board::Follower one(board, nothing), other(board, nothing);
    EXPECT_THAT(taken(one), ElementsAre("a=1"));
    board.put("b", "2");
    board.put("a", "3");
    EXPECT_THAT(taken(one), ElementsAre("b=2", "a=3"));
    EXPECT_TRUE(one.has_all());
    EXPECT_THAT(taken(one), IsEmpty());
    EXPECT_FALSE(other.has_all());
    EXPECT_THAT(taken(other, 1), ElementsAre("b=2"));
    EXPECT_THAT(taken(other), ElementsAre("a=3"));
}

TEST(Board, CountsWhatAFollowerNeverTook) {
    Board board;
    Board::Follower follower(board, nothing);
    board.put("a", "1");
    board.put("a", "2");
    board.put("a", "3");
    EXPECT_EQ(follower.left_out(), 2U);
    EXPECT_THAT(taken(follower), ElementsAre("a=3"));
    board.put("a", "4");
    EXPECT_EQ(follower.left_out(), 2U);
}

TEST(Board, GivesAllTopicsAgainButNoEvents) {
    Board board;
    Board::Follower follower(board, nothing);
    board.put("a", "1");
    board.add_event("e", "x");
    board.add_answer("r", "y");
    board.put("b", "2");
    EXPECT_THAT(taken(follower), ElementsAre("a=1", "e=x", "r=y", "b=2"));
    follower.begin_again();
    EXPECT_FALSE(follower.has_all());
    board.put("a", "3");
    EXPECT_THAT(taken(follower), ElementsAre("b=2", "a=3"));
    EXPECT_EQ(follower.left_out(), 0U) << "it had taken a=1 before";
}

TEST(Board, PutsATopicLast) {
    Board board;
    Board::Follower follower(board, nothing);
    board.put("status", "online");
    board.put("a", "1");
    board.put_last("status");
    board.put_last("nothing");
    EXPECT_THAT(taken(follower), ElementsAre("a=1", "status=online"));
    EXPECT_EQ(follower.left_out(), 0U);
}

TEST(Board, KeepsTheLastEventsAndAnswersApart) {
    Board board({2, 3});
    Board::Follower follower(board, nothing);
    for (const char *number : {"1", "2", "3", "4"}) {
        board.add_event("e", number);
        board.add_answer("r", number);
    }
    EXPECT_EQ(follower.left_out(), 3U);
    EXPECT_THAT(taken(follower), ElementsAre("r=2", "e=3", "r=3", "e=4", "r=4"));
    board.add_event("e", "5");
    EXPECT_EQ(follower.left_out(), 3U) << "what fell out now was taken before";
}

TEST(Board, TellsItsFollowersFromAnyThread) {
    Board board;
    std::atomic<int> times{0};
    Board::Follower follower(board, [&times] { ++times; });
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&board, i] {
            for (int k = 0; k < 100; ++k)
                board.put("t" + std::to_string(i), std::to_string(k));
        });
    std::size_t seen = 0;
    while (times < 400)
        seen += follower.take(3).size();
    for (std::thread &thread : threads)
        thread.join();
    while (!follower.has_all())
        seen += follower.take(3).size();
    EXPECT_EQ(seen + follower.left_out(), 400U);
    follower.begin_again();
    EXPECT_THAT(taken(follower), testing::UnorderedElementsAre("t0=99", "t1=99", "t2=99", "t3=99"));
}

}  // namespace
