#pragma once

#include "plc/line/line.h"
#include "plc/system/descriptor.h"

#include <cstdint>
#include <string>

namespace plc {

/// Where a TCP line listens.
struct TcpAddress {
    std::string host = "127.0.0.1";  ///< four numbers with dots
    std::uint16_t port = 0;          // 0: any that is free
};

/// Reads "PORT" or "ADDRESS:PORT". Throws std::invalid_argument, whose text says what would be right.
TcpAddress parse_tcp_address(const std::string &text);

/// A TCP port that carries the bytes of the serial line, as a device server does. One client is on the line at a time:
/// a new one takes the place of the one before, which may have vanished without closing its connection. The line
/// continues without a client; what is sent then is lost.
class TcpLine : public Line {
public:
    /// Listens. Throws std::system_error.
    explicit TcpLine(const TcpAddress &address);

    int descriptor() const override;
    const std::string &name() const override;  ///< "tcp:ADDRESS:PORT"
    Bytes receive() override;
    bool send(const Bytes &bytes) override;

private:
    Bytes read_from_client();
    void take_new_client();

    Descriptor listener_;
    Descriptor client_;  // none when no client is on the line
    Descriptor either_;  // an epoll of both
    std::string name_;
};

}  // namespace plc
