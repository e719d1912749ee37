#pragma once

#include "host/driver/driver.h"
#include "host/exit_code.h"
#include "host/line/stop_signal.h"
#include "host/once/scan_options.h"

#include <iosfwd>
#include <vector>

namespace kelpo {

/// Which settings of a line the user has given: these are not varied.
struct GivenSettings {
    bool speed = false;
    bool parity = false;
    bool stop_bits = false;
};

/// The settings that a line may have, the likeliest first, each once. What is given is as in `line`.
std::vector<LineSettings> likely_settings(const LineSettings &line, const GivenSettings &given);

/// Asks the stations with one setting of the line after the other, the first ten with each setting and then the others,
/// until one answers. Prints on `out` which setting that is and what was answered, and on `error` what was tried.
/// `stop` ends it. all_well when some station answers, not_right when none does. Throws LineError when the line cannot
/// be opened; a setting that the port refuses is passed over.
ExitCode run_find(Driver &driver, const ScanOptions &options, const GivenSettings &given, StopSignal &stop,
                  std::ostream &out, std::ostream &error);

}  // namespace kelpo
