#include "host/once/request_watch.h"

#include <ozna_kelpo_constants.h>

namespace kelpo {

void RequestWatch::exchanged(const Exchange &exchange) {
    if (exchange.outcome == Outcome::good)
        return;
    const Failure failure = failure_of(exchange);
    const std::lock_guard<std::mutex> locked(mutex_);
    courses_[{exchange.group, exchange.id}].failure = failure;
}

void RequestWatch::request_ended(int group, int id, int status) {
    const std::lock_guard<std::mutex> locked(mutex_);
    Course &course = courses_[{group, id}];
    (status == ozna_kelpo::request_done ? course.done : course.failed) = true;
}

Course RequestWatch::course(int group, int id) const {
    const std::lock_guard<std::mutex> locked(mutex_);
    const auto found = courses_.find({group, id});
    return found == courses_.end() ? Course() : found->second;
}

}  // namespace kelpo
