#pragma once

#include "host/driver/driver_library.h"
#include "host/driver/variables.h"
#include "host/poll/link_gauge.h"

#include <QtCore/QByteArray>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// What is known of one variable.
struct VariableState {
    using Time = LinkReading::Time;

    std::string text;  ///< the value as it is shown; empty until it was read
    Values values;     ///< the same as numbers
    Time read_at{};    ///< when the oldest part of the value was read
    Time changed_at{};
    std::uint64_t changes = 0;       ///< how often it was seen to change
    std::optional<Failure> failure;  ///< why it was not read when it was last asked for

    bool known() const {
        return !text.empty();
    }
};

/// The variables as they are to be polled: a bit in a register through the register that holds it, since the driver
/// reads other registers for such a type; all others as they are.
std::vector<Variable> places_to_poll(const std::vector<Variable> &variables);

/// Takes the values of a list of variables out of the driver. For one thread.
class VariableWatch {
public:
    /// `blocks` are the driver's block reads for `variables`, by which it is known when a value was read. `driver` must
    /// outlive the watch.
    VariableWatch(const DriverEntryPoints &driver, std::vector<Variable> variables, const std::vector<RW_VAR> &blocks);

    /// Takes the values that were read since the last call. Returns which variables have changed or were read for the
    /// first time, by their place in the list.
    std::vector<std::size_t> refresh(const LinkReading &link);

    const std::vector<Variable> &variables() const {
        return variables_;
    }
    const std::vector<VariableState> &states() const {
        return states_;
    }

private:
    struct Source {
        std::vector<std::size_t> blocks;  // that the value is read with
        QString address;
        QByteArray bytes;
        std::uint64_t readings = 0;  // of all its blocks
    };

    bool take(std::size_t index, const std::vector<LinkReading::Block> &blocks);
    bool fetch(std::size_t index, VariableState::Time now);

    const DriverEntryPoints &driver_;
    const std::vector<Variable> variables_;
    std::vector<VariableState> states_;
    std::vector<Source> sources_;
    std::vector<BlockPlace> blocks_;
};

}  // namespace kelpo
