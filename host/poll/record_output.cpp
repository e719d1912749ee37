#include "host/poll/record_output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace kelpo {

RecordOutput::RecordOutput(int descriptor, const StopSignal &stop) : descriptor_(descriptor), stop_(stop) {}

// A pipe that is ready takes this many bytes without blocking the writer, so a stop never waits for the reader.
void RecordOutput::put_some() {
    const ssize_t put = ::write(descriptor_, waiting_.data() + taken_, std::min<std::size_t>(waiting(), PIPE_BUF));
    if (put > 0)
        taken_ += static_cast<std::size_t>(put);
    else if (put < 0 && errno == EPIPE)
        gone_ = true;
    else if (put < 0 && errno != EINTR && errno != EAGAIN)
        throw std::system_error(errno, std::generic_category(), "cannot write the records");
    if (gone_ || waiting() == 0) {
        waiting_.clear();
        taken_ = 0;
    }
}

void RecordOutput::put_at_once() {
    pollfd reader{descriptor_, POLLOUT, 0};
    while (waiting() > 0 && poll(&reader, 1, 0) > 0)
        put_some();
}

void RecordOutput::write(const std::string &text) {
    if (gone_)
        return;
    waiting_.erase(0, taken_);
    taken_ = 0;
    waiting_ += text;
    put_at_once();
}

void RecordOutput::write_until(Time deadline) {
    while (waiting() > 0 && stop_.wait_for_descriptor(descriptor_, POLLOUT, deadline) == StopSignal::Wait::ready)
        put_some();
}

bool RecordOutput::reader_gone() {
    pollfd other_end{descriptor_, 0, 0};
    if (poll(&other_end, 1, 0) > 0 && (other_end.revents & POLLERR) != 0)
        gone_ = true;
    return gone_;
}

}  // namespace kelpo
