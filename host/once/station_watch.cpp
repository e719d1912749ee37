#include "host/once/station_watch.h"

#include "host/frames/frame_words.h"
#include "host/frames/verdict.h"

#include <string_view>

namespace kelpo {
namespace {

using Kind = StationAnswer::Kind;
using std::chrono::microseconds;

}  // namespace

void StationWatch::exchanged(const Exchange &exchange) {
    const auto time = std::chrono::duration_cast<microseconds>(exchange.ended_at - exchange.sent_at);
    const std::lock_guard<std::mutex> locked(mutex_);
    if (exchange.outcome != Outcome::sent_again)
        ++asked_;
    const StationAnswer late{Kind::late, "answers late", microseconds(0)};
    for (const std::string_view bytes : {exchange.stale, exchange.late})
        if (const auto station = discarded_meaning(bytes_of(bytes)).station)
            heard(*station, late);

    if (exchange.outcome == Outcome::good) {
        heard(exchange.station, {Kind::value, "", time});
        return;
    }
    const Failure failure = failure_of(exchange);
    if (failure.kind == Failure::Kind::no_reply)
        return;
    if (failure.kind == Failure::Kind::refused || failure.kind == Failure::Kind::not_now) {
        heard(exchange.station, {Kind::refused, failure.text, time});
        return;
    }
    if (echoes_)
        return;
    const auto station = discarded_meaning(bytes_of(exchange.reply)).station;
    if (!station)
        noises_[exchange.station] = failure.text;
    else if (*station == exchange.station)
        heard(*station, {Kind::other, failure.text, time});
    else
        heard(*station, late);
}

void StationWatch::line_echoes(bool is_taken_off) {
    const std::lock_guard<std::mutex> locked(mutex_);
    echoes_ = !is_taken_off;
}

// A late reply says less than one in time.
void StationWatch::heard(int station, const StationAnswer &answer) {
    const auto known = answers_.find(station);
    if (known == answers_.end() || known->second.kind == Kind::late)
        answers_[station] = answer;
}

int StationWatch::asked() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return asked_;
}

std::map<int, StationAnswer> StationWatch::answers() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return answers_;
}

std::map<int, std::string> StationWatch::noises() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return noises_;
}

}  // namespace kelpo
