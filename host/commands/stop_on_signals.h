#pragma once

#include "host/line/stop_signal.h"

namespace kelpo {

/// As long as it exists, SIGINT, SIGTERM and SIGHUP raise `stop` instead of ending the program. From then on no
/// terminal holds the program up that takes nothing, after Ctrl-S or on a connection that hangs: what it has not shown
/// is forgotten. The destructor writes out what was printed. Only one may exist at a time.
class StopOnSignals {
public:
    explicit StopOnSignals(StopSignal &stop);
    ~StopOnSignals();
    StopOnSignals(const StopOnSignals &) = delete;
    StopOnSignals &operator=(const StopOnSignals &) = delete;
};

}  // namespace kelpo
