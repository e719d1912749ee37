/// \file
/// Fuzz target: saved traces, and the words for frames.
///
/// Input: 0 and the text of a saved trace; or another byte and frames: flags, length and bytes of each. The flags say
/// its direction and whether its CRC is set right.
#include "host/frames/trace_file.h"
#include "host/frames/frame_words.h"
#include "host/frames/pcap_file.h"
#include "host/frames/rtu_frame.h"
#include "host/line/modbus.h"
#include "host/text/words.h"
#include "host/trace/trace_text.h"
#include "input.h"
#include "require.h"

#include <sstream>
#include <string>
#include <vector>

namespace {

using fuzz::require;
using namespace kelpo;

struct Reading {
    std::vector<TraceRecord> records;
    std::vector<std::string> mistakes;
};

Reading read(const std::string &text) {
    Reading reading;
    std::istringstream in(text);
    const std::size_t mistakes = read_trace(in, "trace",
                                            {[&reading](const TraceRecord &record) {
                                                 reading.records.push_back(record);
                                                 return true;
                                             },
                                             [&reading](const std::string &what) {
                                                 reading.mistakes.push_back(what);
                                             }});
    const bool reports_the_rest = mistakes == 100;
    require(reading.mistakes.size() == mistakes + (reports_the_rest ? 1 : 0), "every mistake is reported and counted");
    return reading;
}

bool is_one_line(const std::string &text) {
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F)
            return false;
    }
    return true;
}

void judge_words(const FrameMeaning &meaning) {
    require(!meaning.words.empty() && is_one_line(meaning.words), "a frame's meaning is one line");
    for (const char character : meaning.words)
        require(static_cast<unsigned char>(character) < 0x80, "a frame's meaning is ASCII");
    require(!meaning.station || (*meaning.station >= 0 && *meaning.station <= 255), "the station is a byte");
    require(!meaning.function || (*meaning.function >= 0 && *meaning.function <= 255), "the function is a byte");
}

void judge_packet(const TraceRecord &record) {
    const std::string packet = pcap_packet(record);
    const auto number_at = [&packet](std::size_t at) {
        std::size_t number = 0;
        for (std::size_t i = 4; i-- > 0;)
            number = number << 8U | static_cast<unsigned char>(packet[at + i]);
        return number;
    };
    require(packet.size() >= 16 && number_at(8) == packet.size() - 16 && number_at(12) >= number_at(8),
            "a packet is as long as it says");
}

// Each frame as a request, as a reply to the request before it, and by itself.
void judge_frames(const std::vector<TraceRecord> &records) {
    FrameBytes request;
    for (const TraceRecord &record : records) {
        judge_packet(record);
        judge_words(discarded_meaning(record.bytes));
        judge_words(request_meaning(record.bytes, record.context));
        judge_words(reply_meaning(record.bytes, request, record.context));
        const FrameMeaning meaning = reply_meaning(record.bytes, request, {});
        require(meaning.failed || record.bytes.empty() || crc_right(record.bytes),
                "a reply with a wrong CRC is never good");
        if (record.direction == TraceRecord::Direction::sent)
            request = record.bytes;
    }
}

void judge_lines(const std::vector<TraceRecord> &records) {
    TraceFilter failures;
    failures.failures = true;
    TraceFormatter all({false, TimeZone::utc}, {}), failed({false, TimeZone::utc}, failures);
    for (const TraceRecord &record : records) {
        const std::vector<std::string> lines = all.lines(record);
        require(!lines.empty(), "without a filter every record is shown");
        for (const std::string &line : lines)
            require(is_one_line(line), "what is shown as a line is one line");
        failed.lines(record);
    }
    require(all.failures() == failed.failures() && all.requests() == failed.requests(), "a filter changes no count");
}

bool same(const TraceRecord &one, const TraceRecord &other) {
    return one.time == other.time && one.direction == other.direction && one.bytes == other.bytes &&
           one.context == other.context && printable(one.text) == other.text;
}

void judge_round_trip(const std::vector<TraceRecord> &records) {
    std::string text = trace_file_head();
    for (const TraceRecord &record : records)
        text += trace_file_line(record);
    const Reading again = read(text);
    if (!again.mistakes.empty())
        fuzz::fail("what was written cannot be read: " + again.mistakes.front());
    require(again.records.size() == records.size(), "as many records are read as were written");
    for (std::size_t i = 0; i < records.size(); ++i)
        require(same(records[i], again.records[i]), "what was written reads the same");
}

// Any numbers, among them small ones and addresses in the areas of the map.
TraceContext context_from(fuzz::Input &input) {
    TraceContext context{};
    context.type = static_cast<signed char>(input.byte());
    context.address = input.word() << (input.byte() & 15U);
    context.count = static_cast<std::int16_t>(input.word());
    context.group = context.type;
    context.id = context.count;
    return context;
}

std::vector<TraceRecord> frames_from(fuzz::Input &input) {
    using Direction = TraceRecord::Direction;
    std::vector<TraceRecord> records;
    while (!input.ended() && records.size() < 64) {
        const unsigned flags = input.byte();
        TraceRecord record{};
        record.time = TraceTime(std::chrono::microseconds(records.size() * 1000));
        record.direction = static_cast<Direction>(flags & 3U);
        if ((flags & 8U) != 0 && record.direction != Direction::note)
            record.context = context_from(input);
        const std::vector<std::uint8_t> bytes = input.bytes(input.byte());
        if (record.direction == Direction::note) {
            record.text.assign(bytes.begin(), bytes.end());
        } else {
            record.bytes = bytes;
            if ((flags & 4U) != 0) {
                record.bytes.resize(bytes.size() + modbus::crc_size);
                const unsigned crc = crc_of(record.bytes);
                record.bytes[bytes.size()] = static_cast<std::uint8_t>(crc & 0xFFU);
                record.bytes[bytes.size() + 1] = static_cast<std::uint8_t>(crc >> 8U);
            }
            if (record.bytes.empty() && record.direction != Direction::received)
                continue;
        }
        records.push_back(record);
    }
    return records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool as_text = input.byte() == 0;
    const std::vector<TraceRecord> records = as_text ? read(input.rest()).records : frames_from(input);
    judge_round_trip(records);
    judge_frames(records);
    judge_lines(records);
    return 0;
}
