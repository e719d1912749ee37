#pragma once

#include "host/driver/driver.h"

#include <optional>
#include <string>
#include <utility>

namespace kelpo {

/// The driver of a command, loaded once, when it is first needed: mistakes in the command line are reported first.
class DriverOnDemand {
public:
    explicit DriverOnDemand(std::string file) : file_(std::move(file)) {}

    /// Throws DriverLibraryError when the driver cannot be loaded.
    Driver &get() {
        if (!driver_)
            driver_.emplace(file_);
        return *driver_;
    }

private:
    std::string file_;
    std::optional<Driver> driver_;
};

}  // namespace kelpo
