#pragma once

#include <stdexcept>

namespace kelpo {

/// The driver cannot be loaded; the text names the file and, where it applies, the symbol that it lacks.
class DriverLibraryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace kelpo
