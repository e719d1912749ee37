#pragma once

#include "host/driver/variable.h"

#include <chrono>
#include <optional>
#include <string>

namespace kelpo {

/// What somebody wants to have written.
struct SetRequest {
    std::string typed;  ///< the values, as `kelpo write` takes them
    std::string id;     ///< by which the result is known; empty: none
    std::optional<std::chrono::milliseconds> within{};
    std::string mistake;  ///< why nothing is to be written; otherwise empty
};

/// Understands the payload of a `set`: a value, or an object with "v", and perhaps "id" and "within-ms". An id is kept
/// even if there is a mistake.
SetRequest set_request_from(const std::string &payload);

/// Why `typed` cannot be a value of `variable`, though `kelpo write` would take it: it is beyond what the view shows,
/// or not a number. Otherwise empty.
std::string beyond_limits(const Variable &variable, const std::string &typed);

}  // namespace kelpo
