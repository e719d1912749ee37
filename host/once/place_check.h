#pragma once

#include "host/driver/block_plan.h"
#include "host/driver/driver_queries.h"
#include "host/driver/variable.h"
#include "host/once/status.h"

#include <utility>

namespace kelpo {

/// Finds out, from the driver and without a line, what would keep it from serving a place: an address that is not valid
/// or that no frame can name, more requests than its queue holds, a type that it does not write.
class PlaceCheck {
public:
    /// `driver` must outlive the check.
    PlaceCheck(const DriverQueries &driver, PollRules rules) : driver_(driver), rules_(std::move(rules)) {}

    Status of_read(const Variable &place) const;

    /// With `read_back` the place is to be read afterwards.
    Status of_write(const Variable &place, bool read_back) const;

private:
    Status of_address(const Variable &place) const;

    const DriverQueries &driver_;
    const PollRules rules_;
};

}  // namespace kelpo
