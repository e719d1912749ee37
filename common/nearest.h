#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace common {

/// The one of `known` that differs least from `name`, if the difference is small; capital letters count as small ones.
std::optional<std::string> nearest(std::string_view name, const std::vector<std::string> &known);

}  // namespace common
