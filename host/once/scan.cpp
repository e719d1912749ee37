#include "host/once/scan.h"

#include "host/driver/address_text.h"
#include "host/frames/frame_words.h"
#include "host/once/once_run.h"
#include "host/once/place_check.h"
#include "host/text/json.h"
#include "host/text/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <string_view>

namespace kelpo {
namespace {

using Kind = StationAnswer::Kind;
using std::chrono::microseconds;

const char *name_of(Kind kind) {
    switch (kind) {
    case Kind::value:
        return "value";
    case Kind::refused:
        return "refused";
    case Kind::other:
        return "other";
    case Kind::late:
        break;
    }
    return "late";
}

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

void StationWatch::line_echoes() {
    const std::lock_guard<std::mutex> locked(mutex_);
    echoes_ = true;
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

LinkSettings scan_defaults() {
    LinkSettings settings;
    settings.timeouts.reply = std::chrono::milliseconds(100);
    settings.timeouts.settle = std::chrono::milliseconds(20);
    settings.retries = 0;
    return settings;
}

std::vector<int> stations_from(const std::string &text) {
    std::set<int> stations;
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        const std::string_view part = std::string_view(text).substr(from, comma - from);
        const std::size_t dash = part.find('-');
        const auto first = whole_number(trimmed(part.substr(0, dash)));
        const auto last = dash == std::string::npos ? first : whole_number(trimmed(part.substr(dash + 1)));
        if (!first || !last || *first < 1 || *last > last_station || *first > *last)
            throw StationsError("'" + std::string(part) +
                                "' names no stations; write numbers from 1 to 247 such as 1-20,33");
        for (long long station = *first; station <= *last; ++station)
            stations.insert(static_cast<int>(station));
        from = comma + 1;
    }
    return {stations.begin(), stations.end()};
}

namespace {

// One line that is redrawn, and removed at the end.
class Bar {
public:
    Bar(bool shown, std::size_t total, std::ostream &terminal) : shown_(shown), total_(total), terminal_(terminal) {}

    void draw(int asked, std::size_t found) {
        constexpr int width = 40;
        const std::string counts =
            std::to_string(asked) + "/" + std::to_string(total_) + " asked, " + std::to_string(found) + " found";
        if (!shown_ || counts == counts_)
            return;
        counts_ = counts;
        const auto full = static_cast<std::size_t>(width) * static_cast<std::size_t>(asked) / total_;
        terminal_ << "\r[" << std::string(full, '#') << std::string(width - full, '.') << "] " << counts << "\x1b[K"
                  << std::flush;
    }

    void clear() {
        if (!counts_.empty())
            terminal_ << "\r\x1b[K" << std::flush;
        counts_.clear();
    }

private:
    bool shown_;
    std::size_t total_;
    std::ostream &terminal_;
    std::string counts_;
};

Variable place_of(const ScanOptions &options, int station) {
    return {std::to_string(options.type) + ":" + options.address,
            station,
            options.type,
            options.address,
            units_per_value(default_view(options.type)),
            default_view(options.type)};
}

std::string words_of(const StationAnswer &answer, const Variable &place, const Values &values) {
    return answer.kind == Kind::value ? place.name + " = " + text_of(place.view, values) : answer.text;
}

std::string line_of(int station, const StationAnswer &answer, const std::string &words) {
    const std::string time =
        answer.kind == Kind::late ? "" : fmt::format("  ({:.1f} ms)", static_cast<double>(answer.time.count()) / 1000);
    return fmt::format("{:3}  {}{}", station, words, time);
}

std::string json_of(int station, const StationAnswer &answer, const std::string &words) {
    Json object = Json::object();
    object.set("station", station);
    object.set("answer", name_of(answer.kind));
    object.set("text", words);
    if (answer.kind != Kind::late)
        object.set("milliseconds", static_cast<double>(answer.time.count()) / 1000);
    return object.in_one_line();
}

void report(const ScanOptions &options, const OnceRun &run, const StationWatch &watch, std::ostream &out,
            std::ostream &error) {
    const auto answers = watch.answers();
    for (const auto &[station, answer] : answers) {
        const Variable place = place_of(options, station);
        const std::string words = words_of(answer, place, run.values(place));
        out << (options.json ? json_of(station, answer, words) : line_of(station, answer, words)) << "\n";
    }
    out.flush();
    for (const auto &[station, noise] : watch.noises())
        error << "kelpo: when station " << station << " was asked: " << noise << "\n";
    if (!watch.noises().empty())
        error << "kelpo: bytes that are not a reply: is the speed or parity different, or do two stations have one "
                 "number?\n";
    const auto asked = static_cast<std::size_t>(watch.asked());
    error << "kelpo: asked " << asked << ", answering " << answers.size();
    if (asked < options.stations.size())
        error << "; ended before " << options.stations.size() - asked << " more were asked";
    error << "\n";
}

}  // namespace

ExitCode run_scan(Driver &driver, const ScanOptions &options, StopSignal &stop, std::ostream &out,
                  std::ostream &error) {
    const Status address = PlaceCheck(driver, options.link.max_count).of_read(place_of(options, 1));
    if (!address.done) {
        error << "kelpo: " << address.problem << "\n";
        return address.code;
    }
    StationWatch watch;
    OnceRun run(driver, options.link, stop, watch);
    run.start();
    for (const int station : options.stations)
        run.queue_read(place_of(options, station));
    Bar bar(options.shows_progress, options.stations.size(), error);
    run.wait_until_served([&] { bar.draw(watch.asked(), watch.answers().size()); });
    run.finish();
    bar.clear();
    for (const std::string &remark : run.remarks())
        error << "kelpo: " << remark << "\n";
    report(options, run, watch, out, error);
    if (!run.line_error().empty()) {
        error << "kelpo: " << run.line_error() << "\n";
        return ExitCode::no_line;
    }
    return watch.answers().empty() ? ExitCode::not_right : ExitCode::all_well;
}

}  // namespace kelpo
