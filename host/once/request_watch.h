#pragma once

#include "host/link/link_watcher.h"
#include "host/once/verdict.h"

#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace kelpo {

/// What has become of one request of the host, which the driver may have cut into several.
struct Course {
    bool done = false;               ///< the driver reported success, at least for the part that it served last
    bool failed = false;             ///< the driver reported a failure; the request's other parts are dropped then
    std::optional<Failure> failure;  ///< of the last exchange that failed
};

/// Notes what becomes of requests, each known by its group and id. Any thread may look.
class RequestWatch : public LinkWatcher {
public:
    void exchanged(const Exchange &exchange) override;
    void request_ended(int group, int id, int status) override;

    /// Of a request that was not served yet: all false.
    Course course(int group, int id) const;

private:
    mutable std::mutex mutex_;
    std::map<std::pair<int, int>, Course> courses_;
};

}  // namespace kelpo
