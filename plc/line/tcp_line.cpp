#include "plc/line/tcp_line.h"

#include "plc/system/system_call.h"
#include "plc/text/number.h"

#include <cerrno>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace plc {
namespace {

bool is_address(const std::string &host) {
    in_addr unused;
    return ::inet_pton(AF_INET, host.c_str(), &unused) == 1;
}

sockaddr_in socket_address(const TcpAddress &address) {
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(address.port);
    ::inet_pton(AF_INET, address.host.c_str(), &result.sin_addr);
    return result;
}

Descriptor listen_at(const TcpAddress &address) {
    Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const sockaddr_in place = socket_address(address);
    const int on = 1;
    if (listener.number() < 0 || ::setsockopt(listener.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        ::bind(listener.number(), reinterpret_cast<const sockaddr *>(&place), sizeof place) != 0 ||
        ::listen(listener.number(), 1) != 0)
        fail("cannot listen at " + address.host + ":" + std::to_string(address.port));
    return listener;
}

unsigned port_of(const Descriptor &listener) {
    sockaddr_in place = {};
    socklen_t size = sizeof place;
    if (::getsockname(listener.number(), reinterpret_cast<sockaddr *>(&place), &size) != 0)
        fail("cannot find out the port");
    return ntohs(place.sin_port);
}

void watch(const Descriptor &epoll, const Descriptor &watched) {
    epoll_event event = {};
    event.events = EPOLLIN;
    if (::epoll_ctl(epoll.number(), EPOLL_CTL_ADD, watched.number(), &event) != 0)
        fail("cannot watch the line");
}

// What accept reports of a client that has left again, or of a network that fails.
bool is_loss_of_a_client(int error) {
    switch (error) {
    case ECONNABORTED:
    case EPROTO:
    case ENETDOWN:
    case ENETUNREACH:
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case ENOPROTOOPT:
    case EOPNOTSUPP:
    case EPERM:
        return true;
    default:
        return would_wait(error);
    }
}

}  // namespace

TcpAddress parse_tcp_address(const std::string &text) {
    const std::size_t colon = text.rfind(':');
    TcpAddress address;
    if (colon != std::string::npos)
        address.host = text.substr(0, colon);
    const auto port = number_in(colon == std::string::npos ? text : text.substr(colon + 1));
    if (!is_address(address.host) || !port || *port < 0 || *port > 65535)
        throw std::invalid_argument("PORT or ADDRESS:PORT such as 127.0.0.1:5020 is expected, port 0 to 65535, not " +
                                    text);
    address.port = static_cast<std::uint16_t>(*port);
    return address;
}

TcpLine::TcpLine(const TcpAddress &address)
    : listener_(listen_at(address)), either_(::epoll_create1(EPOLL_CLOEXEC)),
      name_("tcp:" + address.host + ":" + std::to_string(port_of(listener_))) {
    watch(either_, listener_);
}

int TcpLine::descriptor() const {
    return either_.number();
}

const std::string &TcpLine::name() const {
    return name_;
}

Bytes TcpLine::receive() {
    Bytes bytes = read_from_client();
    take_new_client();
    return bytes;
}

bool TcpLine::send(const Bytes &bytes) {
    if (client_.number() < 0)
        return false;
    const ssize_t count = ::send(client_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && !would_wait(errno))
        client_.close();
    return count == static_cast<ssize_t>(bytes.size());
}

Bytes TcpLine::read_from_client() {
    if (client_.number() < 0)
        return Bytes();
    Bytes bytes(2 * max_frame_length);
    const ssize_t count = ::recv(client_.number(), bytes.data(), bytes.size(), 0);
    if (count == 0 || (count < 0 && !would_wait(errno)))
        client_.close();
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
}

void TcpLine::take_new_client() {
    Descriptor client(::accept4(listener_.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (client.number() < 0) {
        if (!is_loss_of_a_client(errno))
            fail("cannot take a client");
        return;
    }
    const int on = 1;  // each piece of a reply is sent at once
    if (::setsockopt(client.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0)
        return;
    watch(either_, client);
    client_ = std::move(client);
}

}  // namespace plc
