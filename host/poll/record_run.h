#pragma once

#include "host/poll/poll_engine.h"
#include "host/poll/records.h"

#include <chrono>
#include <optional>

namespace kelpo {

struct RecordOptions {
    RecordFormat format = RecordFormat::plain;
    std::optional<std::chrono::milliseconds> every;  ///< all values at this interval, instead of those that changed
    bool writes = false;                             ///< take lines NAME=VALUE from standard input and write them
};

/// Writes to the open file `output` what an engine polls, one record after the other. Ends when `stop` is raised, when
/// `end` has come, or when nobody reads the output any more: then, and only then, it returns false. Otherwise the
/// engine is finished, and what it reports then is written too, as far as the reader takes it at once. Throws
/// TraceOutputError, and std::system_error when the output cannot be written.
bool run_records(PollEngine &engine, const RecordOptions &options, int output, const StopSignal &stop,
                 std::optional<std::chrono::steady_clock::time_point> end);

}  // namespace kelpo
