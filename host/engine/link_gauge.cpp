#include "host/engine/link_gauge.h"

#include <algorithm>

namespace kelpo {
namespace {

using Time = LinkReading::Time;
using WallClock = std::chrono::system_clock;
constexpr auto looked_back = std::chrono::seconds(2);

BlockPlace place_of(const Exchange &exchange) {
    return {exchange.station, exchange.type, exchange.address};
}

// A refusal is an answer: the station is there.
bool is_silence(const Failure &failure) {
    return failure.kind == Failure::Kind::no_reply || failure.kind == Failure::Kind::bad_reply;
}

}  // namespace

LinkGauge::LinkGauge(Clock clock) : clock_(std::move(clock)), started_(clock_()), cycle_began_(started_) {}

LinkReading LinkGauge::reading() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    LinkReading reading = reading_;
    const Time now = clock_();
    const auto recent =
        std::count_if(lately_.begin(), lately_.end(), [now](Time time) { return now - time < looked_back; });
    const std::chrono::duration<double> span = std::min<Time::duration>(looked_back, now - started_);
    constexpr double shortest = 0.1;  // below, a first exchange would look like a thousand a second
    reading.exchanges_per_second = static_cast<double>(recent) / std::max(shortest, span.count());
    if (!cycle_.empty())
        reading.cycles.so_far = now - cycle_began_;
    return reading;
}

std::vector<LinkEvent> LinkGauge::take_events() {
    const std::lock_guard<std::mutex> locked(mutex_);
    const std::deque<LinkEvent> events = std::exchange(events_, {});
    return {events.begin(), events.end()};
}

void LinkGauge::forget_station(int station) {
    const std::lock_guard<std::mutex> locked(mutex_);
    reading_.stations[station].down_since.reset();
    reading_.stations[station].silent = 0;
    reading_.stations[station].next_try.reset();
    for (auto &[place, block] : reading_.blocks)
        if (place.station == station)
            block.failure.reset();
    forget_cycle();
}

void LinkGauge::exchanged(const Exchange &exchange) {
    std::optional<Failure> failure;
    if (exchange.outcome != Outcome::good)
        failure = failure_of(exchange);

    const std::lock_guard<std::mutex> locked(mutex_);
    const Time now = clock_();
    note_rate(now);
    judge_station(exchange, failure, now);
    if (!exchange.name.is_of_list())
        return;
    if (exchange.name.is_polled())
        time_cycle(exchange, now - std::chrono::duration_cast<Time::duration>(exchange.ended_at - exchange.sent_at));
    judge_block(exchange, failure);
}

void LinkGauge::note_rate(Time now) {
    lately_.push_back(now);
    while (now - lately_.front() >= looked_back)
        lately_.pop_front();
}

void LinkGauge::time_cycle(const Exchange &exchange, Time sent_at) {
    const bool resent = std::exchange(resend_, exchange.outcome == Outcome::sent_again);
    if (resent)
        return;
    const Frame frame{place_of(exchange), std::string(exchange.request)};
    if (cycle_.count(frame) > 0) {
        LinkReading::Cycles &cycles = reading_.cycles;
        cycles.last = sent_at - cycle_began_;
        cycles.worst = std::max(cycles.worst, cycles.last);
        cycles_took_ += cycles.last;
        ++cycles.count;
        cycles.mean = cycles_took_ / static_cast<std::int64_t>(cycles.count);
        cycle_.clear();
    }
    if (cycle_.empty())
        cycle_began_ = sent_at;
    cycle_.insert(frame);
}

void LinkGauge::judge_station(const Exchange &exchange, const std::optional<Failure> &failure, Time now) {
    LinkReading::Station &station = reading_.stations[exchange.station];
    if (failure) {
        ++station.failed;
        station.failure = failure;
    } else {
        ++station.answered;
    }
    if (!failure || !is_silence(*failure)) {
        note_answer(exchange.station);
    } else if (exchange.outcome == Outcome::given_up && !exchange.is_silent_block) {
        // One block may be silent where others are answered.
        constexpr int enough = 2;
        if (++station.silent >= enough || !station.was_heard)
            note_silence(place_of(exchange), *failure, now);
    }
}

void LinkGauge::note_silence(const BlockPlace &place, const Failure &failure, Time now) {
    LinkReading::Station &station = reading_.stations[place.station];
    if (station.down_since)
        return;
    station.down_since = now;
    add_event({LinkEvent::Kind::station_down, {}, place, 0, {}, failure.text, failure.kind});
}

void LinkGauge::note_answer(int number) {
    LinkReading::Station &station = reading_.stations[number];
    if (station.down_since)
        add_event({LinkEvent::Kind::station_back, {}, {number, 0, 0}, 0, {}, {}, {}});
    station.down_since.reset();
    station.was_heard = true;
    station.silent = 0;
}

void LinkGauge::station_rests(int number, std::chrono::milliseconds pause) {
    const std::lock_guard<std::mutex> locked(mutex_);
    LinkReading::Station &station = reading_.stations[number];
    if (station.failure)
        note_silence({number, 0, 0}, *station.failure, clock_());
    if (!station.next_try)
        add_event({LinkEvent::Kind::station_rests, {}, {number, 0, 0}, 0, pause, "no reply", {}});
    station.next_try = clock_() + pause;
}

void LinkGauge::rest_ended(int number, bool has_answered) {
    const std::lock_guard<std::mutex> locked(mutex_);
    reading_.stations[number].next_try.reset();
    if (has_answered)
        note_answer(number);
}

void LinkGauge::judge_block(const Exchange &exchange, const std::optional<Failure> &failure) {
    LinkReading::Block &block = reading_.blocks[place_of(exchange)];
    if (!failure) {
        block.failure.reset();
    } else if (exchange.outcome == Outcome::given_up) {
        block.failure = failure;
        add_event(
            {LinkEvent::Kind::given_up, {}, place_of(exchange), exchange.count, {}, failure->text, failure->kind});
    }
}

void LinkGauge::blocks_replaced(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) {
    const std::lock_guard<std::mutex> locked(mutex_);
    for (const PolledBlock &block : gone) {
        --reading_.polled[block.station];
        const auto first = reading_.blocks.lower_bound({block.station, block.register_class, block.first});
        const auto end = reading_.blocks.lower_bound({block.station, block.register_class, block.first + block.count});
        reading_.blocks.erase(first, end);
    }
    for (const PolledBlock &block : come)
        ++reading_.polled[block.station];
}

void LinkGauge::line_opened() {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (lost_)
        add_event({LinkEvent::Kind::line_back, {}, {}, 0, {}, {}, {}});
    lost_ = false;
    reading_.line_open = true;
    reading_.line_error.clear();
    forget_cycle();
}

void LinkGauge::line_lost(const std::string &why, std::chrono::milliseconds pause) {
    const std::lock_guard<std::mutex> locked(mutex_);
    lost_ = true;
    reading_.line_open = false;
    reading_.line_error = why;
    reading_.next_try = clock_() + pause;
    forget_cycle();
    add_event({LinkEvent::Kind::line_lost, {}, {}, 0, pause, why, {}});
}

void LinkGauge::forget_cycle() {
    cycle_.clear();
    resend_ = false;
}

void LinkGauge::add_event(LinkEvent event) {
    constexpr std::size_t most_kept = 10000;
    event.time = WallClock::now();
    events_.push_back(std::move(event));
    if (events_.size() > most_kept)
        events_.pop_front();
}

}  // namespace kelpo
