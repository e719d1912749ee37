#pragma once

#include "host/frames/verdict.h"
#include "host/link/link_watcher.h"

#include <map>
#include <mutex>
#include <optional>
#include <set>

namespace kelpo {

/// Notes why requests fail, each known by its name. Any thread may read it.
class RequestWatch : public LinkWatcher {
public:
    void exchanged(const Exchange &exchange) override;
    void station_rests(int station, std::chrono::milliseconds pause) override;

    /// That of the request's last exchange that failed; nothing when none did.
    std::optional<Failure> failure(const RequestName &name) const;

    /// True when the station has rested: reads from it were not sent then.
    bool has_rested(int station) const;

private:
    mutable std::mutex mutex_;
    std::map<RequestName, Failure> failures_;
    std::set<int> rested_;
};

}  // namespace kelpo
