#include "host/serve/payloads.h"

#include "host/driver/request_parts.h"
#include "host/driver/value_json.h"
#include "host/frames/trace_time.h"
#include "host/text/json.h"

#include <chrono>

namespace kelpo {
namespace {

void set_text(Json &object, const char *key, const std::string &text) {
    if (text.empty())
        object.set_null(key);
    else
        object.set(key, text);
}

// A number, an array of them if the variable has several, or null.
Json value_of(const Variable &variable, const VariableState &state) {
    if (!state.known())
        return Json::null();
    const Json values = json_values(variable.view, values_in(variable.view, state.bytes));
    return variable.count == units_per_value(variable.view) ? values.first() : values;
}

Json time_of(const VariableState &state) {
    if (!state.known())
        return Json::null();
    return Json::text(utc_text(std::chrono::time_point_cast<std::chrono::microseconds>(state.wall_time)));
}

Json described(const Variable &variable, int most_per_request) {
    Json one = Json::object();
    one.set("id", topic_level_of(variable.name));
    one.set("name", variable.name);
    one.set("station", variable.station);
    one.set("type", variable.type);
    one.set("address", variable.address);
    one.set("count", variable.count);
    one.set("writable", requests_of_write(variable, most_per_request) > 0);
    if (const auto limits = limits_of(variable.view)) {
        Json range = Json::array();
        range.add(limits->least);
        range.add(limits->greatest);
        one.set("limits", range);
    } else {
        one.set_null("limits");
    }
    return one;
}

}  // namespace

std::string value_payload(const Variable &variable, const VariableState &state) {
    Json object = Json::object();
    object.set("v", value_of(variable, state));
    set_text(object, "text", shown_text(variable, state));
    object.set("q", word_of(state.quality));
    object.set("t", time_of(state));
    return object.in_one_line();
}

std::string bundle_payload(std::int64_t number, TraceTime time, const std::vector<BundledValue> &values) {
    Json all = Json::object();
    for (const auto &[variable, state] : values) {
        Json one = Json::array();
        one.add(value_of(variable, state));
        one.add(std::string(word_of(state.quality)));
        one.add(time_of(state));
        all.set(topic_level_of(variable.name).c_str(), one);
    }
    Json object = Json::object();
    object.set("n", number);
    object.set("t", utc_text(time));
    object.set("v", all);
    return object.in_one_line();
}

std::string meta_payload(const PollList &list, int most_per_request) {
    Json variables = Json::array();
    for (const Variable &variable : list.variables)
        variables.add(described(variable, most_per_request));
    Json object = Json::object();
    object.set("variables", variables);
    return object.in_one_line();
}

std::string status_payload(const char *state, const ServiceStatus &status) {
    Json object = Json::object();
    object.set("state", state);
    object.set("instance", status.instance);
    object.set("version", status.version);
    object.set("since", utc_text(status.since));
    object.set("list", status.list);
    return object.in_one_line();
}

std::string line_payload(const ConditionReport &line, std::optional<std::int64_t> cycle_ms) {
    Json object = Json::object();
    object.set("state", line.state);
    set_text(object, "why", line.why);
    object.set("since", utc_text(line.since));
    if (cycle_ms)
        object.set("cycle_ms", *cycle_ms);
    else
        object.set_null("cycle_ms");
    return object.in_one_line();
}

std::string station_payload(const ConditionReport &station, const std::string &name,
                            std::optional<TraceTime> next_try) {
    Json object = Json::object();
    object.set("state", station.state);
    set_text(object, "why", station.why);
    object.set("since", utc_text(station.since));
    set_text(object, "name", name);
    if (next_try)
        object.set("next_try", utc_text(*next_try));
    else
        object.set_null("next_try");
    return object.in_one_line();
}

std::string result_payload(const SetResult &result, const Variable *variable, const VariableState *read_back) {
    Json object = Json::object();
    set_text(object, "id", result.id);
    object.set("state", result.state);
    set_text(object, "why", result.why);
    if (variable != nullptr && read_back != nullptr) {
        object.set("v", value_of(*variable, *read_back));
        object.set("t", time_of(*read_back));
    } else {
        object.set_null("v");
        object.set_null("t");
    }
    return object.in_one_line();
}

// FNV-1a.
std::string fingerprint_of(const std::string &text) {
    std::uint64_t hash = 14695981039346656037U;
    for (const char letter : text)
        hash = (hash ^ static_cast<unsigned char>(letter)) * 1099511628211U;
    constexpr const char *digits = "0123456789abcdef";
    std::string word;
    for (int shift = 60; shift >= 0; shift -= 4)
        word += digits[(hash >> static_cast<unsigned>(shift)) & 15U];
    return word;
}

}  // namespace kelpo
