#pragma once

#include "host/line/descriptor.h"
#include "host/line/stop_signal.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace kelpo {

/// Where a device server listens for one of its lines.
struct TcpPeer {
    std::string host;  ///< a name, an IPv4 or an IPv6 address
    std::uint16_t port;
};

/// True when `path` is meant for a TCP connection: it begins with "tcp:".
bool is_tcp_path(const std::string &path);

/// Reads "tcp:HOST:PORT", an IPv6 address in brackets. Throws LineError, whose text says what would be right.
TcpPeer tcp_peer(const std::string &path);

/// Connects to the device server `path`, trying all addresses that its name has, and returns the socket: non-blocking,
/// without delay in sending, and in error about ten seconds after the peer has vanished. Throws LineError, whose text
/// names the path and says what would be right, also when `timeout` has passed and when `stop`
/// is raised.
Descriptor connect_tcp(const std::string &path, const StopSignal &stop,
                       std::chrono::milliseconds timeout = std::chrono::seconds(3));

}  // namespace kelpo
