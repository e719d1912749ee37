#pragma once

#include "host/frames/verdict.h"
#include "host/link/link_watcher.h"

#include <map>
#include <mutex>
#include <optional>

namespace kelpo {

/// Notes why requests fail, each known by its name. Any thread may look.
class RequestWatch : public LinkWatcher {
public:
    void exchanged(const Exchange &exchange) override;

    /// Of the last exchange of the request that failed; nothing when none did.
    std::optional<Failure> failure(const RequestName &name) const;

private:
    mutable std::mutex mutex_;
    std::map<RequestName, Failure> failures_;
};

}  // namespace kelpo
