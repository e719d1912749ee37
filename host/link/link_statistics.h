#pragma once

#include "host/link/link_watcher.h"

#include <atomic>
#include <cstdint>

namespace kelpo {

/// What went over a link up to one moment.
struct LinkCounts {
    std::uint64_t exchanges = 0;   ///< requests sent
    std::uint64_t good = 0;        ///< replies that the driver accepted
    std::uint64_t sent_again = 0;  ///< requests that failed and were sent again
    std::uint64_t given_up = 0;    ///< requests that failed for the last time
    std::uint64_t bytes_sent = 0;
    std::uint64_t bytes_received = 0;
    std::uint64_t bytes_discarded = 0;  ///< came in when no reply was expected
};

/// Counts what happens on a link; any thread may read it while the link runs.
struct LinkStatistics : LinkWatcher {
    std::atomic<std::uint64_t> exchanges{0};  ///< requests sent
    std::atomic<std::uint64_t> good{0};       ///< replies that the driver accepted
    std::atomic<std::uint64_t> failed{0};     ///< replies refused or missing whose request is sent again
    std::atomic<std::uint64_t> given_up{0};   ///< replies refused or missing after the last try
    std::atomic<std::uint64_t> bytes_sent{0};
    std::atomic<std::uint64_t> bytes_received{0};
    std::atomic<std::uint64_t> bytes_discarded{0};  ///< came in and were not part of a reply
    std::atomic<std::uint64_t> passes{0};           ///< complete passes over the cyclic read list
    std::atomic<std::uint64_t> writes_done{0};      ///< parts of writes and once-reads that were done
    std::atomic<std::uint64_t> writes_failed{0};    ///< the same that failed
    std::atomic<std::uint64_t> error_calls{0};      ///< requests that were given up, as the driver reported them
    std::atomic<std::uint64_t> times_lost{0};       ///< how often the line failed or could not be opened again

    /// What the live screen and the summary show of it.
    LinkCounts counts() const {
        return {exchanges, good, failed, given_up, bytes_sent, bytes_received, bytes_discarded};
    }

    void exchanged(const Exchange &exchange) override;
    void pass_ended() override;
    void request_ended(const RequestName &name, RequestOutcome outcome) override;
    void communication_failed(int group) override;
    void line_probed(const Exchange &exchange, ProbePurpose purpose) override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;
};

}  // namespace kelpo
