#pragma once

#include "host/driver/driver_on_demand.h"
#include "host/exit_code.h"
#include "host/line/stop_signal.h"
#include "host/link/link_settings.h"
#include "host/write/write_queue.h"

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

struct OnceOptions {
    LinkSettings link;
    std::optional<int> station;           ///< of references that name none
    std::vector<std::string> references;  ///< as reference_from takes them
    bool json = false;                    ///< one JSON object for each reference instead of lines
    bool check = false;                   ///< for a write: read back and compare
    WriteWaits waits;                     ///< of writes
};

/// Reads each reference once and prints the values on `out`, what went wrong on `error`. All references are checked
/// before the line is opened: when one is wrong, nothing is sent. `stop` ends it early.
ExitCode run_read(DriverOnDemand &driver, const OnceOptions &options, StopSignal &stop, std::ostream &out,
                  std::ostream &error);

/// Writes each reference, in their order, likewise.
ExitCode run_write(DriverOnDemand &driver, const OnceOptions &options, StopSignal &stop, std::ostream &out,
                   std::ostream &error);

}  // namespace kelpo
