#include "host/line.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace kelpo {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr nanoseconds send_timeout = seconds(1);

bool is_pseudo_terminal(int descriptor) {
    constexpr unsigned first_major = 136, last_major = 143;
    struct stat status {};
    if (fstat(descriptor, &status) != 0)
        return false;
    const unsigned device = major(status.st_rdev);
    return S_ISCHR(status.st_mode) && device >= first_major && device <= last_major;
}

asio::serial_port_base::parity parity_option(Parity parity) {
    using Option = asio::serial_port_base::parity;
    switch (parity) {
    case Parity::even:
        return Option(Option::even);
    case Parity::odd:
        return Option(Option::odd);
    case Parity::none:
        break;
    }
    return Option(Option::none);
}

asio::serial_port_base::stop_bits stop_bits_option(int stop_bits) {
    using Option = asio::serial_port_base::stop_bits;
    return Option(stop_bits == 2 ? Option::two : Option::one);
}

timespec time_left(std::chrono::steady_clock::time_point deadline) {
    const auto left = std::max(nanoseconds(0), nanoseconds(deadline - std::chrono::steady_clock::now()));
    const auto whole = std::chrono::duration_cast<seconds>(left);
    timespec result{};
    result.tv_sec = static_cast<time_t>(whole.count());
    result.tv_nsec = static_cast<long>((left - whole).count());
    return result;
}

bool try_again(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

nanoseconds LineSettings::character_time() const {
    const int bits = 1 + 8 + (parity == Parity::none ? 0 : 1) + stop_bits;
    return nanoseconds(seconds(1)) * bits / std::max(1U, speed);
}

nanoseconds LineSettings::frame_gap() const {
    constexpr nanoseconds shortest = std::chrono::microseconds(1750);
    return std::max(shortest, character_time() * 7 / 2);
}

Line::Line(const LineSettings &settings)
    : path_(settings.path), character_time_(settings.character_time()), frame_gap_(settings.frame_gap()),
      port_(context_), stop_event_(-1), quiet_since_(Clock::now()) {
    configure(settings);
    stop_event_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (stop_event_ < 0)
        fail(std::strerror(errno));
}

Line::~Line() {
    close(stop_event_);
}

void Line::configure(const LineSettings &settings) {
    asio::error_code error;
    port_.open(settings.path, error);
    if (error)
        fail("cannot be opened: " + error.message());

    const auto set = [&](const auto &option, const char *name, bool may_refuse) {
        port_.set_option(option, error);
        if (error && !(may_refuse && error == asio::error::invalid_argument))
            fail(std::string("refuses the ") + name + ": " + error.message());
    };
    using Base = asio::serial_port_base;
    const bool pseudo = is_pseudo_terminal(port_.native_handle());
    set(Base::baud_rate(settings.speed), "speed", false);
    set(Base::flow_control(Base::flow_control::none), "flow control", false);
    set(Base::character_size(8), "character size", pseudo);
    set(parity_option(settings.parity), "parity", pseudo);
    set(stop_bits_option(settings.stop_bits), "stop bits", pseudo);
}

std::size_t Line::discard_input() {
    char waste[512];
    std::size_t discarded = 0;
    while (!stop_requested()) {
        const ssize_t got = read(port_.native_handle(), waste, sizeof waste);
        if (got == 0)
            fail("hung up");
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 && !try_again(errno))
            fail(std::strerror(errno));
        if (got < 0)
            break;
        discarded += static_cast<std::size_t>(got);
    }
    return discarded;
}

void Line::send(const char *bytes, std::size_t size) {
    pause(quiet_since_ + frame_gap_ - Clock::now());
    const auto deadline = Clock::now() + send_timeout;
    const auto total = size;
    while (size > 0 && !stop_requested()) {
        const ssize_t put = write(port_.native_handle(), bytes, size);
        if (put < 0 && !try_again(errno))
            fail(std::strerror(errno));
        if (put > 0) {
            bytes += put;
            size -= static_cast<std::size_t>(put);
        } else if (!wait_for(POLLOUT, deadline) && !stop_requested()) {
            fail("takes no bytes");
        }
    }
    quiet_since_ = Clock::now() + character_time_ * static_cast<std::int64_t>(total);
}

std::size_t Line::receive(char *buffer, std::size_t capacity, int expected_length, const ReplyTimeouts &timeouts) {
    const auto wanted = expected_length < 0 ? capacity : std::min(capacity, static_cast<std::size_t>(expected_length));
    std::size_t received = 0;
    // The request may still be on its way out of the port's buffer: its last byte leaves at quiet_since_.
    auto deadline = std::max(Clock::now(), quiet_since_) + timeouts.reply;
    while (received < wanted && wait_for(POLLIN, deadline)) {
        const ssize_t got = read(port_.native_handle(), buffer + received, wanted - received);
        if (got == 0)
            fail("hung up");
        if (got < 0 && !try_again(errno))
            fail(std::strerror(errno));
        if (got > 0) {
            received += static_cast<std::size_t>(got);
            quiet_since_ = Clock::now();
            deadline = quiet_since_ + timeouts.inter_character;
        }
    }
    return received;
}

void Line::pause(nanoseconds duration) {
    const auto deadline = Clock::now() + duration;
    while (Clock::now() < deadline && !stop_requested()) {
        pollfd stop{stop_event_, POLLIN, 0};
        const timespec left = time_left(deadline);
        ppoll(&stop, 1, &left, nullptr);
    }
}

// True when one of `events` can be served; false at the deadline or on a stop request.
bool Line::wait_for(short events, Clock::time_point deadline) {
    for (;;) {
        pollfd watched[] = {{stop_event_, POLLIN, 0}, {port_.native_handle(), events, 0}};
        const timespec left = time_left(deadline);
        const int ready = ppoll(watched, 2, &left, nullptr);
        if (ready < 0 && errno != EINTR)
            fail(std::strerror(errno));
        if (ready == 0 || (ready > 0 && watched[0].revents != 0))
            return false;
        if (ready > 0 && (watched[1].revents & events) != 0)
            return true;
        if (ready > 0)
            fail("hung up");
    }
}

void Line::request_stop() noexcept {
    stopping_ = true;
    // The event stays raised: nobody reads it, so every later wait sees it too.
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(stop_event_, &one, sizeof one);
}

bool Line::stop_requested() const noexcept {
    return stopping_;
}

void Line::fail(const std::string &what) const {
    throw LineError(path_ + ": " + what);
}

}  // namespace kelpo
