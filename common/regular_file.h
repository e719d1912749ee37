#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace common {

/// A file that a user wrote is not longer than this.
constexpr std::size_t largest_text_file = std::size_t{16} << 20U;

/// The content of a file, or why there is none.
struct FileContent {
    std::optional<std::string> text;
    std::string error;
};

/// The content of the regular file `path`, of at most largest_text_file bytes. There is no wait for anything else, such
/// as a pipe or a terminal.
FileContent content_of_file(const std::string &path);

/// True when `path` is a regular file that starts with these bytes.
bool file_starts_with(const std::string &path, std::string_view start);

}  // namespace common
