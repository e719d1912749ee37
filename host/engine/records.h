#pragma once

#include "host/driver/variable.h"
#include "host/engine/poll_engine.h"
#include "host/engine/variable_watch.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace kelpo {

/// How records are written: docs/poll.md describes their fields.
enum class RecordFormat {
    plain,  ///< for people; may change
    csv,    ///< a header with the names of the fields, then a line for each record
    json    ///< an object in each line
};

using RecordTime = std::chrono::system_clock::time_point;

/// What comes before the first record: a line with its end, or nothing.
std::string record_head(RecordFormat format);

/// The value of a variable, as a line with its end. It must be known.
std::string value_record(RecordFormat format, RecordTime time, const Variable &variable, const VariableState &state);

/// Likewise, something that happened.
std::string event_record(RecordFormat format, const PollEvent &event, const std::vector<Variable> &variables);

/// Likewise, that this number of records is left out at this place.
std::string left_out_record(RecordFormat format, RecordTime time, std::int64_t count);

/// Likewise, a write that was not queued. `variable` may be null when none has that name.
std::string refusal_record(RecordFormat format, RecordTime time, const Variable *variable, const std::string &why);

}  // namespace kelpo
