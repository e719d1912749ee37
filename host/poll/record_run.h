#pragma once

#include "host/engine/poll_engine.h"
#include "host/engine/records.h"

#include <chrono>
#include <cstddef>
#include <optional>

namespace kelpo {

struct RecordOptions {
    RecordFormat format = RecordFormat::plain;
    std::optional<std::chrono::milliseconds> every;  ///< all values at this interval, instead of those that changed
    bool writes = false;                             ///< take lines NAME=VALUE from standard input and write them
};

/// Writes to the open file `output` what an engine polls, one record after the other. When a reader takes less than
/// there is, and a megabyte waits for it, records are left out; one in their place says how many, and after it comes
/// the last value of each variable that has changed meanwhile. Results of writes are not left out: no more is taken
/// from standard input meanwhile. Ends when `stop` is raised, when `end` has come, or when nobody reads the output any
/// more: then, and only then, it returns nothing. Otherwise the engine is finished, what it reports then is written
/// too, and the result is how many bytes the reader had not taken when `stop` was raised. Throws TraceOutputError, and
/// std::system_error when the output cannot be written.
std::optional<std::size_t> run_records(PollEngine &engine, const RecordOptions &options, int output,
                                       const StopSignal &stop,
                                       std::optional<std::chrono::steady_clock::time_point> end);

}  // namespace kelpo
