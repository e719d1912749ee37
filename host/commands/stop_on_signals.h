#pragma once

#include "host/line/stop_signal.h"

namespace kelpo {

/// As long as it exists, SIGINT, SIGTERM and SIGHUP raise `stop` instead of ending the program. Only one may exist at a
/// time.
class StopOnSignals {
public:
    explicit StopOnSignals(StopSignal &stop);
    ~StopOnSignals();
    StopOnSignals(const StopOnSignals &) = delete;
    StopOnSignals &operator=(const StopOnSignals &) = delete;
};

}  // namespace kelpo
