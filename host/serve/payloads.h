#pragma once

#include "host/engine/variable_watch.h"
#include "host/frames/trace_record.h"
#include "host/list/poll_list.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

// What the service publishes. docs/topics.md describes each field.

/// Of the topic `value/ID`.
std::string value_payload(const Variable &variable, const VariableState &state);

/// A value among others of a bundle.
struct BundledValue {
    const Variable &variable;
    const VariableState &state;
};

/// Of the topic `values/N`: what has changed at a station since the bundle before.
std::string bundle_payload(std::int64_t number, TraceTime time, const std::vector<BundledValue> &values);

/// Of the topic `meta`: all variables of the list.
std::string meta_payload(const PollList &list, int most_per_request);

/// What the service says of itself.
struct ServiceStatus {
    std::string instance;  ///< another one after each start
    std::string version;
    TraceTime since;
    std::string list;  ///< of each list another one
};

/// Of the topic `status`: "online", "offline" or "lost".
std::string status_payload(const char *state, const ServiceStatus &status);

/// What is true of a line or a station since then.
struct ConditionReport {
    std::string state;
    std::string why{};  ///< empty: nothing to explain
    TraceTime since{};

    bool operator==(const ConditionReport &other) const {
        return state == other.state && why == other.why;
    }
};

/// Of the topic `line`.
std::string line_payload(const ConditionReport &line, std::optional<std::int64_t> cycle_ms);

/// Of the topic `station/N`.
std::string station_payload(const ConditionReport &station, const std::string &name, std::optional<TraceTime> next_try);

/// What a write has come to.
struct SetResult {
    std::string id;     ///< empty: it had none
    const char *state;  ///< "done", "refused", "failed", "expired" or "unknown"
    std::string why;    ///< empty: it is done
};

/// Of the topic `result/ID`, with what was read back, if it was.
std::string result_payload(const SetResult &result, const Variable *variable, const VariableState *read_back);

/// A few letters and digits that differ whenever the text does.
std::string fingerprint_of(const std::string &text);

}  // namespace kelpo
