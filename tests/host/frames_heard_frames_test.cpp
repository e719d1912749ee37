#include "host/frames/heard_frames.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kelpo {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Direction = TraceRecord::Direction;

const std::string read_100("\x01\x03\x00\x64\x00\x01\xC5\xD5", 8);
const std::string value_111("\x01\x03\x02\x00\x6F\xF8\x68", 7);
const std::string refusal("\x01\x83\x02\xC0\xF1", 5);
const std::string write_coil("\x01\x05\x00\x0A\xFF\x00\xAC\x38", 8);
const std::string write_registers("\x01\x10\x00\x64\x00\x01\x02\x00\x07\xEF\xB6", 11);
const std::string written("\x01\x10\x00\x64\x00\x01\x40\x16", 8);
// 20 coils from 768 on: the high byte of the address is the byte count of the reply, which is as long.
const std::string read_20_coils("\x01\x01\x03\x00\x00\x14\x3C\x41", 8);
const std::string to_all("\x00\x06\x00\x01\x00\x02\x58\x1A", 8);
const std::string loop_back("\x01\x08\x00\x00\x12\x34\xED\x7C", 8);

struct Heard {
    Direction direction;
    std::string bytes;

    bool operator==(const Heard &other) const {
        return direction == other.direction && bytes == other.bytes;
    }
};

void PrintTo(const Heard &heard, std::ostream *out) {
    *out << static_cast<int>(heard.direction) << ":";
    for (const char byte : heard.bytes)
        *out << ' ' << static_cast<int>(static_cast<unsigned char>(byte));
}

Heard heard_request(const std::string &bytes) {
    return {Direction::sent, bytes};
}
Heard heard_reply(const std::string &bytes) {
    return {Direction::received, bytes};
}
Heard heard_noise(const std::string &bytes) {
    return {Direction::discarded, bytes};
}
const Heard no_reply{Direction::received, ""};

class HeardFramesTest : public testing::Test {
protected:
    HeardFrames frames{microseconds(0)};
    TraceTime now{milliseconds(1000)};

    void come(const std::string &bytes, milliseconds after = milliseconds(1)) {
        now += after;
        frames.take(bytes, now);
    }
    std::vector<Heard> heard() {
        std::vector<Heard> all;
        for (const TraceRecord &record : frames.taken())
            all.push_back({record.direction, {record.bytes.begin(), record.bytes.end()}});
        return all;
    }
};

TEST_F(HeardFramesTest, KnowRequestsAndRepliesByWhatCameBefore) {
    come(read_100 + value_111 + write_registers + written + write_coil + write_coil + read_100 + refusal);
    EXPECT_THAT(heard(), ElementsAre(heard_request(read_100), heard_reply(value_111), heard_request(write_registers),
                                     heard_reply(written), heard_request(write_coil), heard_reply(write_coil),
                                     heard_request(read_100), heard_reply(refusal)));
}

TEST_F(HeardFramesTest, ComeByteByByte) {
    for (const char byte : write_registers + written + read_100 + value_111)
        come(std::string(1, byte));
    EXPECT_THAT(heard(), ElementsAre(heard_request(write_registers), heard_reply(written), heard_request(read_100),
                                     heard_reply(value_111)));
}

TEST_F(HeardFramesTest, SayWhereAReplyIsMissing) {
    come(read_100);
    come(read_100);
    come(write_registers);
    come(write_registers + written);
    EXPECT_THAT(heard(), ElementsAre(heard_request(read_100), no_reply, heard_request(read_100), no_reply,
                                     heard_request(write_registers), no_reply, heard_request(write_registers),
                                     heard_reply(written)));
}

TEST_F(HeardFramesTest, DoNotTakeARepeatedReadForAReply) {
    come(read_20_coils);
    come(read_20_coils);
    EXPECT_THAT(heard(), ElementsAre(heard_request(read_20_coils), no_reply, heard_request(read_20_coils)));
}

TEST_F(HeardFramesTest, ExpectNoReplyToWhatIsForAllStations) {
    come(to_all);
    come(read_100);
    EXPECT_THAT(heard(), ElementsAre(heard_request(to_all), heard_request(read_100)));
}

TEST_F(HeardFramesTest, FindFramesAmongNoise) {
    const std::string three("\xFF\x00\x55", 3), one("\x99");
    come(three + read_100 + one + value_111);
    // Nobody was silent.
    EXPECT_THAT(heard(),
                ElementsAre(heard_noise(three), heard_request(read_100), heard_noise(one), heard_reply(value_111)));
    come(three);
    frames.end();
    EXPECT_THAT(heard(), ElementsAre(heard_noise(three)));
}

TEST_F(HeardFramesTest, CallADamagedFrameNoise) {
    std::string damaged = value_111;
    damaged[4] = '\x70';
    come(read_100);
    come(damaged);
    frames.end();
    come(read_100 + value_111);
    EXPECT_THAT(heard(), ElementsAre(heard_request(read_100), heard_noise(damaged), no_reply, heard_request(read_100),
                                     heard_reply(value_111)));
}

TEST_F(HeardFramesTest, CallAReplyWithoutARequestNoise) {
    come(value_111);
    EXPECT_THAT(heard(), ElementsAre(heard_noise(value_111)));
}

// Its reply is the same, and nothing but silence says how long it is.
TEST_F(HeardFramesTest, TakeTurnsWhereAFunctionHasNoKnownLength) {
    come(loop_back);
    EXPECT_THAT(heard(), IsEmpty());
    frames.end();
    come(loop_back);
    frames.end();
    EXPECT_THAT(heard(), ElementsAre(heard_request(loop_back), heard_reply(loop_back)));
}

TEST_F(HeardFramesTest, FindAFrameWithoutKnownLengthAlsoBeforeAnother) {
    come(loop_back + read_100);
    EXPECT_THAT(heard(), ElementsAre(heard_request(loop_back), no_reply, heard_request(read_100)));
}

TEST_F(HeardFramesTest, SayHowLongTheLineWasSilent) {
    HeardFrames wired{microseconds(500)};
    wired.take(read_100, now);
    wired.take(value_111, now + milliseconds(10));
    const std::vector<TraceRecord> records = wired.taken();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].time, now - microseconds(3500));
    EXPECT_FALSE(records[0].silence);
    // Seven characters took 3.5 ms, of which the last one ended at 10.
    EXPECT_EQ(records[1].silence, microseconds(7000));
}

TEST_F(HeardFramesTest, KnowNoSilenceThatIsShorterThanNone) {
    HeardFrames quick{milliseconds(1)};
    quick.take(read_100, now);
    quick.take(value_111, now + milliseconds(2));
    const std::vector<TraceRecord> records = quick.taken();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[1].silence, microseconds(0));
    EXPECT_EQ(records[1].time, now);
}

TEST_F(HeardFramesTest, KeepLittleOfWhatNeverEnds) {
    std::size_t size = 0;
    for (int i = 0; i < 100; ++i) {
        come(std::string(100, '\x03'));
        for (const TraceRecord &record : frames.taken())
            size += record.bytes.size();
    }
    EXPECT_GT(size, 9000U);
}

}  // namespace
}  // namespace kelpo
