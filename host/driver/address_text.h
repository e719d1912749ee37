#pragma once

#include <string>

namespace kelpo {

/// The number of a register type as its address text: octal for types 0 and 1, from 200 on for type 13, "word.bit" for
/// types 15 to 17, decimal for all others.
std::string address_text(int type, int number);

/// How the address of a register type is written, for a user: "a decimal number, such as 100".
std::string address_syntax(int type);

/// Why the driver does not accept `text` as an address of type `type`, and what it would accept: "has a digit above 7;
/// octal, ...". Only for texts that the driver refuses.
std::string why_no_address(int type, const std::string &text);

}  // namespace kelpo
