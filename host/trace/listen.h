#pragma once

#include "host/exit_code.h"
#include "host/line/line_settings.h"
#include "host/line/stop_signal.h"
#include "host/trace/trace_outputs.h"

#include <chrono>
#include <iosfwd>
#include <optional>

namespace kelpo {

/// Shows on `out` what others say on a line, and sends nothing, until `stop` is raised or `duration` is over. A silence
/// of `timeouts.inter_character` ends a frame that is not whole. At the end, `error` gets a line for each station.
/// all_well when a frame was heard, not_right when none was. Throws LineError, also when the line fails later.
ExitCode listen_to_line(const LineSettings &settings, const ReplyTimeouts &timeouts, const TraceOptions &options,
                        std::optional<std::chrono::seconds> duration, const StopSignal &stop, std::ostream &out,
                        std::ostream &error);

}  // namespace kelpo
