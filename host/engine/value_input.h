#pragma once

#include "host/driver/variable.h"

#include <string>

namespace kelpo {

/// What a user typed for a variable.
struct ValueInput {
    Values values;        ///< one for each value of the variable
    std::string mistake;  ///< why there are none, and what would be right; otherwise empty
};

/// Understands `typed` as the values of `variable`: all of them, with blanks or commas between, each as value_from
/// takes it; bits also in a row, as they are shown.
ValueInput value_input(const Variable &variable, const std::string &typed);

/// What value_input takes for `variable`, in a few words.
std::string values_wanted(const Variable &variable);

}  // namespace kelpo
