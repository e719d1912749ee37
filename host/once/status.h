#pragma once

#include "host/exit_code.h"

#include <string>

namespace kelpo {

/// How something that the user asked for has ended.
struct Status {
    bool done;
    std::string problem;  ///< why not, for the user; empty when it is done
    ExitCode code;        ///< all_well when it is done
};

inline const Status all_well{true, "", ExitCode::all_well};

}  // namespace kelpo
