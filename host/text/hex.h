#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kelpo {

/// The bytes as "01 03 23 30"; empty for none.
std::string hex_text(const std::vector<std::uint8_t> &bytes);

}  // namespace kelpo
