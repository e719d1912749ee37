#include "common/standard_streams.h"

#include <csignal>
#include <iostream>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace common {
namespace {

// A reader that closes a pipe has read enough: nothing is reported.
bool reader_is_gone() {
    pollfd reader{STDOUT_FILENO, 0, 0};
    return poll(&reader, 1, 0) > 0 && (reader.revents & (POLLERR | POLLHUP)) != 0;
}

}  // namespace

void open_standard_descriptors() {
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0)
            continue;
        const int opened = open("/dev/null", O_RDWR);  // takes the lowest number that is free
        if (opened != descriptor)
            _exit(1);
    }
}

void release_stuck_terminals() noexcept {
    // Without this signal a program in the background may do it too, and is not stopped.
    sigset_t background, before;
    sigemptyset(&background);
    sigaddset(&background, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &background, &before);
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        pollfd terminal{descriptor, POLLOUT, 0};
        if (poll(&terminal, 1, 0) != 0 || tcflush(descriptor, TCOFLUSH) != 0)
            continue;
        // Going on wakes who waits for room, and ends a Ctrl-S, if output was stopped before.
        tcflow(descriptor, TCOOFF);
        tcflow(descriptor, TCOON);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

bool output_was_written(const std::string &name) {
    std::cout.flush();
    if (std::cout || reader_is_gone())
        return true;
    std::cerr << name << ": cannot write the output" << std::endl;
    return false;
}

}  // namespace common
