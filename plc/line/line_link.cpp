#include "plc/line/line_link.h"

#include "plc/system/system_call.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <stdexcept>

#include <unistd.h>

namespace plc {
namespace {

// Empty when there is no symbolic link of that name.
std::string target_of(const std::string &path) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length < 0 ? std::string() : std::string(target, static_cast<std::size_t>(length));
}

bool is_link_to_terminal(const std::string &path) {
    return target_of(path).rfind("/dev/pts/", 0) == 0;
}

// Made under another name first, so that the link always leads to a line.
void replace_link(const std::string &path, const std::string &client_path) {
    const std::string fresh = path + "." + std::to_string(::getpid());
    if (::symlink(client_path.c_str(), fresh.c_str()) != 0)
        fail("cannot make the link " + fresh);
    if (std::rename(fresh.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(fresh.c_str());
        fail("cannot make the link " + path, error);
    }
}

}  // namespace

LineLink::LineLink(const std::string &path, const std::string &client_path) : path_(path), client_path_(client_path) {
    if (::symlink(client_path.c_str(), path.c_str()) == 0)
        return;
    if (errno != EEXIST)
        fail("cannot make the link " + path);
    if (!is_link_to_terminal(path))
        throw std::runtime_error(path + " exists and is not a link to a line");
    replace_link(path, client_path);
}

LineLink::~LineLink() {
    if (target_of(path_) == client_path_)
        ::unlink(path_.c_str());
}

}  // namespace plc
