#include "host/link/link_statistics.h"

namespace kelpo {

void LinkStatistics::exchanged(const Exchange &exchange) {
    ++exchanges;
    bytes_sent += exchange.request.size();
    bytes_received += exchange.reply.size();
    bytes_discarded += exchange.discarded;
    switch (exchange.outcome) {
    case Outcome::good:
        ++good;
        break;
    case Outcome::sent_again:
        ++failed;
        break;
    case Outcome::given_up:
        ++given_up;
        break;
    }
}

void LinkStatistics::pass_ended() {
    ++passes;
}

void LinkStatistics::request_ended(const RequestName &, RequestOutcome outcome) {
    ++(outcome == RequestOutcome::done ? writes_done : writes_failed);
}

void LinkStatistics::communication_failed(int) {
    ++error_calls;
}

void LinkStatistics::line_probed(const Exchange &exchange, ProbePurpose) {
    bytes_sent += exchange.request.size();
    bytes_received += exchange.reply.size();
}

void LinkStatistics::line_lost(const std::string &, std::chrono::milliseconds) {
    ++times_lost;
}

}  // namespace kelpo
