#pragma once

#include <algorithm>

namespace kelpo {

/// What `kelpo` ends with. If several apply, the highest counts.
enum class ExitCode {
    all_well = 0,
    not_right = 1,    ///< a check, a value or a comparison; or the user ended it early
    wrong_usage = 2,  ///< of the command line, or a mistake in a list file
    no_driver = 3,    ///< the driver cannot be loaded
    no_line = 4,      ///< the line cannot be opened or failed
    system = 6,       ///< the system refused something else
    bad_address = 7,  ///< the register type has no such address
    no_reply = 8,     ///< a controller did not answer
    refused = 9,      ///< a controller answered with a Modbus exception
    bad_reply = 10,   ///< what came was no good answer: check failed, wrong length
};

inline ExitCode worse(ExitCode one, ExitCode other) {
    return std::max(one, other);
}

}  // namespace kelpo
