#include "host/poll/poll_engine.h"

#include "host/once/requests.h"
#include "host/poll/quantity_text.h"
#include "host/poll/value_input.h"

#include <sstream>

namespace kelpo {
namespace {

using Kind = PollEvent::Kind;

constexpr std::size_t frames_kept = 400;  // for the screen's trace
constexpr int write_group = 12;           // outside of those that shift the driver's return codes

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
    case LinkEvent::Kind::station_back:
        return Kind::station_back;
    case LinkEvent::Kind::line_lost:
        return Kind::line_lost;
    case LinkEvent::Kind::line_back:
        return Kind::line_back;
    case LinkEvent::Kind::request_done:
        return Kind::write_done;
    case LinkEvent::Kind::request_failed:
        break;
    }
    return Kind::write_failed;
}

bool is_write(const PollEvent &event) {
    return event.kind == Kind::write_done || event.kind == Kind::write_failed;
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
        return station_words(event) + " does not answer: " + event.text;
    case Kind::station_back:
        return station_words(event) + " answers again";
    case Kind::line_lost:
        return "line lost: " + event.text + "; next try in " + duration_text(event.pause);
    case Kind::line_back:
        return "line is back";
    case Kind::write_done:
        return "write " + name + " = " + event.text + ": done";
    case Kind::write_failed:
        break;
    }
    return "write " + name + " failed: " + event.text;
}

PollEngine::PollEngine(const PollList &list, StopSignal &stop, const std::string &trace_file)
    : list_(list), ring_(frames_kept), output_(opened(trace_file)), tracer_(sinks(ring_, queue_, output_.has_value())),
      session_(list.link, stop, {&gauge_, &tracer_}, OnLoss::open_again),
      blocks_(session_.poll(places_to_poll(list.variables))),
      watch_(session_.driver().entry(), list.variables, session_.driver().read_blocks()) {
    for (const Station &station : list.stations)
        if (!station.enabled)
            switch_station(station.number);
}

void PollEngine::start() {
    started_ = std::chrono::steady_clock::now();
    session_.start();
}

PollEngine::News PollEngine::refresh() {
    News news;
    // In this order: when nothing waits any more, the end of every write is in the reading or among the events.
    const bool idle = session_.driver().requests_waiting() == 0;
    link_ = gauge_.reading();
    for (const LinkEvent &event : gauge_.take_events()) {
        const PollEvent told = event_from(event);
        if (!is_write(told) || told.variable)
            news.events.push_back(told);
    }
    if (idle && !link_.request_failing)
        report_dropped_writes(news.events);
    news.changed = watch_.refresh(link_);
    write_trace();
    return news;
}

void PollEngine::finish() {
    session_.finish();
}

PollEvent PollEngine::event_from(const LinkEvent &event) {
    PollEvent told{kind_of(event.kind), event.time, event.place, event.count, std::nullopt, event.pause, event.text};
    if (is_write(told))
        end_write(event.id, told);
    return told;
}

void PollEngine::end_write(int id, PollEvent &event) {
    const auto found = writes_.find(id);
    if (found == writes_.end())
        return;
    if (event.kind == Kind::write_done && session_.driver().is_waiting(write_group, id))
        return;
    event.variable = found->second.variable;
    if (event.kind == Kind::write_done)
        event.text = found->second.text;
    ++(event.kind == Kind::write_done ? writes_done_ : writes_failed_);
    writes_.erase(found);
}

// The driver drops requests to a station that is switched off, and tells nobody.
void PollEngine::report_dropped_writes(std::vector<PollEvent> &events) {
    for (const auto &[id, write] : writes_) {
        events.push_back(
            {Kind::write_failed, std::chrono::system_clock::now(), {}, 0, write.variable, {}, "dropped by the driver"});
        ++writes_failed_;
    }
    writes_.clear();
}

void PollEngine::write_trace() {
    if (!output_)
        return;
    for (const TraceRecord &record : queue_.taken())
        output_->write(record);
    output_->flush();
}

WriteAnswer PollEngine::write(std::size_t index, const std::string &typed) {
    const Variable &variable = list_.variables[index];
    const int requests = requests_of_write(variable, list_.link.max_count);
    if (requests == 0)
        return {false, variable.name + ": type " + std::to_string(variable.type) + " is not writable"};
    const ValueInput input = value_input(variable, typed);
    if (!input.mistake.empty())
        return {false, variable.name + ": " + input.mistake};
    if (is_off(variable.station))
        return {false, variable.name + ": not written, station " + std::to_string(variable.station) +
                           " is switched off; switch it on first"};
    const int waiting = session_.driver().requests_waiting();
    if (waiting + requests > most_queued)
        return {false, variable.name + ": not written, the driver's queue is full: " + std::to_string(waiting) +
                           " of " + std::to_string(most_queued) + " requests wait"};

    const int id = next_id_++;
    const std::string text = text_of(variable.view, input.values);
    writes_[id] = {index, text};
    session_.driver().entry().SetRegisterData(QString(), variable.type, QString::fromLatin1(variable.address.c_str()),
                                              variable.station, bytes_of(variable.view, input.values), variable.count,
                                              write_group, id);
    return {true, "write " + variable.name + " = " + text + ": queued" +
                      (link_.line_open ? "" : ", waits until the line is back")};
}

bool PollEngine::write_waits(std::size_t variable) const {
    for (const auto &[id, write] : writes_)
        if (write.variable == variable)
            return true;
    return false;
}

std::string PollEngine::switch_station(int station) {
    constexpr int off = 0, on = 1;
    const bool switched_on = off_.erase(station) > 0;
    if (!switched_on)
        off_.insert(station);
    session_.driver().entry().EnableEthernet(station, switched_on ? on : off);
    gauge_.forget_station(station);
    return "station " + std::to_string(station) + (switched_on ? " switched on" : " switched off: it is not asked");
}

std::string PollEngine::summary() const {
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - started_;
    std::ostringstream text;
    text << "exchanges  " << link_.exchanges << " in " << age_text(std::chrono::steady_clock::now() - started_) << " ("
         << rate_text(static_cast<double>(link_.exchanges) / std::max(0.1, time.count())) << " per second): good "
         << link_.good << ", sent again " << link_.sent_again << ", given up " << link_.given_up << "\n"
         << "cycles     " << link_.cycles.count;
    if (link_.cycles.count > 0)
        text << ": mean " << duration_text(link_.cycles.mean) << ", worst " << duration_text(link_.cycles.worst);
    text << "\nbytes      " << link_.bytes_sent << " sent, " << link_.bytes_received << " received, "
         << link_.bytes_discarded << " thrown away\n";
    if (writes_done_ + writes_failed_ + static_cast<int>(writes_.size()) > 0)
        text << "writes     " << writes_done_ << " done, " << writes_failed_ << " failed, " << writes_.size()
             << " not sent any more\n";
    for (const auto &[number, station] : link_.stations)
        if (station.down_since && !is_off(number))
            text << "station    " << number << " does not answer: " << station.failure->text << "\n";
    if (!link_.line_error.empty())
        text << "line       lost: " << link_.line_error << "\n";
    return text.str();
}

ExitCode PollEngine::exit_code() const {
    if (!link_.line_error.empty())
        return ExitCode::no_line;
    ExitCode code = writes_failed_ > 0 || !writes_.empty() ? ExitCode::not_right : ExitCode::all_well;
    for (const auto &[place, block] : link_.blocks)
        if (block.failure && !is_off(place.station))
            code = worse(code, exit_code_of(block.failure->kind));
    return code;
}

}  // namespace kelpo
