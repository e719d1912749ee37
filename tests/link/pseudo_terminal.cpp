#include "pseudo_terminal.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int patience = 30000;  // ms

void check(bool good, const char *what) {
    if (!good)
        throw std::runtime_error(what);
}

}  // namespace

PseudoTerminal::PseudoTerminal() : far_end_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    check(far_end_ >= 0 && grantpt(far_end_) == 0 && unlockpt(far_end_) == 0, "no pseudo-terminal");
    path_ = ptsname(far_end_);
}

PseudoTerminal::~PseudoTerminal() {
    hang_up();
}

void PseudoTerminal::put(const std::string &bytes) {
    check(write(far_end_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "cannot put bytes");
}

std::string PseudoTerminal::take(std::size_t size) {
    std::string bytes;
    while (bytes.size() < size) {
        pollfd input{far_end_, POLLIN, 0};
        check(poll(&input, 1, patience) > 0, "too few bytes came");
        std::string part(size - bytes.size(), '\0');
        const ssize_t got = read(far_end_, part.data(), part.size());
        check(got > 0, "cannot take bytes");
        bytes.append(part, 0, static_cast<std::size_t>(got));
    }
    return bytes;
}

std::string PseudoTerminal::take_all() {
    std::string bytes;
    pollfd input{far_end_, POLLIN, 0};
    while (poll(&input, 1, 0) > 0 && (input.revents & POLLIN) != 0)
        bytes += take(1);
    return bytes;
}

void PseudoTerminal::wait_until_arrived(int size) {
    wait_for_unread(size);
}

void PseudoTerminal::wait_until_read() {
    wait_for_unread(0);
}

void PseudoTerminal::wait_for_unread(int size) {
    const int near_end = open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    check(near_end >= 0, "cannot look at the near end");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience);
    int unread = -1;
    while (unread != size && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
        ioctl(near_end, FIONREAD, &unread);
    }
    close(near_end);
    check(unread == size, "what was put does not arrive, or nobody reads it");
}

void PseudoTerminal::hang_up() {
    if (far_end_ >= 0)
        close(far_end_);
    far_end_ = -1;
}
