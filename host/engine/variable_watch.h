#pragma once

#include "host/driver/variable.h"
#include "host/engine/link_gauge.h"
#include "host/engine/read_values.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kelpo {

/// How far the value of a variable can be relied on. docs/poll.md says what each means.
enum class Quality {
    good,   ///< read as recently as it is polled, and nothing speaks against it
    stale,  ///< not read for longer than it takes to poll all, and it is not known why
    bad     ///< it cannot be read at present
};

/// "good", "stale" or "bad".
const char *word_of(Quality quality);

/// What is known about one variable.
struct VariableState {
    using Time = LinkReading::Time;

    std::string bytes;  ///< the value, as the driver returns it; empty until it was read
    Time read_at{};     ///< when the oldest part of the value was read
    Time changed_at{};
    ReadValue::WallTime wall_time{};  ///< read_at as wall-clock time
    std::uint64_t changes = 0;        ///< how often it was seen to change
    Quality quality = Quality::bad;
    std::shared_ptr<const Failure> failure;  ///< why it was not read when it was last asked for

    bool known() const {
        return !bytes.empty();
    }
};

/// The value as a screen shows it; empty until it was read.
std::string shown_text(const Variable &variable, const VariableState &state);

/// How long a value is good after it was read: three cycles as long as the last one, and at least two seconds. Half a
/// minute until the first cycle is complete.
std::chrono::nanoseconds good_for(const LinkReading::Cycles &cycles);

/// Turns what was read of a list of variables into what is shown. For one thread.
class VariableWatch {
public:
    /// `variables` must outlive it.
    explicit VariableWatch(const std::vector<Variable> &variables);

    /// Takes what has come since the last call. Stations that are switched `off` are not asked. Returns which variables
    /// have changed, in value or quality, or were read for the first time, by their place in the list.
    std::vector<std::size_t> refresh(const std::vector<std::pair<std::size_t, ReadValue>> &news,
                                     const LinkReading &link, const std::set<int> &off, VariableState::Time now);

    const std::vector<Variable> &variables() const {
        return variables_;
    }
    const std::vector<VariableState> &states() const {
        return states_;
    }

private:
    bool take(std::size_t index, const ReadValue &value);

    const std::vector<Variable> &variables_;
    std::vector<VariableState> states_;
};

}  // namespace kelpo
