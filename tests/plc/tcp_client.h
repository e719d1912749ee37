#pragma once

#include "plc/system/descriptor.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

#include <netinet/in.h>
#include <sys/socket.h>

/// Connects to a line that calls itself "tcp:127.0.0.1:PORT".
inline plc::Descriptor connect_to(const std::string &line) {
    const std::string host = "tcp:127.0.0.1:";
    if (line.rfind(host, 0) != 0)
        throw std::runtime_error("no TCP line: " + line);
    sockaddr_in place = {};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    place.sin_port = htons(static_cast<std::uint16_t>(std::atoi(line.c_str() + host.size())));
    plc::Descriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(client.number(), reinterpret_cast<const sockaddr *>(&place), sizeof place) != 0)
        throw std::runtime_error("cannot connect to " + line);
    return client;
}
