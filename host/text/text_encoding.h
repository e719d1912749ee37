#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelpo {

/// What a file was found to be written in.
enum class TextEncoding { utf8, utf16, windows_1252, unknown };

/// A file's text as UTF-8, without the mark that some programs put in front; empty when the encoding is unknown.
struct DecodedText {
    std::string text;
    TextEncoding encoding;
};

/// Decodes what spreadsheets and editors save: UTF-8; UTF-16 with its mark in front, in either order of bytes; or, as
/// it is neither, Windows-1252, whose bytes nearly all mean something: the user is to be told that it was taken for
/// that. Unknown when it is UTF-16 that breaks off or is wrong, or has bytes that Windows-1252 has no character for.
DecodedText decoded(std::string_view bytes);

}  // namespace kelpo
