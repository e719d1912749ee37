#pragma once

#include "host/driver/driver.h"
#include "host/line/channel.h"
#include "host/link/link_watcher.h"

#include <chrono>
#include <set>
#include <tuple>

namespace kelpo {

/// Keeps cycles from beginning sooner after each other than the list wants: when every block of a cycle was asked for,
/// the first one is held back. Writes and single reads are not.
///
/// For the link's thread alone. Has no clock of its own.
class CyclePace : public LinkWatcher {
public:
    /// `driver` must outlive the object.
    CyclePace(const Driver &driver, std::chrono::milliseconds shortest) : driver_(driver), shortest_(shortest) {}

    /// True while the driver is not to be asked for its next request.
    bool holds(Channel::Time now);

    void exchanged(const Exchange &exchange) override;

private:
    using Place = std::tuple<int, int, int>;  // station, register class, first number

    const Driver &driver_;
    const std::chrono::milliseconds shortest_;
    std::set<Place> asked_;  // in the cycle that runs
    Channel::Time began_{};
};

}  // namespace kelpo
