#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kelpo {

/// Raised once, from any thread; any thread may wait for it.
class StopFlag {
public:
    void raise() {
        const std::lock_guard<std::mutex> locked(mutex_);
        raised_ = true;
        changed_.notify_all();
    }

    /// Waits until the flag is raised or `time` has passed. True when it is raised.
    bool wait_for(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> locked(mutex_);
        return changed_.wait_for(locked, time, [this] { return raised_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool raised_ = false;
};

}  // namespace kelpo
