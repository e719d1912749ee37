#pragma once

#include "host/driver/driver_queries.h"
#include "host/driver/variable.h"
#include "host/once/status.h"

namespace kelpo {

/// Finds out, from the driver and without a line, what would keep it from serving a place: an address that is not valid
/// or that no frame can name, more requests than its queue holds, a type that it does not write.
class PlaceCheck {
public:
    /// `driver` must outlive the check. `max_count` is as in LinkSettings.
    PlaceCheck(const DriverQueries &driver, int max_count) : driver_(driver), max_count_(max_count) {}

    Status of_read(const Variable &place) const;

    /// With `read_back` the place is to be read afterwards.
    Status of_write(const Variable &place, bool read_back) const;

private:
    Status of_address(const Variable &place) const;

    const DriverQueries &driver_;
    int max_count_;
};

}  // namespace kelpo
