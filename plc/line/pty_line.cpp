#include "plc/line/pty_line.h"

#include "plc/system/system_call.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace plc {
namespace {

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

}  // namespace

PtyLine::PtyLine()
    : master_(open_master()), client_path_(unlock_client(master_.number())), client_(open_client(client_path_)) {
    make_raw(client_.number());
    make_nonblocking(master_.number());
}

int PtyLine::descriptor() const {
    return master_.number();
}

const std::string &PtyLine::name() const {
    return client_path_;
}

Bytes PtyLine::receive() {
    Bytes bytes(2 * max_frame_length);
    const ssize_t count = ::read(master_.number(), bytes.data(), bytes.size());
    if (count < 0 && !would_wait(errno))
        fail("cannot read from the line");
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
}

bool PtyLine::send(const Bytes &bytes) {
    const ssize_t count = ::write(master_.number(), bytes.data(), bytes.size());
    if (count < 0 && !would_wait(errno))
        fail("cannot write to the line");
    return count == static_cast<ssize_t>(bytes.size());
}

}  // namespace plc
