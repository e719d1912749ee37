#pragma once

#include <stdexcept>

namespace kelpo {

/// The line cannot be opened or has failed; the text names its path. The line is not usable any more.
class LineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace kelpo
