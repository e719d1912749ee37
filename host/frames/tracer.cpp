#include "host/frames/tracer.h"

#include "host/frames/frame_words.h"
#include "host/frames/return_codes.h"
#include "host/link/link_remarks.h"

#include <fmt/format.h>

#include <utility>

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;

TraceTime in_microseconds(std::chrono::system_clock::time_point time) {
    return std::chrono::time_point_cast<std::chrono::microseconds>(time);
}

std::string with_code(const std::string &text, int code) {
    return text + " (driver code " + std::to_string(code) + ")";
}

}  // namespace

Tracer::Tracer(std::vector<TraceSink *> sinks) : sinks_(std::move(sinks)) {}

void Tracer::exchanged(const Exchange &exchange) {
    const TraceContext context{exchange.type, exchange.address, exchange.count, exchange.name.group, exchange.name.id};
    const TraceTime sent = in_microseconds(exchange.sent_at), ended = in_microseconds(exchange.ended_at);
    const FrameBytes request = bytes_of(exchange.request), reply = bytes_of(exchange.reply);
    if (!exchange.stale.empty())
        hand_on({sent, Direction::discarded, bytes_of(exchange.stale), {}, {}});
    hand_on({sent, Direction::sent, request, context, {}});
    if (!exchange.late.empty())
        hand_on({ended, Direction::discarded, bytes_of(exchange.late), {}, {}});
    hand_on({ended, Direction::received, reply, context, {}});
    // A reply that looks bad says so itself.
    if (exchange.outcome == Outcome::given_up)
        note(ended, with_code(return_code_words(exchange.code), exchange.code));
    else if (exchange.outcome == Outcome::sent_again && !reply_meaning(reply, request, context).failed)
        note(ended, with_code("the driver does not take this reply", exchange.code));
}

void Tracer::line_probed(const Exchange &exchange, ProbePurpose purpose) {
    const std::string question = purpose == ProbePurpose::echo
                                     ? "does the line return what is sent?"
                                     : "does station " + std::to_string(exchange.station) + " answer again?";
    note(in_microseconds(exchange.sent_at), question + " a request of the host's own:");
    hand_on({in_microseconds(exchange.sent_at), Direction::sent, bytes_of(exchange.request), {}, {}});
    hand_on({in_microseconds(exchange.ended_at), Direction::received, bytes_of(exchange.reply), {}, {}});
}

void Tracer::station_rests(int station, std::chrono::milliseconds pause) {
    note(in_microseconds(std::chrono::system_clock::now()),
         fmt::format("station {} rests; next try in {:.1f} s", station, std::chrono::duration<double>(pause).count()));
}

void Tracer::rest_ended(int station, bool has_answered) {
    note(in_microseconds(std::chrono::system_clock::now()),
         fmt::format("station {} {} and is asked as before", station, has_answered ? "answers" : "was switched"));
}

void Tracer::reply_late(int station, std::chrono::milliseconds time) {
    note(in_microseconds(std::chrono::system_clock::now()), "station " + std::to_string(station) +
                                                                " answers after up to " + std::to_string(time.count()) +
                                                                " ms: the reply time-out is too short");
}

void Tracer::line_echoes(bool is_taken_off) {
    note(in_microseconds(std::chrono::system_clock::now()), echo_words(is_taken_off));
}

void Tracer::wait_refused(int station) {
    note(in_microseconds(std::chrono::system_clock::now()), waiting_words(station));
}

void Tracer::line_opened() {
    note(in_microseconds(std::chrono::system_clock::now()), "line open");
}

void Tracer::line_lost(const std::string &why, std::chrono::milliseconds pause) {
    const double seconds = static_cast<double>(pause.count()) / 1000;
    note(in_microseconds(std::chrono::system_clock::now()),
         fmt::format("line lost: {}; next try in {:g} s", why, seconds));
}

void Tracer::hand_on(const TraceRecord &record) {
    for (TraceSink *sink : sinks_)
        sink->take(record);
}

void Tracer::note(TraceTime time, const std::string &text) {
    hand_on({time, Direction::note, {}, {}, text});
}

TraceQueue::TraceQueue(std::size_t capacity) : capacity_(capacity) {}

void TraceQueue::take(const TraceRecord &record) {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (records_.size() < capacity_)
        records_.push_back(record);
    else if (++left_out_ == 1)
        left_out_since_ = record.time;
}

std::vector<TraceRecord> TraceQueue::taken() {
    const std::lock_guard<std::mutex> locked(mutex_);
    std::vector<TraceRecord> records = std::exchange(records_, {});
    if (left_out_ > 0)
        records.push_back({left_out_since_,
                           Direction::note,
                           {},
                           {},
                           std::to_string(std::exchange(left_out_, 0)) + " records left out, the output was too slow"});
    return records;
}

TraceRing::TraceRing(std::size_t capacity) : capacity_(capacity) {}

void TraceRing::take(const TraceRecord &record) {
    const std::lock_guard<std::mutex> locked(mutex_);
    ++count_;
    records_.push_back(record);
    if (records_.size() > capacity_)
        records_.pop_front();
}

std::vector<TraceRecord> TraceRing::last() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return {records_.begin(), records_.end()};
}

std::uint64_t TraceRing::count() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return count_;
}

}  // namespace kelpo
