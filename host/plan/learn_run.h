#pragma once

#include "host/driver/driver.h"
#include "host/exit_code.h"
#include "host/line/stop_signal.h"
#include "host/list/poll_list.h"

#include <chrono>
#include <iosfwd>
#include <string>

namespace kelpo {

/// Polls the list over its line until every block was read, was refused and taken apart, or has a station that does not
/// answer, and prints what is to be changed in the list, as lines to copy. `stop`, and the end of `most_time`, end that
/// earlier; then it prints too what was not found out. Throws LineError.
ExitCode run_learn(Driver &driver, const PollList &list, const std::string &title, std::chrono::seconds most_time,
                   StopSignal &stop, std::ostream &out);

}  // namespace kelpo
