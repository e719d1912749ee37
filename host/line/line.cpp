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

// How often the input is checked while nothing comes: this is how exactly it is known when bytes came, even if they are
// read late.
constexpr nanoseconds look_interval = std::chrono::milliseconds(5);

// No controller sends more than this at once. The rest is taken out slowly, a kilobyte and a pause, faster than any
// serial line carries it, so that it does not use up the processor.
constexpr std::size_t flood = 4096;
constexpr nanoseconds flood_pause = std::chrono::milliseconds(1);

Descriptor open_port(const LineSettings &settings, const StopSignal &stop) {
    if (!is_tcp_path(settings.path))
        return open_serial_device(settings);
    if (settings.rs485)
        throw LineError(settings.path + ": the device server switches the RS-485 transmitter; take rs485 out");
    return connect_tcp(settings.path, stop);
}

// A device server has a real line, which needs its silence. A pseudo-terminal has no wire.
nanoseconds kept_gap(const LineSettings &settings, const Descriptor &port) {
    if (!settings.gap && is_pseudo_terminal(port))
        return nanoseconds(0);
    return settings.frame_gap();
}

// From a line that never falls silent the beginning is enough.
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
      quiet_since_(Clock::now()), request_end_(quiet_since_), drained_at_(quiet_since_), last_look_(quiet_since_),
      arrived_after_(quiet_since_), has_wire_(!is_tcp_ && is_wired(port_)) {}

std::string Line::discard_input(const Heard &heard) {
    constexpr std::size_t most = 32 * flood;  // more than a tty holds back
    char waste[1024];
    std::string discarded;
    std::size_t size = 0;
    while (size < most && !stop_requested()) {
        const std::size_t got = read_some(waste, sizeof waste);
        if (got == 0)
            break;
        size += got;
        keep_some(discarded, waste, got);
        if (heard)
            heard({waste, got});
        if (size > flood)
            pause(flood_pause);
    }
    return discarded;
}

std::string Line::settle(nanoseconds duration, const Heard &heard) {
    const auto from = Clock::now();
    auto until = from + duration;
    std::string discarded;
    while (Clock::now() < until && wait_for_input(until, Waits::until_stopped)) {
        const std::string waste = discard_input(heard);
        keep_some(discarded, waste.data(), waste.size());
        quiet_since_ = Clock::now();
        until = std::min(from + 2 * duration, std::max(from + duration, quiet_since_ + frame_gap_));
    }
    return discarded;
}

void Line::settle_after_others(nanoseconds duration) {
    const LineNote::Left left = note_.left_by_others();
    const Time latest = Clock::now() + std::max(duration, left.time);
    Time until = Clock::now() + std::max(duration, left.patience);
    // A program that asks several times leaves several requests, and a controller may handle them one by one.
    const auto heard = [&](std::string_view) {
        until = std::min(latest, std::max(until, Clock::now() + left.patience));
    };
    // At least two looks: the time may have passed while other programs had the processor.
    do
        settle(std::max<nanoseconds>(until - Clock::now(), 2 * look_interval), heard);
    while (Clock::now() < until && !stop_requested());
}

std::string Line::await_silence(const Heard &heard) {
    std::string discarded = discard_input(heard);
    if (frame_gap_ == nanoseconds::zero())
        return discarded;
    if (!discarded.empty())
        quiet_since_ = Clock::now();
    const auto latest = std::max(Clock::now(), quiet_since_ + frame_gap_) + frame_gap_;
    for (auto until = quiet_since_ + frame_gap_; Clock::now() < until && wait_for_input(until, Waits::until_stopped);) {
        const std::string waste = discard_input(heard);
        keep_some(discarded, waste.data(), waste.size());
        quiet_since_ = Clock::now();
        until = std::min(latest, quiet_since_ + frame_gap_);
    }
    return discarded;
}

std::string Line::listen(Time until) {
    if (!wait_for_input(std::max(until, Clock::now() + look_interval), Waits::until_stopped))
        return {};
    char bytes[1024];
    const std::size_t got = read_some(bytes, sizeof bytes);
    if (got > 0)
        quiet_since_ = Clock::now();
    if (got == sizeof bytes)
        pause(flood_pause);
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
        const auto ended = stop_.wait_for_descriptor(port_.number(), POLLOUT, *deadline);
        if (ended == StopSignal::Wait::timed_out && !stop_requested())
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
    Time first_byte_after = arrived_after_;
    Time begun_at = quiet_since_;
    while (received < wanted && wait_for_input(deadline, Waits::until_hurried)) {
        const std::size_t got = read_some(buffer + received, wanted - received);
        if (got > 0) {
            quiet_since_ = Clock::now();
            if (received == 0) {
                first_byte_after = arrived_after_;
                begun_at = quiet_since_;
            }
            arrived_after_ = first_byte_after;
            received += got;
            wanted = whole({buffer, received});
            // A reply that comes byte by byte is limited: twice the time that it takes on the wire, and the time-outs.
            const auto latest = begun_at + 2 * character_time_ * static_cast<std::int64_t>(wanted) + timeouts.reply +
                                timeouts.inter_character;
            deadline = std::min(latest, quiet_since_ + timeouts.inter_character);
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

// True when there is something to read, or the next read shows what is wrong; false at the deadline or on a stop.
bool Line::wait_for_input(Time deadline, Waits waits) {
    for (;;) {
        const Time now = Clock::now(), next_look = std::min(deadline, now + look_interval);
        const auto ended = waits == Waits::until_stopped
                               ? stop_.wait_for_descriptor(port_.number(), POLLIN, next_look)
                               : stop_.wait_patiently_for_descriptor(port_.number(), POLLIN, next_look);
        if (ended != StopSignal::Wait::timed_out)
            return ended == StopSignal::Wait::ready;
        note_drained(std::max(now, next_look));
        if (next_look >= deadline)
            return false;
    }
}

// After `looked` nothing was left to read. A machine that has delayed this program since its last check may also have
// delayed the bytes on their way through the system: then that check is what counts.
void Line::note_drained(Time looked) {
    const Time now = Clock::now();
    drained_at_ = now - last_look_ <= 2 * look_interval ? looked : std::max(drained_at_, last_look_);
    last_look_ = now;
}

// 0 when nothing is there.
std::size_t Line::read_some(char *buffer, std::size_t capacity) {
    for (;;) {
        const Time before = Clock::now();
        const ssize_t got = read(port_.number(), buffer, capacity);
        if (got > 0) {
            received_ += static_cast<std::uint64_t>(got);
            arrived_after_ = drained_at_;
            if (static_cast<std::size_t>(got) < capacity)
                note_drained(before);
            return static_cast<std::size_t>(got);
        }
        if (got == 0)
            fail(is_tcp_ ? "the device server has closed the connection" : "hung up; is the adapter still plugged in?");
        if (!try_again(errno))
            fail(errno);
        if (errno != EINTR) {
            note_drained(before);
            return 0;
        }
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
