#include "host/engine/poll_engine.h"

#include "host/driver/request_parts.h"
#include "host/engine/value_input.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <utility>

namespace kelpo {
namespace {

using Kind = PollEvent::Kind;

constexpr std::size_t frames_kept = 400;  // for the screen's trace
constexpr std::size_t names_shown = 20;   // of variables that were never read

bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::optional<TraceOutput> opened(const std::string &file) {
    if (file.empty())
        return std::nullopt;
    return TraceOutput(file, ends_with(file, ".pcap") ? TraceForm::pcap : TraceForm::saved_trace);
}

std::vector<TraceSink *> sinks(TraceRing &ring, TraceQueue &queue, bool to_file) {
    if (to_file)
        return {&ring, &queue};
    return {&ring};
}

Kind kind_of(LinkEvent::Kind kind) {
    switch (kind) {
    case LinkEvent::Kind::given_up:
        return Kind::given_up;
    case LinkEvent::Kind::station_down:
        return Kind::station_down;
    case LinkEvent::Kind::station_rests:
        return Kind::station_rests;
    case LinkEvent::Kind::station_back:
        return Kind::station_back;
    case LinkEvent::Kind::line_lost:
        return Kind::line_lost;
    case LinkEvent::Kind::line_back:
        break;
    }
    return Kind::line_back;
}

Kind kind_of(WriteResult::Kind kind) {
    switch (kind) {
    case WriteResult::Kind::done:
        return Kind::write_done;
    case WriteResult::Kind::expired:
        return Kind::write_expired;
    case WriteResult::Kind::failed:
        break;
    }
    return Kind::write_failed;
}

PollEvent event_of(const LinkEvent &event) {
    return {kind_of(event.kind), event.time, event.place, event.count, {}, event.pause, event.text, event.cause};
}

std::vector<LinkWatcher *> with_another(std::vector<LinkWatcher *> watchers, LinkWatcher *another) {
    if (another != nullptr)
        watchers.push_back(another);
    return watchers;
}

std::string station_words(const PollEvent &event) {
    return "station " + std::to_string(event.place.station);
}

}  // namespace

std::string words_of(const PollEvent &event, const std::vector<Variable> &variables) {
    const std::string name = event.variable ? variables[*event.variable].name : "";
    switch (event.kind) {
    case Kind::given_up:
        return station_words(event) + ", " + std::to_string(event.count) + " of type " +
               std::to_string(event.place.type) + " from no. " + std::to_string(event.place.address) +
               " given up: " + event.text;
    case Kind::station_down:
        return station_words(event) + " " + down_words(event.cause, event.text);
    case Kind::station_rests:
        return station_words(event) + " gives no reply: " + rest_words(event.pause);
    case Kind::station_back:
        return station_words(event) + " answers again";
    case Kind::line_lost:
        return "line lost: " + event.text + "; next try in " + duration_text(event.pause);
    case Kind::line_back:
        return "line is back";
    case Kind::write_done:
        return "write " + name + " = " + event.text + ": done";
    case Kind::remark:
        return event.text;
    case Kind::write_expired:
        return "write " + name + " expired: " + event.text;
    case Kind::write_failed:
        break;
    }
    return "write " + name + " failed: " + event.text;
}

// Bytes that are not a good reply may come from any station.
std::string down_words(Failure::Kind cause, const std::string &reason) {
    return (cause == Failure::Kind::no_reply ? "does not answer: " : "is not understood: ") + reason;
}

std::string rest_words(std::chrono::nanoseconds until_next_try) {
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(until_next_try).count();
    return "resting, next try in " + std::to_string(std::max<std::int64_t>(0, seconds)) + " s";
}

std::string FailingBlocks::words() const {
    const auto of_all = [this](int some) {
        return std::to_string(some) + " of " + std::to_string(blocks) + (blocks == 1 ? " block" : " blocks");
    };
    std::string no_reply = silent > 0 ? "no reply to " + of_all(silent) : "";
    if (refused == 0)
        return no_reply;
    return "refusing, " + of_all(refused) + " " + reason + (silent > 0 ? "; " : "") + no_reply;
}

PollEngine::PollEngine(Driver &driver, PollList list, StopSignal &stop, const std::string &trace_file,
                       const WriteWaits &waits, LinkWatcher *watcher)
    : driver_(driver), list_(std::move(list)), ring_(frames_kept), output_(opened(trace_file)),
      writer_(driver, waits.if_away), tracer_(sinks(ring_, queue_, output_.has_value())), remarks_(list_.link),
      session_(driver, list_.link, stop, with_another({&gauge_, &values_, &writer_, &tracer_, &remarks_}, watcher),
               OnLoss::open_again),
      waits_(waits), blocks_(driver.poll(places_to_read(driver, list_.variables))), watch_(list_.variables) {
    const std::vector<PolledBlock> blocks = driver.all_blocks();
    gauge_.blocks_replaced({}, blocks);
    values_.use(driver, list_.variables, blocks);
    for (const Station &station : list_.stations)
        if (!station.enabled)
            switch_station(station.number);
}

void PollEngine::start() {
    started_ = std::chrono::steady_clock::now();
    session_.start();
    if (output_)
        output_->put_in_place();
}

PollEngine::News PollEngine::refresh() {
    News news;
    link_ = gauge_.reading();
    link_.counts = session_.statistics().counts();
    for (const LinkEvent &event : gauge_.take_events())
        news.events.push_back(kelpo::event_of(event));
    for (const WriteResult &result : writer_.take_results())
        news.events.push_back(event_of(result));
    for (const std::string &remark : remarks_.take_new())
        news.events.push_back({Kind::remark, std::chrono::system_clock::now(), {}, 0, {}, {}, remark});
    news.changed = watch_.refresh(values_.take(), link_, off_, std::chrono::steady_clock::now());
    write_trace();
    return news;
}

void PollEngine::finish() {
    session_.finish();
    if (session_.line_error().empty())
        writer_.end("polling ended before it was done", ExitCode::not_right);
    else
        writer_.end("the line was lost when polling ended", ExitCode::no_line);
}

PollEvent PollEngine::event_of(const WriteResult &result) {
    const auto found = writes_.find(result.id);
    const Write write = found->second;
    writes_.erase(found);
    const bool done = result.kind == WriteResult::Kind::done;
    ++(done ? writes_done_ : result.kind == WriteResult::Kind::expired ? writes_expired_ : writes_failed_);
    PollEvent event{kind_of(result.kind), std::chrono::system_clock::now(), {}, 0, write.variable, {}, {}};
    event.text = done ? write.text : result.text;
    event.write = result.id;
    event.may_be_written = result.may_be_written;
    return event;
}

void PollEngine::write_trace() {
    if (!output_)
        return;
    for (const TraceRecord &record : queue_.taken())
        output_->write(record);
    output_->flush();
}

WriteAnswer PollEngine::write(std::size_t index, const std::string &typed) {
    return write(index, typed, std::chrono::steady_clock::now(), waits_.within);
}

WriteAnswer PollEngine::write(std::size_t index, const std::string &typed, WriteQueue::Time asked,
                              std::chrono::milliseconds within) {
    const Variable &variable = list_.variables[index];
    const int max_count = list_.link.of_driver().rules().of(variable.station).max_count;
    const int requests = requests_of_write(variable, max_count);
    if (requests == 0)
        return {false, variable.name + ": type " + std::to_string(variable.type) + " is not writable"};
    const ValueInput input = value_input(variable, typed);
    if (!input.mistake.empty())
        return {false, variable.name + ": " + input.mistake};
    const std::string station_away = why_away(variable.station);
    if (!station_away.empty() && waits_.if_away != IfAway::wait)
        return {false, variable.name + ": not written, " + station_away};
    if (!link_.line_error.empty() && waits_.if_away == IfAway::fail)
        return {false, variable.name + ": not written, the line is lost: " + link_.line_error};
    const std::size_t waiting = writer_.requests();
    if (waiting + static_cast<std::size_t>(requests) > static_cast<std::size_t>(most_queued))
        return {false, variable.name + ": not written, too much waits to be written: " + std::to_string(waiting) +
                           " of " + std::to_string(most_queued) + " requests"};

    const std::string text = text_of(variable.view, input.values);
    const int id = writer_.write(parts_of_write(driver_, variable, input.values, max_count), asked, within);
    writes_[id] = {index, text};
    const char *const awaited = !link_.line_open ? "line" : !station_away.empty() ? "station" : nullptr;
    return {true,
            "write " + variable.name + " = " + text + ": queued" +
                (awaited == nullptr ? std::string()
                                    : std::string(", waits for the ") + awaited + " at most " + duration_text(within)),
            id};
}

// What keeps the station from being asked, for the user; empty when nothing does.
std::string PollEngine::why_away(int station) const {
    const std::string name = "station " + std::to_string(station) + " ";
    if (is_off(station))
        return name + "is switched off; switch it on first";
    const auto known = link_.stations.find(station);
    return known != link_.stations.end() && known->second.next_try ? name + down_words(known->second) : std::string();
}

bool PollEngine::write_waits(std::size_t variable) const {
    for (const auto &[id, write] : writes_)
        if (write.variable == variable)
            return true;
    return false;
}

std::string PollEngine::switch_station(int station) {
    const bool switched_on = off_.erase(station) > 0;
    if (!switched_on) {
        off_.insert(station);
        writer_.station_off(station, "station " + std::to_string(station) + " was switched off before it was sent");
    }
    driver_.switch_station(station, switched_on);
    if (switched_on)
        writer_.station_on(station);
    gauge_.forget_station(station);
    values_.forget_failures(station);
    return "station " + std::to_string(station) + (switched_on ? " switched on" : " switched off: it is not asked");
}

std::map<int, FailingBlocks> PollEngine::failing_blocks() const {
    std::map<int, FailingBlocks> stations;
    for (const auto &[place, block] : link_.blocks) {
        const bool is_refused = block.failure && block.failure->kind == Failure::Kind::refused;
        const bool is_silent = block.failure && block.failure->kind == Failure::Kind::no_reply;
        if ((!is_refused && !is_silent) || is_off(place.station))
            continue;
        FailingBlocks &station = stations[place.station];
        station.blocks = link_.polled.at(place.station);
        // Some blocks take two requests.
        int &failed = is_refused ? station.refused : station.silent;
        failed = std::min(failed + 1, station.blocks);
        if (is_refused)
            station.reason = block.failure->text;
    }
    return stations;
}

std::string PollEngine::down_words(const LinkReading::Station &station) const {
    std::string words = kelpo::down_words(station.failure->kind, station.failure->text);
    if (!station.next_try)
        return words;
    return words + "; " + rest_words(*station.next_try - std::chrono::steady_clock::now());
}

std::vector<std::size_t> PollEngine::never_read() const {
    std::vector<std::size_t> indexes;
    for (std::size_t i = 0; i < list_.variables.size(); ++i)
        if (!watch_.states()[i].known() && !is_off(list_.variables[i].station))
            indexes.push_back(i);
    return indexes;
}

std::string PollEngine::summary() const {
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - started_;
    std::ostringstream text;
    text << "exchanges  " << link_.counts.exchanges << " in " << age_text(std::chrono::steady_clock::now() - started_)
         << " (" << rate_text(static_cast<double>(link_.counts.exchanges) / std::max(0.1, time.count()))
         << " per second): good " << link_.counts.good << ", sent again " << link_.counts.sent_again << ", given up "
         << link_.counts.given_up << "\n"
         << "cycles     " << link_.cycles.count;
    if (link_.cycles.count > 0)
        text << ": mean " << duration_text(link_.cycles.mean) << ", worst " << duration_text(link_.cycles.worst);
    text << "\nbytes      " << link_.counts.bytes_sent << " sent, " << link_.counts.bytes_received << " received, "
         << link_.counts.bytes_discarded << " thrown away\n";
    if (writes_done_ + writes_failed_ + writes_expired_ > 0)
        text << "writes     " << writes_done_ << " done, " << writes_failed_ << " failed, " << writes_expired_
             << " expired\n";
    for (const auto &[number, station] : link_.stations)
        if (station.down_since && !is_off(number))
            text << "station    " << number << " " << down_words(station) << "\n";
    for (const auto &[number, failing] : failing_blocks())
        if (!link_.stations.at(number).down_since)
            text << "station    " << number << " " << failing.words() << "\n";
    const std::vector<std::size_t> unread = never_read();
    for (std::size_t i = 0; i < std::min(unread.size(), names_shown); ++i) {
        const Variable &variable = list_.variables[unread[i]];
        const auto &failure = watch_.states()[unread[i]].failure;
        const auto station = link_.stations.find(variable.station);
        const bool rests = station != link_.stations.end() && station->second.next_try;
        text << "never read " << variable.name << ": "
             << (failure ? failure->text
                 : rests ? "its station does not answer"
                         : "polling ended before")
             << "\n";
    }
    if (unread.size() > names_shown)
        text << "never read " << unread.size() - names_shown << " more\n";
    for (const std::string &remark : remarks_.sentences())
        text << "note       " << remark << "\n";
    if (!link_.line_error.empty())
        text << "line       lost: " << printable(link_.line_error) << "\n";
    return text.str();
}

ExitCode PollEngine::exit_code() const {
    if (!link_.line_error.empty())
        return ExitCode::no_line;
    const bool unwritten = writes_failed_ + writes_expired_ > 0;
    ExitCode code = unwritten || !never_read().empty() ? ExitCode::not_right : ExitCode::all_well;
    for (const auto &[place, block] : link_.blocks)
        if (block.failure && !is_off(place.station))
            code = worse(code, exit_code_of(block.failure->kind));
    return code;
}

}  // namespace kelpo
