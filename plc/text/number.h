#pragma once

#include <optional>
#include <string>

namespace plc {

/// The whole of `text` as a number: decimal, or hexadecimal after 0x, with a minus or without. Empty when it is not a
/// number, or does not fit 32 bits.
std::optional<long long> number_in(const std::string &text);

}  // namespace plc
