#pragma once

#include <stdexcept>

namespace kelpo {

/// The line cannot be opened or has failed; the text names its path. The line is not usable any more.
class LineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The port does not take a setting: another speed, parity or number of stop bits may do.
class LineSettingError : public LineError {
public:
    using LineError::LineError;
};

}  // namespace kelpo
