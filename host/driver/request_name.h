#pragma once

#include <tuple>

namespace kelpo {

/// How the driver knows a request. The two numbers mean nothing to the host but are shown in traces.
struct RequestName {
    int group;
    int id;

    /// True for the block reads that the driver makes by itself (ozna_kelpo::polled_id).
    bool is_polled() const {
        return id == -1;
    }
    /// True for a read of a SlowBlock.
    bool is_slow() const {
        return *this == slow_read();
    }
    /// True for what the host reads of a list again and again.
    bool is_of_list() const {
        return is_polled() || is_slow();
    }
    /// The name of all reads of slow blocks. The group is outside those that the driver's return codes distinguish.
    static RequestName slow_read() {
        constexpr int group = 12, id = -2;
        return {group, id};
    }
    bool operator==(const RequestName &other) const {
        return group == other.group && id == other.id;
    }
    bool operator<(const RequestName &other) const {
        return std::tie(group, id) < std::tie(other.group, other.id);
    }
};

/// How a queued read or write has ended.
enum class RequestOutcome {
    done,
    failed,  ///< given up, or the driver could not make a request for it; its other parts are dropped
    dropped  ///< never sent: the driver drops what waits for a station that is switched off
};

}  // namespace kelpo
