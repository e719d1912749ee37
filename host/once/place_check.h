#pragma once

#include "host/driver/driver_library.h"
#include "host/driver/variables.h"
#include "host/link/link_settings.h"
#include "host/once/ending.h"
#include "host/plan/dry_run.h"

namespace kelpo {

/// Finds out, from the driver and without a line, what would keep it from serving a place: an address that is none or
/// that no frame can name, more requests than its queue holds, a type that it does not write.
///
/// Configures the driver for itself: nothing else may use the driver while the check exists.
class PlaceCheck {
public:
    /// Loads the driver. Throws DriverLibraryError.
    explicit PlaceCheck(const LinkSettings &settings);

    Ending of_read(const Variable &place);

    /// With `read_back` the place is to be read afterwards.
    Ending of_write(const Variable &place, bool read_back);

private:
    Ending of_address(const Variable &place);

    DriverLibrary library_;
    DryRun driver_;
    int max_count_;
};

}  // namespace kelpo
