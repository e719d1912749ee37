#include "host/poll/trace_pane.h"

#include "host/frames/frame_words.h"
#include "host/frames/trace_time.h"
#include "host/text/hex.h"
#include "host/text/words.h"

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;

std::string line_start(const TraceRecord &record, char direction) {
    constexpr std::size_t hh_mm_ss_mmm = 12;
    return clock_text(record.time, TimeZone::local).substr(0, hh_mm_ss_mmm) + " " + direction + " ";
}

PollModel::TraceLine frame_line(const TraceRecord &record, char direction, const FrameMeaning &meaning) {
    const std::string bytes = hex_text(record.bytes);
    return {line_start(record, direction) + meaning.words + (bytes.empty() ? "" : "   " + bytes), meaning.failed};
}

}  // namespace

std::vector<PollModel::TraceLine> trace_lines(const std::vector<TraceRecord> &records) {
    std::vector<PollModel::TraceLine> lines;
    FrameBytes request;
    for (const TraceRecord &record : records) {
        switch (record.direction) {
        case Direction::sent:
            request = record.bytes;
            lines.push_back(frame_line(record, '>', request_meaning(record.bytes, record.context)));
            break;
        case Direction::received:
            lines.push_back(frame_line(record, '<', reply_meaning(record.bytes, request, record.context)));
            break;
        case Direction::discarded:
            lines.push_back(frame_line(record, '~', discarded_meaning(record.bytes)));
            break;
        case Direction::note:
            lines.push_back({line_start(record, '*') + printable(record.text), false});
            break;
        }
    }
    return lines;
}

}  // namespace kelpo
