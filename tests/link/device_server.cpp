#include "device_server.h"

#include <cerrno>
#include <stdexcept>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int patience = 30000;  // ms

void check(bool good, const char *what) {
    if (!good)
        throw std::runtime_error(what);
}

void close_and_forget(int &descriptor) {
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

struct Address {
    sockaddr_storage storage{};
    socklen_t size = sizeof(sockaddr_storage);

    sockaddr *get() {
        return reinterpret_cast<sockaddr *>(&storage);
    }
};

Address loopback(DeviceServer::Family family, std::uint16_t port) {
    Address address;
    if (family == DeviceServer::Family::ipv6) {
        auto &v6 = reinterpret_cast<sockaddr_in6 &>(address.storage);
        v6.sin6_family = AF_INET6;
        v6.sin6_addr = in6addr_loopback;
        v6.sin6_port = htons(port);
        address.size = sizeof v6;
    } else {
        auto &v4 = reinterpret_cast<sockaddr_in &>(address.storage);
        v4.sin_family = AF_INET;
        v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        v4.sin_port = htons(port);
        address.size = sizeof v4;
    }
    return address;
}

}  // namespace

DeviceServer::DeviceServer(Family family) : family_(family) {
    keeper_ = new_socket();
    Address address;
    check(getsockname(keeper_, address.get(), &address.size) == 0, "no port");
    const bool v6 = family == Family::ipv6;
    port_ = ntohs(v6 ? reinterpret_cast<sockaddr_in6 &>(address.storage).sin6_port
                     : reinterpret_cast<sockaddr_in &>(address.storage).sin_port);
    path_ = (v6 ? "tcp:[::1]:" : "tcp:127.0.0.1:") + std::to_string(port_);
    listen();
}

DeviceServer::~DeviceServer() {
    close_and_forget(client_);
    close_and_forget(listener_);
    close_and_forget(keeper_);
}

int DeviceServer::new_socket() const {
    const int made = socket(family_ == Family::ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    Address address = loopback(family_, port_);
    const bool bound = made >= 0 && setsockopt(made, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on) == 0 &&
                       bind(made, address.get(), address.size) == 0;
    if (!bound && made >= 0)
        close(made);
    check(bound, "cannot have a port");
    return made;
}

void DeviceServer::listen() {
    listener_ = new_socket();
    check(::listen(listener_, 8) == 0, "cannot listen");
}

void DeviceServer::stop_listening() {
    close_and_forget(listener_);
}

void DeviceServer::accept() {
    pollfd input{listener_, POLLIN, 0};
    check(poll(&input, 1, patience) > 0, "nobody connects");
    close_and_forget(client_);
    client_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    check(client_ >= 0, "cannot accept");
}

void DeviceServer::put(const std::string &bytes) {
    check(send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size()),
          "cannot put bytes");
}

// Less than asked for, or nothing, when the connection is full.
std::size_t DeviceServer::put_noise() {
    static const std::string noise(65536, 'n');
    const ssize_t put = send(client_, noise.data(), noise.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    check(put >= 0 || errno == EAGAIN, "cannot put bytes");
    return put < 0 ? 0 : static_cast<std::size_t>(put);
}

std::size_t DeviceServer::fill() {
    std::size_t total = 0;
    while (const std::size_t put = put_noise())
        total += put;
    return total;
}

void DeviceServer::babble(const std::atomic<bool> &enough) {
    while (!enough)
        put_noise();
}

std::string DeviceServer::take(std::size_t size) {
    std::string bytes;
    while (bytes.size() < size) {
        pollfd input{client_, POLLIN, 0};
        check(poll(&input, 1, patience) > 0, "too few bytes came");
        std::string part(size - bytes.size(), '\0');
        const ssize_t got = recv(client_, part.data(), part.size(), 0);
        check(got > 0, "cannot take bytes");
        bytes.append(part, 0, static_cast<std::size_t>(got));
    }
    return bytes;
}

void DeviceServer::close_connection() {
    close_and_forget(client_);
}

void DeviceServer::reset_connection() {
    const linger at_once{1, 0};
    setsockopt(client_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    close_and_forget(client_);
}
