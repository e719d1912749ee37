#include "host/write/write_queue.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

namespace kelpo {
namespace {

using namespace std::chrono_literals;
using Kind = WriteResult::Kind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const Failure refusal{Failure::Kind::refused, "refused: illegal data address (exception 2)"};
const Failure silence{Failure::Kind::no_reply, "no reply"};
const Failure please_wait{Failure::Kind::not_now, "the controller asks to wait (6A 8B)"};

std::vector<WritePart> parts(int count, int station = 1) {
    return std::vector<WritePart>(static_cast<std::size_t>(count), WritePart{station, 7, "100", 1, "\1"});
}

class WriteQueueTest : public testing::Test {
protected:
    WriteQueue queue;
    const WriteQueue::Time start{1h};

    int add(int requests = 1, int station = 1, std::chrono::milliseconds within = 5s) {
        return queue.add(parts(requests, station), start, within);
    }

    // The number of the request that was passed on.
    int hand_over(std::chrono::milliseconds after = 0ms) {
        const auto request = queue.next(start + after);
        EXPECT_TRUE(request);
        return request ? request->number : -1;
    }

    void answer(int number) {
        queue.ended(number, true);
        queue.exchanged(number, false, std::nullopt);
    }

    std::vector<std::pair<Kind, std::string>> results() {
        std::vector<std::pair<Kind, std::string>> seen;
        for (const WriteResult &result : queue.take_results())
            seen.emplace_back(result.kind, result.text);
        return seen;
    }
};

TEST_F(WriteQueueTest, HandsOverOneRequestAtATimeInTheOrderOfTheWrites) {
    const int first = add(), second = add();
    const int number = hand_over();
    EXPECT_EQ(queue.under_way(), number);
    EXPECT_FALSE(queue.next(start));
    answer(number);
    EXPECT_FALSE(queue.has(first));
    EXPECT_TRUE(queue.has(second));
    const int next = hand_over();
    EXPECT_NE(next, number);
    answer(next);
    EXPECT_FALSE(queue.next(start));
    const std::vector<WriteResult> done = queue.take_results();
    ASSERT_EQ(done.size(), 2U);
    EXPECT_EQ(done[0].id, first);
    EXPECT_EQ(done[0].code, ExitCode::all_well);
    EXPECT_EQ(done[1].id, second);
    EXPECT_THAT(results(), IsEmpty());
    EXPECT_EQ(queue.size(), 0U);
}

TEST_F(WriteQueueTest, NeverHandsOverWhatIsLate) {
    struct Case {
        std::chrono::milliseconds within, asked_after;
        bool handed_over;
        const char *text;
    };
    const Case cases[] = {{5s, 4999ms, true, ""},
                          {5s, 5000ms, false, "not sent within 5 s, and not sent any more"},
                          {5s, 1h, false, "not sent within 5 s, and not sent any more"},
                          {250ms, 249ms, true, ""},
                          {250ms, 250ms, false, "not sent within 250 ms, and not sent any more"}};
    for (const Case &one : cases) {
        add(1, 1, one.within);
        const auto request = queue.next(start + one.asked_after);
        EXPECT_EQ(request.has_value(), one.handed_over) << one.asked_after.count();
        if (request) {
            answer(request->number);
            EXPECT_THAT(results(), ElementsAre(Pair(Kind::done, "")));
        } else {
            EXPECT_THAT(results(), ElementsAre(Pair(Kind::expired, one.text)));
        }
        EXPECT_EQ(queue.size(), 0U);
    }
}

TEST_F(WriteQueueTest, ReportsLateWritesWithoutALine) {
    add(1, 1, 1s);
    add(1, 1, 3s);
    queue.line_lost("hung up");
    queue.expire(start + 2s);
    const std::vector<WriteResult> late = queue.take_results();
    ASSERT_EQ(late.size(), 1U);
    EXPECT_EQ(late[0].kind, Kind::expired);
    EXPECT_EQ(late[0].code, ExitCode::not_right);
    EXPECT_EQ(queue.size(), 1U);
}

TEST_F(WriteQueueTest, CarriesAWriteThroughThatWasBegunInTime) {
    add(3);
    answer(hand_over(4s));
    EXPECT_EQ(queue.requests(), 3U);
    answer(hand_over(10s));
    EXPECT_THAT(results(), IsEmpty());
    answer(hand_over(20s));
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::done, "")));
}

// The link may listen for long before it sends.
TEST_F(WriteQueueTest, LetsNothingLeaveThatHasBecomeLateOnTheWay) {
    add();
    const int number = hand_over(4s);
    EXPECT_FALSE(queue.may_leave(number, true, start + 5s));
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::expired, "not sent within 5 s, and not sent any more")));
    EXPECT_EQ(queue.size(), 0U);
}

TEST_F(WriteQueueTest, LetsTheRestAndTheRepetitionOfAWriteLeaveThatWasSentInTime) {
    add(2);
    const int first = hand_over();
    EXPECT_TRUE(queue.may_leave(first, true, start + 4s));
    EXPECT_TRUE(queue.may_leave(first, true, start + 9s));
    answer(first);
    EXPECT_TRUE(queue.may_leave(hand_over(9s), true, start + 9s));
    EXPECT_THAT(results(), IsEmpty());
}

TEST_F(WriteQueueTest, LetsTheWritingHalfOfABitNotLeaveLateThoughItsReadingHalfDidInTime) {
    add();
    const int number = hand_over();
    EXPECT_TRUE(queue.may_leave(number, false, start + 1s));
    EXPECT_FALSE(queue.may_leave(number, true, start + 5s));
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::expired, testing::_)));
}

TEST_F(WriteQueueTest, LetsLeaveWhatIsNotItsOwn) {
    add();
    EXPECT_TRUE(queue.may_leave(hand_over() + 1, true, start + 9s));
    EXPECT_EQ(queue.size(), 1U);
}

TEST_F(WriteQueueTest, WaitsForTheWritingHalfOfABit) {
    add();
    const int number = hand_over();
    queue.exchanged(number, false, std::nullopt);  // the register was read
    EXPECT_EQ(queue.under_way(), number);
    EXPECT_THAT(results(), IsEmpty());
    answer(number);
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::done, "")));
}

TEST_F(WriteQueueTest, SaysWhyAWriteFailedAndWhetherItMayHaveBeenCarriedOut) {
    struct Case {
        Failure failure;
        ExitCode code;
        const char *text;
    };
    const Case cases[] = {{refusal, ExitCode::refused, "refused: illegal data address (exception 2)"},
                          {silence, ExitCode::no_reply, "no reply; it may have been written anyway"}};
    for (const Case &one : cases) {
        add();
        const int number = hand_over();
        queue.exchanged(number, true, one.failure);
        EXPECT_EQ(queue.size(), 1U);
        queue.ended(number, false);
        queue.exchanged(number, false, one.failure);
        const std::vector<WriteResult> failed = queue.take_results();
        ASSERT_EQ(failed.size(), 1U);
        EXPECT_EQ(failed[0].kind, Kind::failed);
        EXPECT_EQ(failed[0].code, one.code);
        EXPECT_EQ(failed[0].text, one.text);
    }
}

TEST_F(WriteQueueTest, SaysHowMuchOfAWriteWasDoneAndSendsNoMoreOfIt) {
    add(3);
    add();
    answer(hand_over());
    answer(hand_over());
    queue.exchanged(hand_over(), false, refusal);
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::failed, "refused: illegal data address (exception 2); 2 of its 3 "
                                                          "requests were carried out before")));
    answer(hand_over());
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::done, "")));
}

TEST_F(WriteQueueTest, DoesNotKnowWhatBecameOfAWriteWhoseLineWasLost) {
    add();
    add();
    const int number = hand_over();
    queue.line_lost("hung up");
    // What the driver says about it now comes too late.
    answer(number);
    EXPECT_THAT(results(),
                ElementsAre(Pair(Kind::failed, "the line was lost: hung up; it may have been written anyway")));
    answer(hand_over(4s));
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::done, "")));
}

TEST_F(WriteQueueTest, SendsTheRestOfAWriteNoMoreWhenTheLineWasLostInBetween) {
    add(3);
    answer(hand_over());
    queue.line_lost("hung up");
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::failed, "the line was lost: hung up; 1 of its 3 requests were "
                                                          "carried out before")));
    EXPECT_FALSE(queue.next(start));
}

TEST_F(WriteQueueTest, FailsWhatWaitsForAStationThatIsSwitchedOff) {
    add(1, 1);
    add(1, 2);
    add(1, 1);
    queue.station_off(1, "station 1 was switched off");
    add(1, 1);
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::failed, "station 1 was switched off"),
                                       Pair(Kind::failed, "station 1 was switched off"),
                                       Pair(Kind::failed, "station 1 was switched off")));
    EXPECT_EQ(queue.next(start)->part.station, 2);
}

TEST_F(WriteQueueTest, TakesWritesForAStationThatIsOnAgain) {
    queue.station_off(1, "station 1 was switched off");
    queue.station_on(1);
    add(1, 1);
    EXPECT_EQ(queue.next(start)->part.station, 1);
}

TEST_F(WriteQueueTest, LetsWritesWaitForAStationAndOthersPass) {
    queue = WriteQueue(IfAway::wait);
    queue.station_off(1, "station 1 was switched off");
    queue.station_rests(3, "station 3 rests");
    const int off = add(1, 1), rests = add(1, 3), third = add(1, 1), living = add(1, 2);
    answer(hand_over());
    EXPECT_FALSE(queue.has(living));
    EXPECT_FALSE(queue.next(start));
    queue.station_on(1);
    answer(hand_over());
    EXPECT_FALSE(queue.has(off));
    EXPECT_TRUE(queue.has(third));
    answer(hand_over());
    EXPECT_FALSE(queue.next(start));
    queue.rest_ended(3);
    answer(hand_over());
    EXPECT_FALSE(queue.has(rests));
    EXPECT_EQ(results(), (std::vector<std::pair<Kind, std::string>>(4, {Kind::done, ""})));
}

TEST_F(WriteQueueTest, LetsWritesWaitForAStationNoLongerThanTheyMay) {
    queue = WriteQueue(IfAway::wait);
    queue.station_rests(3, "station 3 rests");
    add(1, 3);
    EXPECT_FALSE(queue.next(start + 4999ms));
    EXPECT_FALSE(queue.next(start + 5s));
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::expired, "not sent within 5 s, and not sent any more")));
    queue.rest_ended(3);
    EXPECT_FALSE(queue.next(start + 6s));
}

TEST_F(WriteQueueTest, FailsAtOnceWhatIsForALostLineIfItIsNotToWait) {
    queue = WriteQueue(IfAway::fail);
    add();
    queue.line_lost("hung up");
    add();
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::failed, "the line was lost: hung up; it was not sent"),
                                       Pair(Kind::failed, "the line is lost: hung up; it was not sent")));
    queue.line_opened();
    add();
    answer(hand_over());
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::done, "")));
}

TEST_F(WriteQueueTest, FailsAtOnceWhatIsForAStationThatRests) {
    add(1, 3);
    add(1, 1);
    queue.station_rests(3, "station 3 rests");
    queue.station_rests(3, "station 3 rests");
    add(1, 3);
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::failed, "station 3 rests; it was not sent"),
                                       Pair(Kind::failed, "station 3 rests; it was not sent")));
    answer(hand_over());
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::done, "")));
    queue.rest_ended(3);
    add(1, 3);
    answer(hand_over());
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::done, "")));
}

TEST_F(WriteQueueTest, SendsNoMoreOfAWriteWhoseStationRests) {
    add(3, 3);
    answer(hand_over());
    queue.station_rests(3, "station 3 rests");
    EXPECT_FALSE(queue.next(start));
    const std::vector<WriteResult> failed = queue.take_results();
    ASSERT_EQ(failed.size(), 1U);
    EXPECT_EQ(failed[0].code, ExitCode::no_reply);
    EXPECT_EQ(failed[0].text, "station 3 rests; 1 of its 3 requests were carried out before");
}

TEST_F(WriteQueueTest, FailsWhatTheDriverDropped) {
    add();
    hand_over();
    queue.dropped("the driver did not send it");
    queue.dropped("once more");
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::failed, "the driver did not send it")));
}

TEST_F(WriteQueueTest, GivesEveryWriteAResultAtTheEnd) {
    add();
    add();
    hand_over();
    queue.end("was ended", ExitCode::not_right);
    EXPECT_THAT(results(), ElementsAre(Pair(Kind::failed, "was ended; it may have been written anyway"),
                                       Pair(Kind::failed, "was ended; it was not sent")));
    queue.end("was ended", ExitCode::not_right);
    EXPECT_THAT(results(), IsEmpty());
    EXPECT_EQ(queue.size(), 0U);
}

TEST_F(WriteQueueTest, SaysAtTheEndThatTheControllerAskedToWait) {
    add();
    queue.exchanged(hand_over(), true, please_wait);
    queue.end("was ended", ExitCode::not_right);
    const std::vector<WriteResult> result = queue.take_results();
    ASSERT_EQ(result.size(), 1U);
    EXPECT_EQ(result[0].code, ExitCode::bad_reply);
    EXPECT_EQ(result[0].text, "the controller asks to wait (6A 8B); it may have been written anyway");
}

TEST_F(WriteQueueTest, DoesNotTakeAnotherRequestForItsOwn) {
    add();
    const int number = hand_over();
    queue.ended(number + 1, true);
    queue.exchanged(number + 1, false, std::nullopt);
    EXPECT_EQ(queue.under_way(), number);
    EXPECT_THAT(results(), IsEmpty());
}

}  // namespace
}  // namespace kelpo
