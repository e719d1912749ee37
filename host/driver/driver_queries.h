#pragma once

#include "host/driver/variable.h"

#include <optional>
#include <string>

namespace kelpo {

/// What the driver can say without a line. From any thread.
class DriverQueries {
public:
    virtual ~DriverQueries() = default;

    /// The number that the address text names in register type `type`, by the driver's own parser; nothing when the
    /// driver does not accept it.
    virtual std::optional<int> number_of(int type, const std::string &address) const = 0;

    /// The bytes that the driver holds for the variable at this moment, low byte first; 0 for what was never read.
    virtual std::string held_bytes(const Variable &variable) const = 0;
};

}  // namespace kelpo
