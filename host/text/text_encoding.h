#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelpo {

/// The encoding in which a file is written.
enum class TextEncoding { utf8, utf16, windows_1252, unknown };

/// A file's text as UTF-8, without the mark that some programs put in front; empty when the encoding is unknown.
struct DecodedText {
    std::string text;
    TextEncoding encoding;
};

/// Decodes what spreadsheets and editors save: UTF-8; UTF-16 with its mark in front, in either byte order; or, if it is
/// neither, Windows-1252, in which nearly every byte means something: the user should be informed that it was taken for
/// that. Unknown when it is UTF-16 that is cut off or wrong, or has bytes that Windows-1252 has no character for.
DecodedText decoded(std::string bytes);

}  // namespace kelpo
