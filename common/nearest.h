#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace common {

/// The one of `known` that differs from `name` by least, when that is little; capital letters count as small ones.
std::optional<std::string> nearest(std::string_view name, const std::vector<std::string> &known);

}  // namespace common
