#include "host/once/request_watch.h"

namespace kelpo {

void RequestWatch::exchanged(const Exchange &exchange) {
    if (exchange.outcome == Outcome::good)
        return;
    const Failure failure = failure_of(exchange);
    const std::lock_guard<std::mutex> locked(mutex_);
    failures_[exchange.name] = failure;
}

void RequestWatch::station_rests(int station, std::chrono::milliseconds) {
    const std::lock_guard<std::mutex> locked(mutex_);
    rested_.insert(station);
}

bool RequestWatch::has_rested(int station) const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return rested_.count(station) > 0;
}

std::optional<Failure> RequestWatch::failure(const RequestName &name) const {
    const std::lock_guard<std::mutex> locked(mutex_);
    const auto found = failures_.find(name);
    return found == failures_.end() ? std::nullopt : std::optional<Failure>(found->second);
}

}  // namespace kelpo
