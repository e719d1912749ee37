#pragma once

#include "host/exit_code.h"
#include "host/link/link_settings.h"

#include <chrono>
#include <optional>
#include <ostream>
#include <string>

namespace kelpo {

struct DemoOptions {
    LinkSettings link;
    std::string memory;                                                       ///< the controller's memory file
    std::optional<std::chrono::seconds> duration = std::chrono::seconds(10);  ///< nothing: until a signal
    /// End before that, once every value was right, every moving one has moved, and the exercises are done.
    bool until_proven = false;
};

/// Polls the demonstration's variables over the line, shows them on standard output, puts the driver through a round of
/// exercises (writes, once-reads, a station switched off, failing replies), or round after round when there is no
/// `duration`, judges all of it by the controller's memory, and ends with a summary there. Ends as `options` say, or on
/// SIGINT, SIGTERM or SIGHUP. Throws DriverLibraryError, LineError, and std::runtime_error when the memory file cannot
/// be read.
ExitCode run_demo(const DemoOptions &options, std::ostream &out);

}  // namespace kelpo
