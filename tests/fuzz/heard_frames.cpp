/// \file
/// Fuzz target: what is heard on a line where others talk, on its way into frames.
///
/// Input: the microseconds that a byte takes (a word), then steps of an operation byte and an argument byte:
///     operation % 4 = 0    that number of the following bytes arrive unchanged
///     operation % 4 = 1    that number arrive as one frame with its CRC, in pieces of operation / 4 bytes (0: in one)
///     operation % 4 = 2    that number of milliseconds pass
///     operation % 4 = 3    the line is silent
///
/// At the end, after a silence, a request and its reply must still be recognised.
#include "host/frames/heard_frames.h"
#include "input.h"
#include "require.h"
#include "support/crc.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using fuzz::require;
using kelpo::FrameBytes;
using kelpo::HeardFrames;
using kelpo::TraceRecord;
using kelpo::TraceTime;
using std::chrono::microseconds;
using Direction = TraceRecord::Direction;

/// Hands over bytes as a line does, and keeps what came of it.
class Line {
public:
    explicit Line(microseconds character_time) : character_time_(character_time), frames_(character_time) {}

    void bring(const std::vector<std::uint8_t> &bytes, std::size_t piece) {
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            const std::size_t count = std::min(piece, bytes.size() - at);
            now_ += character_time_ * static_cast<int>(count) / 2;
            frames_.take({reinterpret_cast<const char *>(bytes.data()) + at, count}, now_);
            collect();
        }
        brought_.insert(brought_.end(), bytes.begin(), bytes.end());
    }
    void wait(microseconds time) {
        now_ += time;
    }
    void fall_silent() {
        frames_.end();
        collect();
    }

    const std::vector<TraceRecord> &records() const {
        return records_;
    }
    const FrameBytes &brought() const {
        return brought_;
    }
    TraceTime now() const {
        return now_;
    }

private:
    void collect() {
        const std::vector<TraceRecord> taken = frames_.taken();
        records_.insert(records_.end(), taken.begin(), taken.end());
    }

    const microseconds character_time_;
    HeardFrames frames_;
    TraceTime now_{};
    FrameBytes brought_;
    std::vector<TraceRecord> records_;
};

bool is_frame(const FrameBytes &bytes) {
    return bytes.size() >= 4 && bytes.size() <= 264 && support::crc16(bytes) == 0;
}

// Every byte once, in its order.
void judge_bytes(const Line &line) {
    FrameBytes all;
    for (const TraceRecord &record : line.records())
        all.insert(all.end(), record.bytes.begin(), record.bytes.end());
    require(all == line.brought(), "each byte that came is in one record");
}

void judge_frames(const std::vector<TraceRecord> &records) {
    const TraceRecord *asked = nullptr;  // what has had no reply
    for (const TraceRecord &record : records) {
        switch (record.direction) {
        case Direction::sent:
            require(is_frame(record.bytes), "a request is a frame");
            require(asked == nullptr, "a request without a reply is followed by a record that says so");
            asked = record.bytes[0] == 0 ? nullptr : &record;
            break;
        case Direction::received:
            require(asked != nullptr, "a reply follows a request");
            if (!record.bytes.empty()) {
                require(is_frame(record.bytes), "a reply is a frame");
                require(record.bytes[0] == asked->bytes[0] && (record.bytes[1] & 0x7FU) == (asked->bytes[1] & 0x7FU),
                        "a reply has the station and the function of its request");
            }
            asked = nullptr;
            break;
        case Direction::discarded:
            require(!record.bytes.empty(), "what is thrown away has bytes");
            break;
        case Direction::note:
            fuzz::fail("there are no notes");
        }
    }
}

void judge_times(const Line &line) {
    TraceTime last = TraceTime::min();
    for (const TraceRecord &record : line.records()) {
        require(record.time >= last && record.time <= line.now(), "frames come one after the other");
        require(!record.silence || record.silence->count() >= 0, "no silence is shorter than none");
        last = record.time;
    }
}

void judge_end(Line &line) {
    // No length in it makes the request a reply.
    const FrameBytes request = support::with_crc(FrameBytes{7, 3, 0, 16, 0, 1});
    const FrameBytes reply = support::with_crc(FrameBytes{7, 3, 2, 0x12, 0x34});
    line.fall_silent();
    const std::size_t before = line.records().size();
    line.bring(request, request.size());
    line.bring(reply, reply.size());
    std::vector<TraceRecord> last(line.records().begin() + static_cast<std::ptrdiff_t>(before), line.records().end());
    if (!last.empty() && last.front().bytes.empty())
        last.erase(last.begin());
    require(last.size() == 2 && last[0].direction == Direction::sent && last[0].bytes == request &&
                last[1].direction == Direction::received && last[1].bytes == reply,
            "after a silence a request and its reply are recognised");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    Line line{microseconds(input.word())};
    while (!input.ended()) {
        const unsigned operation = input.byte(), argument = input.byte();
        std::vector<std::uint8_t> bytes;
        switch (operation % 4) {
        case 0:
            bytes = input.bytes(argument);
            line.bring(bytes, std::max<std::size_t>(1, bytes.size()));
            break;
        case 1:
            bytes = support::with_crc(input.bytes(argument));
            line.bring(bytes, operation / 4 == 0 ? bytes.size() : operation / 4);
            break;
        case 2:
            line.wait(std::chrono::milliseconds(argument));
            break;
        default:
            line.fall_silent();
        }
    }
    judge_end(line);
    judge_bytes(line);
    judge_frames(line.records());
    judge_times(line);
    return 0;
}
