#include "common/regular_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace common {
namespace {

const char *const no_regular_file = "it is not a regular file";

std::string why_not(const struct stat &status) {
    return S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : no_regular_file;
}

// At most `most` bytes from the start of the open file.
FileContent read_from(int file, std::size_t most) {
    std::string text;
    std::array<char, 65536> piece;
    while (text.size() < most) {
        const ssize_t size = ::read(file, piece.data(), std::min(piece.size(), most - text.size()));
        if (size < 0)
            return {std::nullopt, std::strerror(errno)};
        if (size == 0)
            break;
        text.append(piece.data(), static_cast<std::size_t>(size));
    }
    return {std::move(text), ""};
}

FileContent start_of(const std::string &path, std::size_t most) {
    // A device is not even opened, since that may have an effect on it.
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return {std::nullopt, why_not(status)};
    const int file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0)
        return {std::nullopt, std::strerror(errno)};
    FileContent content{std::nullopt, no_regular_file};
    if (::fstat(file, &status) == 0 && S_ISREG(status.st_mode))
        content = read_from(file, most);
    ::close(file);
    return content;
}

}  // namespace

FileContent content_of_file(const std::string &path) {
    FileContent content = start_of(path, largest_text_file + 1);
    if (content.text && content.text->size() > largest_text_file)
        return {std::nullopt, "it is larger than 16 MiB"};
    return content;
}

bool file_starts_with(const std::string &path, std::string_view start) {
    return start_of(path, start.size()).text == start;
}

}  // namespace common
