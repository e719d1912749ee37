#pragma once

#include "host/engine/records.h"
#include "host/exit_code.h"
#include "host/line/stop_signal.h"
#include "host/list/poll_list.h"
#include "host/write/write_queue.h"

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>

namespace kelpo {

struct PollOptions {
    PollList list;
    std::string list_file;               ///< its name, for the screen
    std::optional<RecordFormat> format;  ///< records on standard output instead of the live screen
    std::optional<std::chrono::seconds> duration;
    /// For records: all values at this interval, instead of those that changed.
    std::optional<std::chrono::milliseconds> every;
    bool writes = false;  ///< records: take lines NAME=VALUE from standard input and write them
    WriteWaits waits;
    std::string trace_file;
};

/// Polls a list until the user ends it, `stop` is raised or the time is over: on a live screen, or, if standard input
/// and output are not a terminal or a format is asked for, as records. A summary goes to `error`. Throws LineError,
/// TraceOutputError and std::system_error.
ExitCode run_poll(Driver &driver, PollOptions options, StopSignal &stop, std::ostream &error);

}  // namespace kelpo
