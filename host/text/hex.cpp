#include "host/text/hex.h"

#include <fmt/ranges.h>

namespace kelpo {

std::string hex_text(const std::vector<std::uint8_t> &bytes) {
    return fmt::format("{:02X}", fmt::join(bytes, " "));
}

}  // namespace kelpo
