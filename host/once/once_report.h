#pragma once

#include "host/once/once_run.h"

#include <optional>
#include <string>

namespace kelpo {

/// What came of one reference.
struct OnceResult {
    Reference reference;         ///< with the values that were to be written, if any
    Status status;               ///< of the read or write
    std::optional<Values> held;  ///< what the controller holds: what was read, or read back after a write
};

/// The line that a user reads: "1:7:100 = 42". Only for a result that has ended well.
std::string result_line(const OnceResult &result);

/// One JSON object in one line, of any result: the reference and its parts, "values" and "text" (what was read or
/// written, "held" as well when it was read back), or "problem", "exit_code".
std::string result_json(const OnceResult &result);

}  // namespace kelpo
