#include "plc/program/controller.h"

#include "hex.h"
#include "plc/memory/memory_reader.h"
#include "temporary_folder.h"

#include <gtest/gtest.h>

namespace plc {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

class ControllerTest : public testing::Test {
protected:
    ControllerTest() {
        settings_.stations = {1, 2};
        settings_.moment = milliseconds(0);
    }

    void start() {
        controller_.emplace(settings_, std::nullopt, now_);
    }

    void start_with_memory() {
        controller_.emplace(settings_, folder_ / "memory", now_);
    }

    MemoryReader reader() const {
        return MemoryReader::open(folder_ / "memory");
    }

    void pass(std::chrono::nanoseconds time) {
        now_ += time;
        controller_->advance(now_);
    }

    std::optional<Bytes> due_reply() {
        const std::optional<Sending> sending = controller_->take_due(now_);
        return sending ? std::optional(sending->bytes) : std::nullopt;
    }

    // Sends, waits longer than any turnaround or silence in these tests, and takes the reply.
    std::optional<Bytes> exchange(const Bytes &request) {
        controller_->receive(request, now_);
        pass(milliseconds(10));
        return due_reply();
    }

    Settings settings_;
    TemporaryFolder folder_;
    Controller::TimePoint now_{std::chrono::seconds(1000)};
    std::optional<Controller> controller_;
};

const Bytes read_register_100 = hex("01 03 00 64 00 01 C5 D5");
const Bytes register_100_is_0 = hex("01 03 02 00 00 B8 44");

TEST_F(ControllerTest, EveryStationHasAMemoryOfItsOwn) {
    start();
    EXPECT_EQ(exchange(hex("01 06 00 64 00 0B 89 D2")), hex("01 06 00 64 00 0B 89 D2"));
    EXPECT_EQ(exchange(hex("02 06 00 64 00 16 49 E8")), hex("02 06 00 64 00 16 49 E8"));
    EXPECT_EQ(exchange(hex("01 03 00 64 00 01 C5 D5")), hex("01 03 02 00 0B F9 83"));
    EXPECT_EQ(exchange(hex("02 03 00 64 00 01 C5 E6")), hex("02 03 02 00 16 7D 8A"));
}

TEST_F(ControllerTest, IgnoresOtherStations) {
    start();
    EXPECT_EQ(exchange(hex("03 03 00 64 00 01 C4 37")), std::nullopt);
    EXPECT_EQ(exchange(hex("03 02 00 64 00 01 F9 F7")), std::nullopt);
    EXPECT_EQ(exchange(read_register_100), register_100_is_0);
}

TEST_F(ControllerTest, BroadcastWritesReachAllStationsWithoutAReply) {
    start();
    EXPECT_EQ(exchange(hex("00 06 00 64 12 34 C4 B3")), std::nullopt);
    EXPECT_EQ(exchange(hex("01 03 00 64 00 01 C5 D5")), hex("01 03 02 12 34 B5 33"));
    EXPECT_EQ(exchange(hex("02 03 00 64 00 01 C5 E6")), hex("02 03 02 12 34 F1 33"));

    EXPECT_EQ(exchange(hex("00 05 00 64 FF 00 CC 34")), std::nullopt);
    EXPECT_EQ(exchange(hex("00 0F 00 65 00 02 01 02 D2 92")), std::nullopt);
    EXPECT_EQ(exchange(hex("02 01 00 64 00 03 3D E7")), hex("02 01 01 05 91 CF"));

    EXPECT_EQ(exchange(hex("00 10 00 64 00 01 02 56 78 9C 66")), std::nullopt);
    EXPECT_EQ(exchange(hex("02 03 00 64 00 01 C5 E6")), hex("02 03 02 56 78 C3 C6"));
}

TEST_F(ControllerTest, OtherBroadcastsAreIgnored) {
    start();
    EXPECT_EQ(exchange(hex("00 03 00 64 00 01 C4 04")), std::nullopt);
    EXPECT_EQ(exchange(hex("00 02 00 64 00 01 F9 C4")), std::nullopt);
    EXPECT_EQ(exchange(hex("00 05 00 64 12 34 80 B3")), std::nullopt);
    EXPECT_EQ(exchange(hex("01 01 00 64 00 01 BC 15")), hex("01 01 01 00 51 88"));
}

TEST_F(ControllerTest, AReplyIsDueAfterTheTurnaround) {
    settings_.turnaround = milliseconds(3);
    start();
    controller_->receive(read_register_100, now_);
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(3));
    pass(microseconds(2999));
    EXPECT_EQ(due_reply(), std::nullopt);
    pass(microseconds(1));
    EXPECT_EQ(due_reply(), register_100_is_0);
    EXPECT_EQ(due_reply(), std::nullopt);
}

TEST_F(ControllerTest, AReplyIsDueAtOnceWithoutATurnaround) {
    settings_.turnaround = milliseconds(0);
    start();
    controller_->receive(read_register_100, now_);
    EXPECT_EQ(due_reply(), register_100_is_0);
}

TEST_F(ControllerTest, AReplyWaitsForTheBytesOfRequestAndReplyOnTheWire) {
    settings_.turnaround = milliseconds(2);
    settings_.baud = 10000;
    start();
    controller_->receive(read_register_100, now_);
    // 8 + 7 bytes of 10 bits are 15 ms.
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(17));
    pass(microseconds(16999));
    EXPECT_EQ(due_reply(), std::nullopt);
    pass(microseconds(1));
    EXPECT_EQ(due_reply(), register_100_is_0);
}

TEST_F(ControllerTest, RepliesKeepTheOrderOfTheirRequests) {
    settings_.baud = 10000;
    start();
    controller_->receive(hex("01 03 00 64 00 7D C4 34"), now_);
    pass(milliseconds(1));
    controller_->receive(hex("01 06 00 64 12 34 C5 62"), now_);
    pass(milliseconds(30));
    EXPECT_EQ(due_reply(), std::nullopt);
    pass(milliseconds(1000));
    EXPECT_EQ(due_reply()->size(), 255u);
    EXPECT_EQ(due_reply(), hex("01 06 00 64 12 34 C5 62"));
}

TEST_F(ControllerTest, ARequestMayComeInPiecesWithGapsBelowTheSilence) {
    start();
    for (const std::uint8_t byte : read_register_100) {
        pass(microseconds(4999));
        controller_->receive({byte}, now_);
    }
    pass(milliseconds(1));
    EXPECT_EQ(due_reply(), register_100_is_0);
}

TEST_F(ControllerTest, ASilenceCutsARequestInTwo) {
    start();
    controller_->receive(hex("01 03 00"), now_);
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(5));
    pass(milliseconds(5));
    EXPECT_EQ(controller_->next_deadline(), std::nullopt);
    EXPECT_EQ(exchange(hex("64 00 01 C5 D5")), std::nullopt);
    EXPECT_EQ(exchange(read_register_100), register_100_is_0);
}

TEST_F(ControllerTest, ARequestAfterGarbageIsAnsweredAfterTheSilence) {
    settings_.turnaround = milliseconds(1);
    start();
    controller_->receive(hex("55 AA"), now_);
    controller_->receive(read_register_100, now_);
    pass(microseconds(4999));
    EXPECT_EQ(due_reply(), std::nullopt);
    pass(microseconds(1));
    EXPECT_EQ(due_reply(), register_100_is_0);
}

TEST_F(ControllerTest, AnUnknownFunctionGetsAnExceptionAfterTheSilence) {
    start();
    controller_->receive(hex("01 02 00 00 00 01 B9 CA"), now_);
    pass(milliseconds(4));
    EXPECT_EQ(due_reply(), std::nullopt);
    pass(milliseconds(1));
    EXPECT_EQ(due_reply(), hex("01 82 01 81 60"));
}

TEST_F(ControllerTest, TheSilenceIsAsLongAsItIsSet) {
    settings_.silence = milliseconds(50);
    start();
    controller_->receive(hex("55"), now_);
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(50));
    pass(milliseconds(49));
    EXPECT_NE(controller_->next_deadline(), std::nullopt);
    pass(milliseconds(1));
    EXPECT_EQ(controller_->next_deadline(), std::nullopt);
}

TEST_F(ControllerTest, ValuesStepAtEveryMoment) {
    settings_.moment = milliseconds(500);
    start();
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(500));
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 03 E8 B8 FA"));
    pass(milliseconds(490));
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 03 E9 79 3A"));
    pass(milliseconds(489));
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 03 E9 79 3A"));
    pass(milliseconds(1));
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 03 EA 39 3B"));
}

TEST_F(ControllerTest, OneStepIsTakenAfterADelayOfManyMoments) {
    settings_.moment = milliseconds(500);
    start();
    pass(milliseconds(5250));
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(500));
    controller_->advance(now_);
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 03 E9 79 3A"));
}

TEST_F(ControllerTest, ValuesStandStillWithoutMoments) {
    start();
    EXPECT_EQ(controller_->next_deadline(), std::nullopt);
    pass(std::chrono::hours(1));
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 03 E8 B8 FA"));
}

TEST_F(ControllerTest, AWriteIntoAMovingZoneHoldsUntilTheNextMoment) {
    settings_.moment = milliseconds(500);
    start();
    EXPECT_EQ(exchange(hex("01 06 00 00 12 34 84 BD")), hex("01 06 00 00 12 34 84 BD"));
    pass(milliseconds(400));
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 12 34 B5 33"));
    pass(milliseconds(100));
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 03 E9 79 3A"));
}

TEST_F(ControllerTest, AWriteOutsideTheMovingZonesStays) {
    settings_.moment = milliseconds(500);
    start();
    exchange(hex("01 06 00 64 12 34 C5 62"));
    pass(milliseconds(500));
    EXPECT_EQ(exchange(hex("01 03 00 64 00 01 C5 D5")), hex("01 03 02 12 34 B5 33"));
}

TEST_F(ControllerTest, AFaultKeepsBackTheReplyToARequestThatIsCarriedOut) {
    settings_.faults = {parse_fault("no-reply station=1 function=6 times=1")};
    start();
    EXPECT_EQ(exchange(hex("01 06 00 64 12 34 C5 62")), std::nullopt);
    EXPECT_EQ(exchange(hex("01 03 00 64 00 01 C5 D5")), hex("01 03 02 12 34 B5 33"));
    EXPECT_EQ(exchange(hex("02 06 00 64 00 16 49 E8")), hex("02 06 00 64 00 16 49 E8"));
    EXPECT_EQ(exchange(hex("01 06 00 64 00 0B 89 D2")), hex("01 06 00 64 00 0B 89 D2"));
}

TEST_F(ControllerTest, AStationsNextReplyWaitsForALateOneAndAnotherStationsDoesNot) {
    settings_.faults = {parse_fault("late ms=80 times=1")};
    start();
    controller_->receive(hex("01 03 00 64 00 01 C5 D5"), now_);
    controller_->receive(hex("01 06 00 64 12 34 C5 62"), now_);
    controller_->receive(hex("02 03 00 64 00 01 C5 E6"), now_);
    pass(milliseconds(1));
    EXPECT_EQ(due_reply(), hex("02 03 02 00 00 FC 44"));
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(80));
    pass(microseconds(79999));
    EXPECT_EQ(due_reply(), std::nullopt);
    pass(microseconds(1));
    EXPECT_EQ(due_reply(), hex("01 03 02 00 00 B8 44"));
    EXPECT_EQ(due_reply(), hex("01 06 00 64 12 34 C5 62"));
}

TEST_F(ControllerTest, AReplyInPiecesIsSentPieceByPiece) {
    settings_.turnaround = milliseconds(3);
    settings_.faults = {parse_fault("pieces size=4 gap=2")};
    start();
    controller_->receive(read_register_100, now_);
    pass(milliseconds(3));
    const auto first = controller_->take_due(now_);
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->bytes, hex("01 03 02 00"));
    EXPECT_FALSE(first->ends_reply);
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(2));
    EXPECT_EQ(due_reply(), std::nullopt);
    pass(milliseconds(2));
    const auto second = controller_->take_due(now_);
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(second->bytes, hex("00 B8 44"));
    EXPECT_TRUE(second->ends_reply);
    EXPECT_EQ(controller_->next_deadline(), std::nullopt);
}

TEST_F(ControllerTest, APartOfAReplyWaitsForItsOwnBytesOnTheWire) {
    settings_.turnaround = milliseconds(0);
    settings_.baud = 10000;
    settings_.faults = {parse_fault("pieces size=4 gap=2")};
    start();
    controller_->receive(read_register_100, now_);
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(8 + 4));
    pass(milliseconds(12));
    EXPECT_EQ(due_reply(), hex("01 03 02 00"));
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(2 + 3));
}

TEST_F(ControllerTest, AByteTakesAsManyBitsAsAreSet) {
    settings_.turnaround = milliseconds(0);
    settings_.baud = 10000;
    settings_.bits_per_byte = 12;
    start();
    controller_->receive(read_register_100, now_);
    // 8 + 7 bytes of 12 bits.
    EXPECT_EQ(controller_->next_deadline(), now_ + milliseconds(18));
}

TEST_F(ControllerTest, ADeadStationDoesNothingUntilItAnswersAgain) {
    settings_.faults = {parse_fault("dead station=2 after=1 times=2")};
    start();
    EXPECT_EQ(exchange(hex("02 03 00 64 00 01 C5 E6")), hex("02 03 02 00 00 FC 44"));
    EXPECT_EQ(exchange(hex("02 06 00 64 00 16 49 E8")), std::nullopt);
    EXPECT_EQ(exchange(hex("00 06 00 64 12 34 C4 B3")), std::nullopt);
    EXPECT_EQ(exchange(hex("01 03 00 64 00 01 C5 D5")), hex("01 03 02 12 34 B5 33"));
    EXPECT_EQ(exchange(hex("02 03 00 64 00 01 C5 E6")), hex("02 03 02 00 00 FC 44"));
    EXPECT_EQ(controller_->fault_counts()[0].fitted, 4u);
    EXPECT_EQ(controller_->fault_counts()[0].happened, 2u);
}

TEST_F(ControllerTest, ARefusedRequestIsNotCarriedOut) {
    settings_.faults = {parse_fault("exception function=6")};
    start();
    EXPECT_EQ(exchange(hex("01 06 00 64 12 34 C5 62")), hex("01 86 04 43 A3"));
    EXPECT_EQ(exchange(hex("01 03 00 64 00 01 C5 D5")), hex("01 03 02 00 00 B8 44"));
}

TEST_F(ControllerTest, ARequestWhoseReplyIsSpoiledIsCarriedOut) {
    settings_.faults = {parse_fault("wrong-station function=6")};
    start();
    EXPECT_EQ(exchange(hex("01 06 00 64 12 34 C5 62")), hex("02 06 00 64 12 34 C5 51"));
    EXPECT_EQ(exchange(hex("01 03 00 64 00 01 C5 D5")), hex("01 03 02 12 34 B5 33"));
}

TEST_F(ControllerTest, TheSeedDecidesWhatIsLeftToChance) {
    settings_.faults = {parse_fault("noise bytes=2")};
    start();
    EXPECT_EQ(exchange(read_register_100), hex("07 3C"));
    settings_.seed = 2;
    start();
    EXPECT_NE(exchange(read_register_100), hex("07 3C"));
}

TEST_F(ControllerTest, PresetsAreThereFromTheStart) {
    settings_.presets = {parse_preset("2,register,101,-5,0x1234"), parse_preset("2,coil,101,1,0,1"),
                         parse_preset("2,register,102,7")};
    start_with_memory();
    EXPECT_EQ(exchange(hex("02 01 00 65 00 03 6C 27")), hex("02 01 01 05 91 CF"));
    EXPECT_EQ(exchange(hex("02 03 00 65 00 02 D4 27")), hex("02 03 04 FF FB 00 07 C9 14"));
    EXPECT_EQ(exchange(hex("01 03 00 65 00 02 D4 14")), hex("01 03 04 00 00 00 00 FA 33"));
    EXPECT_EQ(reader().holding_register(2, 101, 0), 0xFFFB);
    EXPECT_EQ(reader().coil(2, 103, 0), true);
}

TEST_F(ControllerTest, APresetInAMovingZoneHoldsUntilTheNextMoment) {
    settings_.moment = milliseconds(500);
    settings_.presets = {parse_preset("1,register,0,0x1234")};
    start();
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 12 34 B5 33"));
    pass(milliseconds(490));
    EXPECT_EQ(exchange(hex("01 03 00 00 00 01 84 0A")), hex("01 03 02 03 E9 79 3A"));
}

TEST_F(ControllerTest, TheMemoryFileCountsHowOftenEachFaultHappened) {
    settings_.faults = {parse_fault("garbled function=6"), parse_fault("dead station=2 every=2")};
    start_with_memory();
    const MemoryReader memory = reader();
    ASSERT_EQ(memory.fault_counts().size(), 2u);
    EXPECT_EQ(memory.fault_counts()[1].fitted, 0u);
    exchange(hex("02 03 00 64 00 01 C5 E6"));
    exchange(hex("02 03 00 64 00 01 C5 E6"));
    exchange(hex("01 06 00 64 12 34 C5 62"));
    exchange(hex("00 06 00 64 12 34 C4 B3"));
    EXPECT_EQ(memory.fault_counts()[0].fitted, 1u);
    EXPECT_EQ(memory.fault_counts()[0].happened, 1u);
    EXPECT_EQ(memory.fault_counts()[1].fitted, 3u);
    EXPECT_EQ(memory.fault_counts()[1].happened, 2u);
}

TEST_F(ControllerTest, TheMemoryFileLogsWhatTheLineWrites) {
    settings_.moment = milliseconds(500);
    start_with_memory();
    const MemoryReader memory = reader();
    exchange(hex("01 06 00 00 12 34 84 BD"));
    pass(milliseconds(500));
    exchange(hex("00 06 00 64 12 34 C4 B3"));
    exchange(hex("01 05 00 64 12 34 81 62"));  // refused: no such coil value
    const auto log = memory.writes_from(0);
    ASSERT_TRUE(log.has_value());
    ASSERT_EQ(log->size(), 3u);
    EXPECT_EQ((*log)[0].station, 1u);
    EXPECT_EQ((*log)[0].before, 1000);
    EXPECT_EQ((*log)[0].after, 0x1234);
    EXPECT_EQ((*log)[0].moment, 0u);
    EXPECT_EQ((*log)[1].station, 1u);
    EXPECT_EQ((*log)[2].station, 2u);
    EXPECT_EQ((*log)[2].address, 100u);
    EXPECT_EQ((*log)[2].moment, 1u);
}

TEST_F(ControllerTest, TheMemoryFileFollowsTheMoments) {
    settings_.moment = milliseconds(500);
    start_with_memory();
    const MemoryReader memory = reader();
    EXPECT_EQ(memory.stations(), (std::vector<unsigned>{1, 2}));
    EXPECT_EQ(memory.holding_register(2, 0, 0), 2000);
    pass(milliseconds(500));
    EXPECT_EQ(memory.moment(), 1u);
    EXPECT_EQ(memory.holding_register(2, 0, 0), 2000);
    EXPECT_EQ(memory.holding_register(2, 0, 1), 2001);
}

TEST_F(ControllerTest, TheMemoryFileShowsWhatTheLineWrites) {
    start_with_memory();
    const MemoryReader memory = reader();
    exchange(hex("02 06 00 64 12 34 C5 51"));
    EXPECT_EQ(memory.holding_register(2, 100, 0), 0x1234);
    EXPECT_EQ(memory.holding_register(1, 100, 0), 0);
    exchange(hex("00 0F 00 64 00 02 01 03 2E 92"));
    EXPECT_EQ(memory.coil(1, 101, 0), true);
    EXPECT_EQ(memory.coil(2, 101, 0), true);
}

TEST_F(ControllerTest, TheMemoryFileLogsEachRequestWithWhatBecameOfIt) {
    settings_.faults = {parse_fault("dead after=1 times=1")};
    start_with_memory();
    const MemoryReader memory = reader();
    exchange(hex("02 06 00 64 12 34 C5 51"));
    exchange(hex("03 03 00 64 00 01 C4 37"));  // for another station: not ours
    exchange(hex("02 06 00 64 12 34 C5 51"));  // does not get through
    exchange(hex("00 06 00 64 12 34 C4 B3"));  // for all
    const auto requests = memory.requests_from(0);
    ASSERT_TRUE(requests && requests->size() == 3);
    EXPECT_EQ(requests->at(0).ends_at, 8u);
    EXPECT_EQ(requests->at(0).writes, 1u);
    EXPECT_EQ(requests->at(0).fault, 0u);
    EXPECT_EQ(requests->at(1).ends_at, 24u);
    EXPECT_EQ(requests->at(1).writes, 0u);
    EXPECT_EQ(requests->at(1).fault, 1u);
    EXPECT_EQ(requests->at(2).ends_at, 32u);
    EXPECT_EQ(requests->at(2).first_write, 1u);
    EXPECT_EQ(requests->at(2).writes, 2u);
}

TEST_F(ControllerTest, TheMemoryFileLogsWhatWasSentAndForWhichRequest) {
    settings_.faults = {parse_fault("twice after=1")};
    start_with_memory();
    const MemoryReader memory = reader();
    for (int i = 0; i < 2; ++i)
        controller_->receive(read_register_100, now_);
    pass(milliseconds(10));
    while (const auto sending = controller_->take_due(now_))
        controller_->note_sent(*sending, now_);
    const auto pieces = memory.pieces_from(0);
    ASSERT_TRUE(pieces && pieces->size() == 3);
    EXPECT_EQ(pieces->at(0).request, 0u);
    EXPECT_EQ(pieces->at(0).ends_at, 7u);
    EXPECT_EQ(pieces->at(0).microseconds, 1000010000u);
    EXPECT_EQ(pieces->at(1).request, 1u);
    EXPECT_EQ(pieces->at(2).request, 1u);
    EXPECT_EQ(pieces->at(2).ends_at, 21u);
}

TEST_F(ControllerTest, ARequestIsLostWhenAsManyRepliesWaitAsMay) {
    settings_.faults = {parse_fault("late ms=1000 times=256")};
    start_with_memory();
    for (int i = 0; i < 256; ++i)
        controller_->receive(read_register_100, now_);
    controller_->receive(hex("01 06 00 64 12 34 C5 62"), now_);
    EXPECT_EQ(reader().counters().requests_seen, 256u);
    EXPECT_EQ(reader().counters().frames_dropped, 1u);
    EXPECT_EQ(reader().writes_logged(), 0u);

    pass(std::chrono::hours(1));
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(due_reply(), register_100_is_0) << i;
    EXPECT_EQ(due_reply(), std::nullopt);
    EXPECT_EQ(exchange(read_register_100), register_100_is_0);
}

TEST_F(ControllerTest, TheMemoryFileCountsRequestsRepliesAndDroppedFrames) {
    start_with_memory();
    const MemoryReader memory = reader();
    exchange(read_register_100);               // answered
    exchange(hex("01 02 00 00 00 01 B9 CA"));  // answered with an exception
    exchange(hex("00 06 00 64 12 34 C4 B3"));  // for all
    exchange(hex("03 03 00 64 00 01 C4 37"));  // for another station: not ours
    exchange(hex("01 03 00 64 00 01 FF FF"));  // dropped
    controller_->note_sent({Bytes(), true}, now_);
    EXPECT_EQ(memory.counters().requests_seen, 3u);
    EXPECT_EQ(memory.requests_to(1), 2u);
    EXPECT_EQ(memory.requests_to(2), 0u);
    EXPECT_EQ(memory.counters().replies_sent, 1u);
    EXPECT_EQ(memory.counters().frames_dropped, 1u);
}

}  // namespace
}  // namespace plc
