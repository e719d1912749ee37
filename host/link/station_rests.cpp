#include "host/link/station_rests.h"

#include "host/line/modbus.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace kelpo {
namespace {

using std::chrono::milliseconds;

// A station that usually answers later than that may not answer a probe in time.
milliseconds quick(milliseconds reply_timeout) {
    return reply_timeout / 4;
}

// Then it is there, and what was lost was not chance.
constexpr int answers_to_wake = 2;

// A station that loses replies may miss up to this many reads more before it rests, and one less again after each
// `clean_requests` requests without a loss.
constexpr int most_shaky = 4;
constexpr int clean_requests = 20;

// A write without a reply says less: a controller may ignore what it does not allow.
bool is_read(std::string_view request) {
    return modbus::is_read(rtu::function_of(request));
}

}  // namespace

StationRests::StationRests(Driver &driver, const RestSettings &settings, milliseconds reply_timeout,
                           LinkWatcher &watcher, std::map<int, milliseconds> own_replies)
    : driver_(driver), most_silent_(settings.after), reply_timeout_(reply_timeout),
      own_replies_(std::move(own_replies)), watcher_(watcher), pause_(settings.first, settings.longest) {}

milliseconds StationRests::reply_timeout_of(int station) const {
    const auto own = own_replies_.find(station);
    return own == own_replies_.end() ? reply_timeout_ : own->second;
}

void StationRests::exchanged(const Exchange &exchange, std::chrono::nanoseconds took, bool was_heard, Time now) {
    const int station = exchange.station;
    const bool failed = exchange.outcome != Outcome::good;
    // A reply that came too late for its probe may have damaged this one.
    if (failed && !exchange.reply.empty() && probed_ && now - probe_ended_ < 2 * reply_timeout_of(*probed_))
        slow_.insert(*probed_);
    probed_.reset();
    const bool comes_again = exchange.outcome == Outcome::sent_again;
    Health &health = health_[station];
    if (was_heard || !exchange.reply.empty()) {
        answered(health);
        if (comes_again)
            heard_.insert(station);
        else
            heard_.erase(station);
        pauses_.erase(station);
        if (!failed && is_read(exchange.request))
            health.answered = exchange.request;
        if (took > quick(reply_timeout_of(station)))
            slow_.insert(station);
        return;
    }
    // It says nothing about the station.
    if (exchange.is_silent_block)
        return;
    ++health.missed;
    if (!comes_again && heard_.erase(station) == 0 && is_read(exchange.request) &&
        ++health.silent >= most_silent_ + health.shaky)
        begin(exchange, now);
}

void StationRests::answered(Health &health) {
    health.silent = 0;
    if (std::exchange(health.missed, 0) > 0) {
        health.shaky = std::min(health.shaky + 1, most_shaky);
        health.clean = 0;
    } else if (++health.clean >= clean_requests) {
        health.shaky = std::max(health.shaky - 1, 0);
        health.clean = 0;
    }
}

void StationRests::begin(const Exchange &exchange, Time now) {
    Health &health = health_[exchange.station];
    const auto read = rtu::short_read(health.answered.empty() ? exchange.request : health.answered);
    if (!read || !driver_.rest_station(exchange.station))
        return;
    health.silent = health.missed = 0;
    Rest &rest = rests_[exchange.station] = {*read, now, now, now};
    set_pause(exchange.station, rest, now);
}

void StationRests::set_pause(int station, Rest &rest, Time now) {
    milliseconds &pause = pauses_[station];
    pause = pause_.after(pause);
    const milliseconds real = pause_.by_chance(pause);
    rest.tried = now;
    rest.next = now + real;
    watcher_.station_rests(station, real);
}

std::optional<StationRests::Probe> StationRests::due(Time now, bool is_idle) {
    if (!is_idle && now < next_probe_)
        return std::nullopt;
    const std::pair<const int, Rest> *first = nullptr;
    for (auto &rest : rests_) {
        // If no other station gets the time, there is no reason to wait.
        if (is_idle)
            rest.second.next = std::min(rest.second.next, rest.second.tried + pause_.first());
        const bool is_due = rest.second.answers < answers_to_wake && rest.second.next <= now;
        if (is_due && (first == nullptr || rest.second.next < first->second.next))
            first = &rest;
    }
    if (first == nullptr)
        return std::nullopt;
    const bool is_slow = slow_.count(first->first) > 0;
    const milliseconds reply_timeout = reply_timeout_of(first->first);
    return Probe{first->first, first->second.read, is_slow ? reply_timeout : reply_timeout / 2};
}

void StationRests::postpone(int station, Time until) {
    rests_.at(station).next = until;
}

void StationRests::probed(int station, Time asked_at, Time now) {
    constexpr int times_for_others = 3;
    probed_ = station;
    probe_ended_ = now;
    next_probe_ = now + times_for_others * (now - asked_at);
    const auto rest = rests_.find(station);
    if (rest == rests_.end() || rest->second.answers >= answers_to_wake)
        return;
    rest->second.tried = now;
    if (!std::exchange(rest->second.has_news, false))
        rest->second.answers = 0;
    if (rest->second.replied < asked_at)
        set_pause(station, rest->second, now);
}

void StationRests::look(const std::function<Time(int)> &replied_at, const std::function<bool(int)> &owes) {
    for (auto rest = rests_.begin(); rest != rests_.end();) {
        const int station = rest->first;
        const bool was_switched = !driver_.rests(station);
        if (replied_at(station) > rest->second.replied) {
            rest->second.replied = replied_at(station);
            ++rest->second.answers;
            rest->second.has_news = true;
            rest->second.next = Time();
        }
        const bool answered = !was_switched && rest->second.answers >= answers_to_wake && !owes(station);
        rest = was_switched || answered ? rests_.erase(rest) : std::next(rest);
        if (answered)
            driver_.wake_station(station);
        if (was_switched || answered)
            watcher_.rest_ended(station, answered);
    }
}

void StationRests::line_was_lost() {
    for (auto &[station, rest] : rests_)
        rest.next = Time();
}

}  // namespace kelpo
