#pragma once

#include "host/line.h"

#include <chrono>
#include <optional>
#include <ostream>
#include <string>

namespace kelpo {

struct DemoOptions {
    LineSettings line;
    ReplyTimeouts timeouts;
    std::string driver = "libozna_kelpo_port_2.so.1";                         ///< file name of the driver
    std::string memory;                                                       ///< the controller's memory file
    std::optional<std::chrono::seconds> duration = std::chrono::seconds(10);  ///< nothing: until a signal
    /// End before that, once every value was right, every moving one has moved, and the exercises are through.
    bool until_proven = false;
};

/// How a run ended; the exit code of the program.
enum class DemoResult {
    all_right = 0,    ///< every value and every exercise was right, and the run was long enough to tell
    not_right = 1,    ///< a value or an exercise was wrong, a request given up, something never moved or not finished
    wrong_usage = 2,  ///< the command line was not understood
    no_driver = 3,    ///< the driver cannot be loaded
    line_failed = 4,  ///< the line cannot be opened, or failed during the run
    no_memory = 5,    ///< the controller's memory file cannot be read
    broken = 6        ///< the system refused something else, such as a thread
};

/// Polls the demonstration's variables over the line, shows them on standard output, takes the driver through a round
/// of exercises (writes, once-reads, a station switched off, failing replies), or round after round when there is no
/// `duration`, has all of it judged by the controller's memory, and ends with a summary there. What stops it from
/// starting is told on `error`. Ends as `options` say, or on SIGINT, SIGTERM or SIGHUP.
DemoResult run_demo(const DemoOptions &options, std::ostream &out, std::ostream &error);

}  // namespace kelpo
