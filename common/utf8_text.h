#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace common {

/// Bytes of the UTF-8 character that begins with `first`, 0 when none does.
std::size_t character_length(unsigned char first);

/// True for the bytes of a UTF-8 character after the first.
bool continues_character(char character);

/// True when `text` is valid UTF-8.
bool is_utf8(std::string_view text);

/// Bytes of what begins at `at` and must not reach a terminal or a log as it is; 0 for a character that may. These are
/// the controls of ASCII and beyond (C1), what changes the direction of writing or ends a line, and each byte that is
/// not UTF-8.
std::size_t unprintable_length(std::string_view text, std::size_t at);

/// True when nothing in `text` is of that kind.
bool is_printable(std::string_view text);

/// `text` from any source as whatever is printed shows it, in one line: each byte of what is unprintable as \xHH. When
/// more than `longest` bytes come out of it, the rest is left out, and "..." says so.
std::string printable(std::string_view text, std::size_t longest = std::string::npos);

/// The same, cut to what a message has room for.
std::string shown(std::string_view text);

}  // namespace common
