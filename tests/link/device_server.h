#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

/// A device server that carries one line over TCP: the test plays what comes from the line, the code under test
/// connects to `path`. The port is kept all the time, so that no other program gets it while nothing listens.
class DeviceServer {
public:
    enum class Family { ipv4, ipv6 };

    /// Listens on the machine itself. Throws std::runtime_error, also when the machine has no such address family.
    explicit DeviceServer(Family family = Family::ipv4);
    ~DeviceServer();
    DeviceServer(const DeviceServer &) = delete;
    DeviceServer &operator=(const DeviceServer &) = delete;

    /// "tcp:127.0.0.1:PORT" or "tcp:[::1]:PORT".
    const std::string &path() const {
        return path_;
    }
    std::uint16_t port() const {
        return port_;
    }

    /// Waits for the next client.
    void accept();

    /// Sends to the client.
    void put(const std::string &bytes);

    /// Sends as much as is taken while the client reads nothing. Returns how many bytes that were.
    std::size_t fill();

    /// Sends to the client all the time, without looking whether it reads, until `enough`.
    void babble(const std::atomic<bool> &enough);

    /// Waits until `size` bytes have come from the client, and takes them.
    std::string take(std::size_t size);

    /// Closes the connection in the normal way.
    void close_connection();

    /// Resets the connection, like a server that was switched off and on.
    void reset_connection();

    /// From now on connections are refused, or accepted again.
    void stop_listening();
    void listen();

private:
    int new_socket() const;
    std::size_t put_noise();

    Family family_;
    int keeper_ = -1;    // bound to the port, never listening
    int listener_ = -1;  // -1 while connections are refused
    int client_ = -1;    // -1 when there is none
    std::uint16_t port_ = 0;
    std::string path_;
};
