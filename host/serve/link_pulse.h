#pragma once

#include "host/link/link_watcher.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace kelpo {

/// Says whether the thread of a link moves.
class LinkPulse : public LinkWatcher {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// True when it has done something since the last call, or waits until a line that was lost is opened again.
    bool has_moved(Time now);

    void about_to_ask() override;
    void exchanged(const Exchange &exchange) override;
    void line_opened() override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

private:
    std::atomic<std::uint64_t> beats_{0};
    std::atomic<Time> rests_until_{Time()};
    std::uint64_t seen_ = 0;  // of the caller's thread
};

}  // namespace kelpo
