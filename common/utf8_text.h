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

/// Bytes of the control character at `at`, on which a terminal might act; 0 when there is none.
std::size_t control_length(std::string_view text, std::size_t at);

/// Appends each of `bytes` as \xHH.
void append_escaped(std::string &to, std::string_view bytes);

/// `text` from any source as a message shows it: bytes that a terminal might act on as \xHH, a long text cut short.
std::string shown(std::string_view text);

}  // namespace common
