#include "host/line/line.h"

#include "host/line/serial_device.h"
#include "host/line/tcp_connection.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <system_error>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kelpo {
namespace {

using std::chrono::nanoseconds;

constexpr nanoseconds send_timeout = std::chrono::seconds(1);

Descriptor open_port(const LineSettings &settings, const StopSignal &stop) {
    if (!is_tcp_path(settings.path))
        return open_serial_device(settings);
    if (settings.rs485)
        throw LineError(settings.path + ": the device server switches the RS-485 transmitter; take rs485 out");
    return connect_tcp(settings.path, stop);
}

// Behind a device server there is a real line, which needs its silence. A pseudo-terminal has no wire.
nanoseconds kept_gap(const LineSettings &settings, const Descriptor &port) {
    if (!settings.gap && is_pseudo_terminal(port))
        return nanoseconds(0);
    return settings.frame_gap();
}

// Of a line that babbles not everything needs to be seen.
void keep_some(std::string &kept, const char *bytes, std::size_t size) {
    constexpr std::size_t enough = 512;
    kept.append(bytes, std::min(size, enough - std::min(enough, kept.size())));
}

bool try_again(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

Line::Line(const LineSettings &settings, const StopSignal &stop)
    : stop_(stop), path_(settings.path), is_tcp_(is_tcp_path(settings.path)), port_(open_port(settings, stop)),
      note_(settings.path, port_), character_time_(settings.character_time()), frame_gap_(kept_gap(settings, port_)),
      quiet_since_(Clock::now()), request_end_(quiet_since_), has_wire_(!is_tcp_ && is_wired(port_)) {}

std::string Line::discard_input(const Heard &heard) {
    constexpr int most_reads = 128;  // of a kilobyte: more than a tty holds back
    char waste[1024];
    std::string discarded;
    for (int reads = 0; reads < most_reads && !stop_requested(); ++reads) {
        const std::size_t got = read_some(waste, sizeof waste);
        if (got == 0)
            break;
        keep_some(discarded, waste, got);
        if (heard)
            heard({waste, got});
    }
    return discarded;
}

std::string Line::settle(nanoseconds duration, const Heard &heard) {
    const auto from = Clock::now();
    auto until = from + duration;
    std::string discarded;
    while (Clock::now() < until && wait_for(POLLIN, until)) {
        const std::string waste = discard_input(heard);
        keep_some(discarded, waste.data(), waste.size());
        quiet_since_ = Clock::now();
        until = std::min(from + 2 * duration, std::max(from + duration, quiet_since_ + frame_gap_));
    }
    return discarded;
}

std::string Line::await_silence(const Heard &heard) {
    std::string discarded = discard_input(heard);
    if (frame_gap_ == nanoseconds::zero())
        return discarded;
    if (!discarded.empty())
        quiet_since_ = Clock::now();
    const auto latest = std::max(Clock::now(), quiet_since_ + frame_gap_) + frame_gap_;
    for (auto until = quiet_since_ + frame_gap_; Clock::now() < until && wait_for(POLLIN, until);) {
        const std::string waste = discard_input(heard);
        keep_some(discarded, waste.data(), waste.size());
        quiet_since_ = Clock::now();
        until = std::min(latest, quiet_since_ + frame_gap_);
    }
    return discarded;
}

std::string Line::listen(Time until) {
    if (!wait_for(POLLIN, until))
        return {};
    char bytes[1024];
    const std::size_t got = read_some(bytes, sizeof bytes);
    if (got > 0)
        quiet_since_ = Clock::now();
    return {bytes, got};
}

bool Line::send(const char *bytes, std::size_t size) {
    if (frame_gap_ > nanoseconds::zero())
        pause(quiet_since_ + frame_gap_ - Clock::now());
    std::optional<Clock::time_point> deadline;  // once the line takes no more at first
    const auto total = size;
    while (size > 0 && !stop_requested()) {
        const std::size_t put = write_some(bytes, size);
        if (put > 0) {
            bytes += put;
            size -= put;
            deadline.reset();
            continue;
        }
        if (!deadline)
            deadline = Clock::now() + send_timeout;
        if (!wait_for(POLLOUT, *deadline) && !stop_requested())
            fail("takes no bytes");
    }
    request_end_ = Clock::now() + character_time_ * static_cast<std::int64_t>(total);
    quiet_since_ = request_end_;
    return size == 0;
}

std::size_t Line::receive(char *buffer, std::size_t already, const WholeSize &whole, const ReplyTimeouts &timeouts) {
    std::size_t received = already;
    std::size_t wanted = whole({buffer, received});
    // The request may still be on its way out of the port's buffer: its last byte leaves at request_end_.
    auto deadline = received > 0 ? quiet_since_ + timeouts.inter_character : request_end_ + timeouts.reply;
    while (received < wanted && wait_patiently_for_input(deadline)) {
        const std::size_t got = read_some(buffer + received, wanted - received);
        if (got > 0) {
            received += got;
            quiet_since_ = Clock::now();
            deadline = quiet_since_ + timeouts.inter_character;
            wanted = whole({buffer, received});
        }
    }
    return received;
}

nanoseconds Line::shortest_time(std::size_t size) const {
    return has_wire_ ? character_time_ * static_cast<std::int64_t>(size) : nanoseconds(0);
}

void Line::pause(nanoseconds duration) {
    stop_.wait_for(duration);
}

// True when one of `events` can be served, or the next read or write tells what is wrong; false at the deadline or on a
// stop request.
bool Line::wait_for(short events, Time deadline) {
    return stop_.wait_for_descriptor(port_.number(), events, deadline) == StopSignal::Wait::ready;
}

bool Line::wait_patiently_for_input(Time deadline) {
    return stop_.wait_patiently_for_descriptor(port_.number(), POLLIN, deadline) == StopSignal::Wait::ready;
}

// 0 when nothing is there.
std::size_t Line::read_some(char *buffer, std::size_t capacity) {
    for (;;) {
        const ssize_t got = read(port_.number(), buffer, capacity);
        if (got > 0) {
            received_ += static_cast<std::uint64_t>(got);
            return static_cast<std::size_t>(got);
        }
        if (got == 0)
            fail(is_tcp_ ? "the device server has closed the connection" : "hung up; is the adapter still plugged in?");
        if (!try_again(errno))
            fail(errno);
        if (errno != EINTR)
            return 0;
    }
}

// 0 when the line is full.
std::size_t Line::write_some(const char *bytes, std::size_t size) {
    const ssize_t put =
        is_tcp_ ? ::send(port_.number(), bytes, size, MSG_NOSIGNAL) : write(port_.number(), bytes, size);
    if (put < 0 && !try_again(errno))
        fail(errno);
    return put < 0 ? 0 : static_cast<std::size_t>(put);
}

void Line::fail(const std::string &what) const {
    throw LineError(path_ + ": " + what);
}

void Line::fail(int error) const {
    switch (error) {
    case EIO:
        fail("hung up; is the adapter still plugged in?");
    case EPIPE:
        fail("the device server has closed the connection");
    case ECONNRESET:
        fail("the device server has reset the connection");
    case ETIMEDOUT:
        fail("the device server does not answer any more");
    default:
        fail(std::generic_category().message(error));
    }
}

}  // namespace kelpo
