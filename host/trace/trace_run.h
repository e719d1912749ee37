#pragma once

#include "host/driver/driver.h"
#include "host/exit_code.h"
#include "host/line/stop_signal.h"
#include "host/list/poll_list.h"
#include "host/trace/trace_outputs.h"

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>

namespace kelpo {

/// Shows the saved trace `file` on `out`. Mistakes in it go to `error`, and make the result `not_right`. Ends early
/// when `stop` is raised, which makes no file, or when neither `out` nor a file takes records any more.
ExitCode show_trace(const std::string &file, const TraceOptions &options, const StopSignal &stop, std::ostream &out,
                    std::ostream &error);

/// Polls `list` and shows every frame on `out` until `stop` is raised or `duration` is over; raises `stop` then. A line
/// that fails is reported and opened again. Files take the place of earlier ones once the line is open. The last line,
/// on `error`, sums up. Throws LineError when the line cannot be opened at first.
ExitCode trace_line(Driver &driver, const PollList &list, const TraceOptions &options,
                    std::optional<std::chrono::seconds> duration, StopSignal &stop, std::ostream &out,
                    std::ostream &error);

}  // namespace kelpo
