#include "plc/line.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace plc {

namespace {

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int open_master() {
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0)
        fail("cannot open a pseudo-terminal");
    return master;
}

std::string unlock_client(int master) {
    char path[PATH_MAX];
    if (::grantpt(master) != 0 || ::unlockpt(master) != 0 || ::ptsname_r(master, path, sizeof path) != 0)
        fail("cannot unlock the pseudo-terminal");
    return path;
}

int open_client(const std::string &path) {
    const int client = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (client < 0)
        fail("cannot open the pseudo-terminal's client end");
    return client;
}

void make_raw(int client) {
    termios settings;
    if (::tcgetattr(client, &settings) != 0)
        fail("cannot read the line's settings");
    ::cfmakeraw(&settings);
    if (::tcsetattr(client, TCSANOW, &settings) != 0)
        fail("cannot make the line raw");
}

void make_nonblocking(int master) {
    if (::fcntl(master, F_SETFL, O_NONBLOCK) != 0 || ::fcntl(master, F_SETFD, FD_CLOEXEC) != 0)
        fail("cannot set up the pseudo-terminal");
}

bool would_wait(int error) {
    return error == EAGAIN || error == EINTR;
}

// Empty when there is no symbolic link of that name.
std::string target_of(const std::string &path) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length < 0 ? std::string() : std::string(target, static_cast<std::size_t>(length));
}

bool is_link_to_terminal(const std::string &path) {
    return target_of(path).rfind("/dev/pts/", 0) == 0;
}

[[noreturn]] void refuse_link(const std::string &path, int error) {
    throw std::runtime_error("cannot make the link " + path + ": " + std::generic_category().message(error));
}

// By way of another name, so that the link never leads nowhere.
void replace_link(const std::string &path, const std::string &client_path) {
    const std::string fresh = path + "." + std::to_string(::getpid());
    if (::symlink(client_path.c_str(), fresh.c_str()) != 0)
        refuse_link(fresh, errno);
    if (std::rename(fresh.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(fresh.c_str());
        refuse_link(path, error);
    }
}

}  // namespace

Descriptor::~Descriptor() {
    ::close(number_);
}

Line::Line()
    : master_(open_master()), client_path_(unlock_client(master_.number())), client_(open_client(client_path_)) {
    make_raw(client_.number());
    make_nonblocking(master_.number());
}

Bytes Line::receive() {
    Bytes bytes(2 * max_frame_length);
    const ssize_t count = ::read(master_.number(), bytes.data(), bytes.size());
    if (count < 0 && !would_wait(errno))
        fail("cannot read from the line");
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
}

bool Line::send(const Bytes &bytes) {
    const ssize_t count = ::write(master_.number(), bytes.data(), bytes.size());
    if (count < 0 && !would_wait(errno))
        fail("cannot write to the line");
    return count == static_cast<ssize_t>(bytes.size());
}

LineLink::LineLink(const std::string &path, const std::string &client_path) : path_(path), client_path_(client_path) {
    if (::symlink(client_path.c_str(), path.c_str()) == 0)
        return;
    if (errno != EEXIST)
        refuse_link(path, errno);
    if (!is_link_to_terminal(path))
        throw std::runtime_error(path + " exists and is no link to a line");
    replace_link(path, client_path);
}

LineLink::~LineLink() {
    if (target_of(path_) == client_path_)
        ::unlink(path_.c_str());
}

}  // namespace plc
