#include "host/link/cycle_pace.h"

namespace kelpo {

bool CyclePace::holds(Channel::Time now) {
    if (driver_.is_request_in_flight() || !driver_.all_served())
        return false;
    const auto next = driver_.next_block();
    const bool is_over = next && asked_.count({next->station, next->register_class, next->first}) > 0;
    if (is_over && now < began_ + shortest_)
        return true;
    if (is_over)
        asked_.clear();
    if (asked_.empty())
        began_ = now;
    return false;
}

void CyclePace::exchanged(const Exchange &exchange) {
    if (exchange.name.is_polled() && exchange.outcome != Outcome::sent_again)
        asked_.insert({exchange.station, exchange.type, exchange.address});
}

}  // namespace kelpo
