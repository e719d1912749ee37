#include "common/standard_streams.h"

#include <iostream>

#include <fcntl.h>
#include <poll.h>
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

bool output_was_written(const std::string &name) {
    std::cout.flush();
    if (std::cout || reader_is_gone())
        return true;
    std::cerr << name << ": cannot write the output" << std::endl;
    return false;
}

}  // namespace common
