#include "common/file_beside.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace common {
namespace {

[[noreturn]] void fail(const std::string &path) {
    throw std::system_error(errno, std::generic_category(), "cannot make " + path);
}

}  // namespace

FileBeside::FileBeside(const std::string &path, mode_t mode) : path_(path), descriptor_(-1) {
    constexpr int most_tries = 100;
    const std::string first = path + "." + std::to_string(::getpid());
    for (int tried = 0; descriptor_ < 0; ++tried) {
        name_ = tried == 0 ? first : first + "." + std::to_string(tried);
        descriptor_ = ::open(name_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (descriptor_ < 0 && (errno != EEXIST || tried == most_tries))
            fail(path_);
    }
}

FileBeside::~FileBeside() {
    if (descriptor_ < 0)
        return;
    ::close(descriptor_);
    if (!name_.empty())
        ::unlink(name_.c_str());
}

FileBeside::FileBeside(FileBeside &&other) noexcept
    : path_(std::move(other.path_)), name_(std::move(other.name_)), descriptor_(std::exchange(other.descriptor_, -1)) {}

void FileBeside::put_in_place() {
    if (std::rename(name_.c_str(), path_.c_str()) != 0)
        fail(path_);
    name_.clear();
}

}  // namespace common
