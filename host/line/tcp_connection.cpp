#include "host/line/tcp_connection.h"

#include "host/line/line_error.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>
#include <thread>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace kelpo {
namespace {

using Deadline = StopSignal::Clock::time_point;

constexpr char prefix[] = "tcp:";
constexpr std::size_t prefix_length = sizeof prefix - 1;

[[noreturn]] void fail(const std::string &path, const std::string &what) {
    throw LineError(path + ": " + what);
}

[[noreturn]] void fail_malformed(const std::string &path, const std::string &what) {
    fail(path, what + "; write tcp:HOST:PORT, such as tcp:192.168.0.7:4001 or tcp:[fd00::7]:4001");
}

struct FreeAddresses {
    void operator()(addrinfo *addresses) const {
        freeaddrinfo(addresses);
    }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

// 0 or a getaddrinfo error.
int resolve(const TcpPeer &peer, int flags, Addresses &found) {
    addrinfo wanted{};
    wanted.ai_flags = flags | AI_NUMERICSERV;
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *addresses = nullptr;
    const int error = getaddrinfo(peer.host.c_str(), std::to_string(peer.port).c_str(), &wanted, &addresses);
    if (error == 0)
        found.reset(addresses);
    return error;
}

/// A name being looked up.
struct Lookup {
    TcpPeer peer;
    int error = 0;
    Addresses found;
    StopSignal done;
};

// The system's look-up cannot be cancelled: its thread may outlive the wait for it, and then ends unnoticed.
Addresses look_up(const std::string &path, const TcpPeer &peer, const StopSignal &stop, Deadline deadline) {
    Addresses numeric;
    if (resolve(peer, AI_NUMERICHOST, numeric) == 0)
        return numeric;

    const auto lookup = std::make_shared<Lookup>();
    lookup->peer = peer;
    std::thread([lookup] {
        lookup->error = resolve(lookup->peer, 0, lookup->found);
        lookup->done.raise();
    }).detach();
    switch (stop.wait_for_descriptor(lookup->done.descriptor(), POLLIN, deadline)) {
    case StopSignal::Wait::stopped:
        fail(path, "stopped before it was connected");
    case StopSignal::Wait::timed_out:
        fail(path, "the name server does not answer; with an address instead of " + peer.host + " none is needed");
    case StopSignal::Wait::ready:
        break;
    }
    if (!lookup->done.raised() || lookup->error != 0)
        fail(path, "the host " + peer.host + " is not known (" + gai_strerror(lookup->error) +
                       "); give a name that the network knows, or an address");
    return std::move(lookup->found);
}

void set_option(const Descriptor &tcp, int level, int name, int value) {
    setsockopt(tcp.number(), level, name, &value, sizeof value);
}

void set_up(const Descriptor &tcp) {
    // A frame is sent whole and at once.
    set_option(tcp, IPPROTO_TCP, TCP_NODELAY, 1);
    // A peer that has vanished is noticed whether something is on its way to it or not.
    constexpr int idle = 4, interval = 2, probes = 3;  // s, s, count
    constexpr int unacknowledged = 1000 * (idle + interval * probes);
    set_option(tcp, SOL_SOCKET, SO_KEEPALIVE, 1);
    set_option(tcp, IPPROTO_TCP, TCP_KEEPIDLE, idle);
    set_option(tcp, IPPROTO_TCP, TCP_KEEPINTVL, interval);
    set_option(tcp, IPPROTO_TCP, TCP_KEEPCNT, probes);
    set_option(tcp, IPPROTO_TCP, TCP_USER_TIMEOUT, unacknowledged);
}

// 0, ETIMEDOUT, ECANCELED after a stop, or what the system says.
int connect_to(const Descriptor &tcp, const addrinfo &address, const StopSignal &stop, Deadline deadline) {
    if (connect(tcp.number(), address.ai_addr, address.ai_addrlen) == 0)
        return 0;
    if (errno != EINPROGRESS && errno != EINTR)
        return errno;
    switch (stop.wait_for_descriptor(tcp.number(), POLLOUT, deadline)) {
    case StopSignal::Wait::stopped:
        return ECANCELED;
    case StopSignal::Wait::timed_out:
        return ETIMEDOUT;
    case StopSignal::Wait::ready:
        break;
    }
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(tcp.number(), SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

[[noreturn]] void fail_to_connect(const std::string &path, int error) {
    switch (error) {
    case ECANCELED:
        fail(path, "stopped before it was connected");
    case ECONNREFUSED:
        fail(path, "connection refused; does the device server have a line at this port, and is it free?");
    case ETIMEDOUT:
        fail(path, "no answer; is the device server switched on, and is this its address?");
    default:
        fail(path, "cannot be connected: " + std::generic_category().message(error));
    }
}

}  // namespace

bool is_tcp_path(const std::string &path) {
    return path.compare(0, prefix_length, prefix) == 0;
}

TcpPeer tcp_peer(const std::string &path) {
    const std::string text = path.substr(prefix_length);
    const bool bracketed = !text.empty() && text.front() == '[';
    const std::size_t end = bracketed ? text.find(']') : text.rfind(':');
    if (bracketed && end == std::string::npos)
        fail_malformed(path, "the bracket is not closed");

    const std::size_t colon = bracketed ? end + 1 : end;
    if (colon == std::string::npos || colon >= text.size() || text[colon] != ':')
        fail_malformed(path, "the port is missing");
    const std::string host = bracketed ? text.substr(1, end - 1) : text.substr(0, end);
    if (host.empty())
        fail_malformed(path, "the host is missing");
    if (!bracketed && host.find(':') != std::string::npos)
        fail_malformed(path, "an IPv6 address must be in brackets");

    const std::string digits = text.substr(colon + 1);
    constexpr std::size_t most_digits = 5;
    constexpr unsigned long last_port = 65535;
    const bool number =
        !digits.empty() && digits.size() <= most_digits && digits.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long port = number ? std::stoul(digits) : 0;
    if (port == 0 || port > last_port)
        fail_malformed(path, "the port is a number from 1 to 65535");
    return {host, static_cast<std::uint16_t>(port)};
}

Descriptor connect_tcp(const std::string &path, const StopSignal &stop, std::chrono::milliseconds timeout) {
    const Deadline deadline = StopSignal::Clock::now() + timeout;
    const Addresses addresses = look_up(path, tcp_peer(path), stop, deadline);
    int left = 0;
    for (const addrinfo *address = addresses.get(); address != nullptr; address = address->ai_next)
        ++left;

    int error = ETIMEDOUT;
    for (const addrinfo *address = addresses.get(); address != nullptr; address = address->ai_next, --left) {
        // An address that does not answer leaves time for those after it.
        const auto now = StopSignal::Clock::now();
        const Deadline its_deadline = now + (deadline - now) / left;
        Descriptor tcp(socket(address->ai_family, address->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        if (tcp.number() < 0) {
            error = errno;
            continue;
        }
        set_up(tcp);
        error = connect_to(tcp, *address, stop, its_deadline);
        if (error == 0)
            return tcp;
        if (error == ECANCELED)
            break;
    }
    fail_to_connect(path, error);
}

}  // namespace kelpo
