#include "host/trace/trace_text.h"

#include "host/frames/frame_words.h"
#include "host/frames/trace_file.h"
#include "host/text/hex.h"
#include "host/text/words.h"

#include <fmt/format.h>

#include <algorithm>

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;

const char *colour_of(Direction direction, bool failed) {
    constexpr const char *red = "\033[31m", *yellow = "\033[33m", *cyan = "\033[36m", *plain = "";
    if (failed)
        return red;
    if (direction == Direction::note)
        return yellow;
    return direction == Direction::sent ? cyan : plain;
}

std::string in_colour(const std::string &text, const char *colour, bool coloured) {
    if (!coloured || *colour == '\0')
        return text;
    return colour + text + "\033[0m";
}

std::string time_words(std::chrono::microseconds time) {
    return fmt::format(" [{:.1f} ms]", static_cast<double>(time.count()) / 1000);
}

std::string silence_words(const TraceRecord &record) {
    return record.silence ? time_words(*record.silence) : std::string();
}

}  // namespace

TraceFormatter::TraceFormatter(const TraceStyle &style, const TraceFilter &filter) : style_(style), filter_(filter) {}

std::vector<std::string> TraceFormatter::lines(const TraceRecord &record) {
    std::vector<std::string> lines;
    switch (record.direction) {
    case Direction::sent:
        sent(record, lines);
        break;
    case Direction::received:
        received(record, lines);
        break;
    case Direction::discarded: {
        const FrameMeaning meaning = discarded_meaning(record.bytes);
        if (!meaning.station || passes(meaning.station, meaning.function))
            show(record, meaning.words + silence_words(record), true, lines);
        break;
    }
    case Direction::note:
        show(record, printable(record.text), false, lines);
        break;
    }
    return lines;
}

void TraceFormatter::sent(const TraceRecord &record, std::vector<std::string> &lines) {
    ++requests_;
    const FrameMeaning meaning = request_meaning(record.bytes, record.context);
    const bool again = request_ && last_failed_ && request_->record.bytes == record.bytes;
    request_ = LastRequest{record, meaning.words + (again ? ", again" : ""), meaning.failed,
                           passes(meaning.station, meaning.function), false};
    if (request_->passes && !filter_.failures) {
        show(record, request_->words + silence_words(record), request_->failed, lines);
        request_->shown = true;
    }
}

void TraceFormatter::received(const TraceRecord &record, std::vector<std::string> &lines) {
    const FrameBytes asked = request_ ? request_->record.bytes : FrameBytes();
    const FrameMeaning meaning = reply_meaning(record.bytes, asked, record.context);
    last_failed_ = meaning.failed;
    failures_ += meaning.failed ? 1 : 0;
    if (!(request_ ? request_->passes : passes(meaning.station, meaning.function)) ||
        (filter_.failures && !meaning.failed))
        return;
    if (request_ && !request_->shown) {
        show(request_->record, request_->words + silence_words(request_->record), request_->failed, lines);
        request_->shown = true;
    }
    const bool timed = !record.silence && request_ && record.time >= request_->record.time;
    const std::string time = timed ? time_words(record.time - request_->record.time) : silence_words(record);
    show(record, meaning.words + time, meaning.failed, lines);
}

bool TraceFormatter::passes(const std::optional<int> &station, const std::optional<int> &function) const {
    return (!filter_.station || station == filter_.station) && (!filter_.function || function == filter_.function);
}

void TraceFormatter::show(const TraceRecord &record, const std::string &words, bool failed,
                          std::vector<std::string> &lines) {
    constexpr std::size_t hex_width = 23;  // of the shortest requests, eight bytes
    const std::string date = date_text(record.time, style_.zone);
    if (date != date_) {
        date_ = date;
        lines.push_back("---- " + date);
    }
    std::string start = clock_text(record.time, style_.zone) + ' ' + mark_of(record.direction) + ' ';
    if (record.direction != Direction::note) {
        std::string hex = hex_text(record.bytes);
        hex.resize(std::max(hex.size(), hex_width), ' ');
        start += hex + "   ";
    }
    lines.push_back(start + in_colour(words, colour_of(record.direction, failed), style_.coloured));
}

}  // namespace kelpo
