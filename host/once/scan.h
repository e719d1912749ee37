#pragma once

#include "host/driver/driver.h"
#include "host/exit_code.h"
#include "host/line/stop_signal.h"
#include "host/once/scan_options.h"

#include <iosfwd>

namespace kelpo {

/// Asks each station and prints on `out` which answer, by their numbers, and on `error` what else was noticed. `stop`
/// ends it with the results so far. all_well when some station answers, not_right when none does. Throws LineError.
ExitCode run_scan(Driver &driver, const ScanOptions &options, StopSignal &stop, std::ostream &out, std::ostream &error);

}  // namespace kelpo
