#include "host/poll/record_output.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace kelpo {

RecordOutput::RecordOutput(int descriptor, const StopSignal &stop) : descriptor_(descriptor), stop_(stop) {}

// A pipe that is ready takes this many bytes without blocking the writer, so a stop never waits for the reader.
std::size_t RecordOutput::put(const char *bytes, std::size_t size) {
    const ssize_t put = ::write(descriptor_, bytes, std::min<std::size_t>(size, PIPE_BUF));
    if (put >= 0)
        return static_cast<std::size_t>(put);
    if (errno == EPIPE)
        gone_ = true;
    else if (errno != EINTR && errno != EAGAIN)
        throw std::system_error(errno, std::generic_category(), "cannot write the records");
    return 0;
}

void RecordOutput::write(const std::string &text) {
    for (std::size_t done = 0; done < text.size() && !gone_ && !stop_.raised();) {
        const auto deadline = StopSignal::Clock::now() + std::chrono::hours(1);
        if (stop_.wait_for_descriptor(descriptor_, POLLOUT, deadline) == StopSignal::Wait::ready)
            done += put(text.data() + done, text.size() - done);
    }
}

void RecordOutput::write_at_once(const std::string &text) {
    pollfd reader{descriptor_, POLLOUT, 0};
    for (std::size_t done = 0; done < text.size() && !gone_ && poll(&reader, 1, 0) > 0;)
        done += put(text.data() + done, text.size() - done);
}

bool RecordOutput::reader_gone() {
    pollfd other_end{descriptor_, 0, 0};
    if (poll(&other_end, 1, 0) > 0 && (other_end.revents & POLLERR) != 0)
        gone_ = true;
    return gone_;
}

}  // namespace kelpo
