#pragma once

#include <string>

namespace kelpo {

/// How the address of a register type is written, for a user: "a decimal number, such as 100".
std::string address_syntax(int type);

/// Why the driver takes `text` for no address of type `type`, and what it would take: "has a digit above 7; octal,
/// ...". Only for texts that the driver refuses.
std::string why_no_address(int type, const std::string &text);

}  // namespace kelpo
