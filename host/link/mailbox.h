#pragma once

#include <mutex>
#include <utility>
#include <vector>

namespace kelpo {

/// Carries messages from several threads to one. They must be taken: it keeps all until then.
template <typename Message> class Mailbox {
public:
    void put(Message message) {
        const std::lock_guard<std::mutex> locked(mutex_);
        messages_.push_back(std::move(message));
    }

    /// All that came since the last call, oldest first.
    std::vector<Message> take() {
        const std::lock_guard<std::mutex> locked(mutex_);
        return std::exchange(messages_, {});
    }

private:
    std::mutex mutex_;
    std::vector<Message> messages_;
};

}  // namespace kelpo
