#pragma once

#include "host/driver/view.h"
#include "host/text/json.h"

namespace kelpo {

/// The values as a JSON array of numbers. A real number is what its shortest decimal text says: 0.1, not what the
/// nearest double of the float looks like. JSON has no number for infinity and not-a-number: null is in its place, and
/// the text that accompanies the array says which it is.
Json json_values(const View &view, const Values &values);

}  // namespace kelpo
