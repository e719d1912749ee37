#pragma once

#include "host/exit_code.h"
#include "host/line/line_settings.h"
#include "host/line/stop_signal.h"
#include "host/link/link_settings.h"
#include "host/trace/trace_outputs.h"

#include <chrono>
#include <iosfwd>
#include <optional>

namespace kelpo {

/// Shows on `out` what others say on a line, and sends nothing, until `stop` is raised or `duration` is over. A silence
/// of `timeouts.inter_character` ends a frame that is not whole. A line that fails is opened again, with growing
/// pauses; `error` says so. At the end it gets a line for each station. all_well when a frame was heard, not_right when
/// none was, no_line when the line is lost then. Throws LineError when the line cannot be opened at first.
ExitCode listen_to_line(LineSettings settings, const ReplyTimeouts &timeouts, const ReopenPauses &pauses,
                        const TraceOptions &options, std::optional<std::chrono::seconds> duration,
                        const StopSignal &stop, std::ostream &out, std::ostream &error);

}  // namespace kelpo
