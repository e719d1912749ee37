#include "host/serve/service.h"

#include "host/engine/records.h"
#include "host/serve/set_request.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <algorithm>
#include <utility>

namespace kelpo {
namespace {

using std::chrono::steady_clock;

constexpr auto cycle_interval = std::chrono::seconds(10);        // the time of a cycle is published no more often
constexpr auto longest_only_bundled = std::chrono::seconds(10);  // until the board has what was in a bundle
constexpr auto least_read_back = std::chrono::seconds(5);

TraceTime date_now() {
    return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

std::string without_line_end(std::string line) {
    line.pop_back();
    return line;
}

// The line and each station begin so.
ConditionReport unknown_yet(const char *state, const char *why) {
    return {state, why, {}};
}

}  // namespace

Service::Service(PollEngine &engine, Board &board, ServiceName name)
    : engine_(engine), board_(board), name_(std::move(name)), since_(date_now()),
      bundles_(engine.list().mqtt && engine.list().mqtt->publishing == Publishing::bundle),
      put_(engine.list().variables.size()) {
    for (std::size_t i = 0; i < variables().size(); ++i)
        levels_[topic_level_of(variables()[i].name)] = i;
}

const std::vector<Variable> &Service::variables() const {
    return engine_.list().variables;
}

std::string Service::status_topic() const {
    return name_.prefix + "status";
}

std::string Service::lost_payload() const {
    return status_payload("lost", {name_.instance, name_.version, since_, list_});
}

void Service::begin() {
    const std::string meta = meta_payload(engine_.list(), engine_.list().link.of_driver().rules().greatest_max_count());
    list_ = fingerprint_of(meta);
    board_.put(name_.prefix + "meta", meta);
    for (std::size_t i = 0; i < variables().size(); ++i)
        put_value(i);
    put_line();
    put_stations();
    board_.put(status_topic(), status_payload("online", {name_.instance, name_.version, since_, list_}));
}

std::vector<PollEvent> Service::refresh() {
    const PollEngine::News news = engine_.refresh();
    put_line();
    put_stations();
    put_values(news.changed);
    look_at_read_backs(steady_clock::now());
    for (const PollEvent &event : news.events) {
        board_.add_event(name_.prefix + "event",
                         without_line_end(event_record(RecordFormat::json, event, variables())));
        if (event.write)
            take_write_event(event);
    }
    return news.events;
}

// A change of quality is put on the board at once, so that nobody takes a value for better than it is. In a bundle the
// value itself is on its way, and the board follows later.
void Service::put_values(const std::vector<std::size_t> &changed) {
    if (bundles_)
        put_bundles(changed);
    for (const std::size_t index : changed) {
        if (bundles_ && engine_.watch().states()[index].quality == put_[index])
            only_bundled_.insert(index);
        else
            put_value(index);
    }
    const Time now = steady_clock::now();
    if (now - caught_up_at_ < longest_only_bundled)
        return;
    caught_up_at_ = now;
    for (const std::size_t index : std::set<std::size_t>(only_bundled_))
        put_value(index);
}

void Service::put_bundles(const std::vector<std::size_t> &changed) {
    std::map<int, std::vector<BundledValue>> bundles;
    for (const std::size_t index : changed)
        bundles[variables()[index].station].push_back({variables()[index], engine_.watch().states()[index]});
    for (const auto &[station, values] : bundles)
        board_.add_event(name_.prefix + "values/" + std::to_string(station),
                         bundle_payload(++sent_[station], date_now(), values));
}

void Service::put_value(std::size_t index) {
    put_[index] = engine_.watch().states()[index].quality;
    only_bundled_.erase(index);
    board_.put(name_.prefix + "value/" + topic_level_of(variables()[index].name),
               value_payload(variables()[index], engine_.watch().states()[index]));
}

ConditionReport Service::line_condition() const {
    const LinkReading &link = engine_.link();
    if (link.line_open)
        return {"open"};
    return link.line_error.empty() ? unknown_yet("lost", "not open yet") : ConditionReport{"lost", link.line_error};
}

std::string Service::line_words() const {
    return line_ && line_->state == "open" ? "line open" : "line lost: " + (line_ ? line_->why : "");
}

void Service::put_line() {
    ConditionReport now = line_condition();
    const LinkReading::Cycles &cycles = engine_.link().cycles;
    std::optional<std::int64_t> cycle_ms;
    if (cycles.count > 0)
        cycle_ms = std::chrono::duration_cast<std::chrono::milliseconds>(cycles.last).count();
    const Time time = steady_clock::now();
    const bool is_changed = !line_ || !(*line_ == now);
    const bool cycle_is_due =
        cycle_ms != cycle_ms_ && (!cycle_ms_.has_value() || time - cycle_put_at_ >= cycle_interval);
    if (!is_changed && !cycle_is_due)
        return;
    now.since = is_changed ? date_now() : line_->since;
    line_ = now;
    cycle_ms_ = cycle_ms;
    cycle_put_at_ = time;
    board_.put(name_.prefix + "line", line_payload(*line_, cycle_ms_));
}

void Service::put_stations() {
    for (const Station &station : engine_.list().stations)
        put_station(station);
}

ConditionReport Service::station_condition(int number) const {
    if (engine_.is_off(number))
        return {"off"};
    const auto &stations = engine_.link().stations;
    const auto found = stations.find(number);
    if (found != stations.end() && found->second.down_since)
        return {"down", found->second.failure ? down_words(found->second.failure->kind, found->second.failure->text)
                                              : std::string("gives no reply")};
    if (found == stations.end() || !found->second.was_heard)
        return unknown_yet("down", "no reply yet");
    const std::map<int, FailingBlocks> failing = engine_.failing_blocks();
    const auto fails = failing.find(number);
    if (fails != failing.end())
        return {fails->second.refused > 0 ? "refusing" : "up", fails->second.words()};
    return {"up"};
}

void Service::put_station(const Station &station) {
    ConditionReport now = station_condition(station.number);
    const auto [entry, is_new] = stations_.insert({station.number, {}});
    StationReport &report = entry->second;
    const bool is_changed = is_new || !(report.condition == now);
    now.since = is_new || report.condition.state != now.state ? date_now() : report.condition.since;
    const auto &stations = engine_.link().stations;
    const auto found = stations.find(station.number);
    const auto next_try = found == stations.end() ? std::nullopt : found->second.next_try;
    if (!is_changed && next_try == report.next_try)
        return;
    report.condition = now;
    report.next_try = next_try;
    report.next_try_date.reset();
    if (next_try)
        report.next_try_date =
            date_now() + std::chrono::duration_cast<std::chrono::microseconds>(*next_try - steady_clock::now());
    board_.put(name_.prefix + "station/" + std::to_string(station.number),
               station_payload(now, station.name, report.next_try_date));
}

void Service::carry_out(const ServiceOrder &order) {
    constexpr std::string_view sets = "set/", stations = "control/station/";
    if (order.topic.rfind(sets, 0) == 0)
        set(order.topic.substr(sets.size()), order);
    else if (order.topic.rfind(stations, 0) == 0)
        control(order.topic.substr(stations.size()), order);
    else
        look_at_topic(order);
}

// A value or a station that the list had once is still there, and looks as if it were true.
void Service::look_at_topic(const ServiceOrder &order) {
    constexpr std::string_view values = "value/", stations = "station/";
    if (!order.is_retained || order.size == 0)
        return;
    const auto &listed = engine_.list().stations;
    const auto is_listed = [&order, &stations](const Station &station) {
        return order.topic == std::string(stations) + std::to_string(station.number);
    };
    const bool is_value = order.topic.rfind(values, 0) == 0;
    const bool is_station = order.topic.rfind(stations, 0) == 0;
    if ((is_value && levels_.count(order.topic.substr(values.size())) == 0) ||
        (is_station && std::none_of(listed.begin(), listed.end(), is_listed)))
        board_.add_removal(name_.prefix + order.topic);
}

void Service::set(const std::string &level, const ServiceOrder &order) {
    Waiting write{level, {}, {}, 0};
    if (order.size > order.payload.size()) {
        answer(write, "refused", "the message is longer than " + std::to_string(order.payload.size()) + " bytes");
        return;
    }
    const SetRequest request = set_request_from(order.payload);
    write.id = request.id;
    if (order.is_retained) {
        answer(write, "refused", "the message is retained, and may be old; send it without the retain flag");
        return;
    }
    if (!request.id.empty()) {
        write.key = level + "/" + request.id;
        const AnswerBook::State state = book_.note(write.key);
        if (state == AnswerBook::State::answered)
            publish_result(level, book_.answer(write.key), "repeated");
        if (state != AnswerBook::State::is_new)
            return;
    }
    const auto found = levels_.find(level);
    if (found == levels_.end()) {
        answer(write, "refused", "no variable " + in_quotes(level));
        return;
    }
    write.variable = found->second;
    const Variable &variable = variables()[write.variable];
    const std::string mistake = request.mistake.empty() ? beyond_limits(variable, request.typed) : request.mistake;
    if (!mistake.empty()) {
        answer(write, "refused", mistake);
        return;
    }
    const WriteAnswer taken =
        engine_.write(write.variable, request.typed, order.came_at, request.within.value_or(default_write_deadline));
    if (taken.taken)
        writes_[taken.id] = write;
    else
        answer(write, "refused", taken.text);
}

void Service::control(const std::string &number, const ServiceOrder &order) {
    const auto &stations = engine_.list().stations;
    const auto is_meant = [&number](const Station &station) {
        return std::to_string(station.number) == number;
    };
    const auto station = std::find_if(stations.begin(), stations.end(), is_meant);
    const std::string wanted(trimmed(order.payload));
    std::string said = "control of station " + in_quotes(number) + " refused: ";
    if (order.is_retained)
        said += "the message is retained, and may be old";
    else if (station == stations.end())
        said += "there is no such station";
    else if (wanted != "on" && wanted != "off")
        said += in_quotes(wanted) + " is not on or off";
    else if ((wanted == "off") == engine_.is_off(station->number))
        said = "station " + number + " is " + wanted + " already";
    else
        said = engine_.switch_station(station->number);
    const PollEvent event{PollEvent::Kind::remark, std::chrono::system_clock::now(), {}, 0, {}, {}, said};
    board_.add_event(name_.prefix + "event", without_line_end(event_record(RecordFormat::json, event, variables())));
}

void Service::take_write_event(const PollEvent &event) {
    const auto found = writes_.find(*event.write);
    if (found == writes_.end())
        return;
    const Waiting write = found->second;
    writes_.erase(found);
    switch (event.kind) {
    case PollEvent::Kind::write_done: {
        give_up_read_backs(write.variable);
        const Time now = steady_clock::now();
        const auto patience = std::max<std::chrono::nanoseconds>(least_read_back, good_for(engine_.link().cycles));
        read_backs_.push_back({write, event.text, now, now + patience + variables()[write.variable].every});
        break;
    }
    case PollEvent::Kind::write_expired:
        answer(write, "expired", event.text);
        break;
    default:
        answer(write, event.may_be_written ? "unknown" : "failed", event.text);
    }
}

void Service::look_at_read_backs(Time now) {
    std::vector<ReadBack> still;
    for (const ReadBack &waiting : std::exchange(read_backs_, {})) {
        const VariableState &state = engine_.watch().states()[waiting.write.variable];
        if (state.known() && state.read_at > waiting.done_at) {
            const std::string text = shown_text(variables()[waiting.write.variable], state);
            const bool is_there = text == waiting.text;
            answer(waiting.write, is_there ? "done" : "failed",
                   is_there ? "" : "acknowledged, but then read as " + text, &state);
        } else if (const auto why = cannot_be_read_back(waiting, now)) {
            answer(waiting.write, "unknown", "acknowledged, but not read back: " + *why);
        } else {
            still.push_back(waiting);
        }
    }
    read_backs_ = std::move(still);
}

// What is read from now on is another write's.
void Service::give_up_read_backs(std::size_t variable) {
    const auto is_other = [variable](const ReadBack &waiting) {
        return waiting.write.variable != variable;
    };
    const auto first = std::stable_partition(read_backs_.begin(), read_backs_.end(), is_other);
    for (auto superseded = first; superseded != read_backs_.end(); ++superseded)
        answer(superseded->write, "unknown", "acknowledged, but written once more before it was read back");
    read_backs_.erase(first, read_backs_.end());
}

std::optional<std::string> Service::cannot_be_read_back(const ReadBack &waiting, Time now) const {
    const int station = variables()[waiting.write.variable].station;
    const auto report = stations_.find(station);
    if (!line_ || line_->state != "open")
        return line_words();
    if (report != stations_.end() &&
        (report->second.condition.state == "off" || report->second.condition.state == "down"))
        return "station " + std::to_string(station) + " is " + report->second.condition.state;
    if (now < waiting.until)
        return std::nullopt;
    const auto &failure = engine_.watch().states()[waiting.write.variable].failure;
    return failure ? failure->text : "it was not read within " + duration_text(waiting.until - waiting.done_at);
}

void Service::answer(const Waiting &write, const char *state, const std::string &why, const VariableState *read_back) {
    const std::string payload = result_payload({write.id, state, why}, &variables()[write.variable], read_back);
    const int times = write.key.empty() ? 1 : book_.set_answer(write.key, payload);
    for (int i = 0; i < times; ++i)
        publish_result(write.level, payload, state);
}

void Service::publish_result(const std::string &level, const std::string &payload, const char *state) {
    ++results_[state];
    board_.add_answer(name_.prefix + "result/" + level, payload);
}

void Service::end() {
    refresh();
    for (const ReadBack &waiting : std::exchange(read_backs_, {}))
        answer(waiting.write, "unknown", "acknowledged, but not read back: the service ended");
    board_.put(status_topic(), status_payload("offline", {name_.instance, name_.version, since_, list_}));
}

}  // namespace kelpo
