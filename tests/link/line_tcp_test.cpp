#include "host/line/line.h"
#include "host/line/tcp_connection.h"

#include "device_server.h"
#include "line_material.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using kelpo::Line;
using kelpo::LineSettings;
using kelpo::StopSignal;
using lines::message_of;
using lines::never;
using lines::settings;
using std::chrono::milliseconds;

std::string received(Line &line, int expected_length) {
    std::string buffer(512, '\0');
    const std::size_t whole = expected_length < 0 ? buffer.size() : static_cast<std::size_t>(expected_length);
    buffer.resize(line.receive(
        buffer.data(), 0, [whole](std::string_view) { return whole; }, never));
    return buffer;
}

std::string message_on_opening(const LineSettings &wrong) {
    return message_of([&] {
        const StopSignal stop;
        Line line(wrong, stop);
    });
}

int option(const kelpo::Descriptor &tcp, int level, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(tcp.number(), level, name, &value, &size), 0);
    return value;
}

class LineOverTcp : public testing::Test {
protected:
    LineOverTcp() {
        server.accept();
    }

    DeviceServer server;
    StopSignal stop;
    Line line{settings(server.path()), stop};
};

TEST_F(LineOverTcp, CarriesTheBytesAsTheyAre) {
    const std::string request("\x01\x03\x00\x00\x0A\x0D\x11\x13\xFF", 9), reply("\x01\x03\x00\x0A\x0D\x7F\xFF", 7);
    line.send(request.data(), request.size());
    EXPECT_EQ(server.take(request.size()), request);
    server.put(reply);
    EXPECT_EQ(received(line, 7), reply);
}

TEST_F(LineOverTcp, PutsTogetherAReplyThatComesInPieces) {
    std::thread controller([&] {
        for (const char *piece : {"a", "bc", "def", "g"})
            server.put(piece);
    });
    EXPECT_EQ(received(line, 7), "abcdefg");
    controller.join();
}

TEST_F(LineOverTcp, KeepsTheSilenceThatTheServersLineNeeds) {
    EXPECT_EQ(line.frame_gap(), std::chrono::microseconds(1750));
}

TEST_F(LineOverTcp, ReportsAServerThatClosesDuringTheWaitForAReply) {
    std::thread controller([&] {
        server.put("01");
        server.close_connection();
    });
    EXPECT_EQ(message_of([&] { received(line, 7); }), server.path() + ": the device server has closed the connection");
    controller.join();
}

TEST_F(LineOverTcp, ReportsAServerThatResetsDuringTheWaitForAReply) {
    std::thread controller([&] { server.reset_connection(); });
    EXPECT_EQ(message_of([&] { received(line, 7); }), server.path() + ": the device server has reset the connection");
    controller.join();
}

TEST_F(LineOverTcp, ReportsALostConnectionWhenItDiscardsSettlesOrSends) {
    server.reset_connection();
    EXPECT_NE(message_of([&] { line.discard_input(); }), "no LineError");
    EXPECT_NE(message_of([&] { line.settle(std::chrono::hours(1)); }), "no LineError");
    // Not the signal that a write to a broken connection raises otherwise.
    EXPECT_NE(message_of([&] { line.send("x", 1); }), "no LineError");
}

TEST_F(LineOverTcp, StopsWaitingForAReplyWhenAnotherThreadAsks) {
    std::thread other([&] { stop.hurry(); });
    EXPECT_EQ(received(line, 7), "");
    other.join();
}

TEST_F(LineOverTcp, EndsOnALineThatNeverStopsSending) {
    std::atomic<bool> enough{false};
    std::thread babbler([&] { server.babble(enough); });
    EXPECT_EQ(line.settle(milliseconds(30)), std::string(512, 'n'));
    line.discard_input();
    enough = true;
    babbler.join();
}

// Otherwise a server that sends all the time would use up the processor.
TEST_F(LineOverTcp, ReadsAtMostAFewKilobytesInAMillisecond) {
    std::atomic<bool> enough{false};
    std::thread babbler([&] { server.babble(enough); });
    const auto from = line.now();
    line.settle(milliseconds(300));
    line.listen(line.now() + milliseconds(300));
    const auto passed = std::chrono::ceil<milliseconds>(line.now() - from);
    EXPECT_LE(line.received(), 3 * 4096U + 1024U * static_cast<std::uint64_t>(passed.count()));
    EXPECT_GT(line.received(), 4096U);
    enough = true;
    babbler.join();
}

TEST_F(LineOverTcp, ReadsAtMostWhatALineHolds) {
    constexpr std::size_t most = 131072;
    const std::size_t size = server.fill();
    ASSERT_GT(size, most);
    EXPECT_EQ(line.discard_input(), std::string(512, 'n'));
    std::string rest(size - most, '\0');
    const std::size_t got = line.receive(
        rest.data(), 0, [&](std::string_view) { return rest.size(); }, never);
    EXPECT_EQ(got, rest.size());
}

TEST(TcpOpening, ConnectsToAnIPv6AddressInBrackets) {
    std::unique_ptr<DeviceServer> server;
    try {
        server = std::make_unique<DeviceServer>(DeviceServer::Family::ipv6);
    } catch (const std::runtime_error &) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    const StopSignal stop;
    Line line(settings(server->path()), stop);
    server->accept();
    line.send("x", 1);
    EXPECT_EQ(server->take(1), "x");
}

TEST(TcpOpening, ConnectsToWhatTheSystemMakesOfAHost) {
    DeviceServer server;
    const StopSignal stop;
    // A form of 127.0.0.1 that is handled like a name; not every machine has a name of its own.
    Line line(settings("tcp:127.1:" + std::to_string(server.port())), stop);
    server.accept();
    line.send("x", 1);
    EXPECT_EQ(server.take(1), "x");
}

TEST(TcpOpening, SendsAtOnceAndNoticesAServerThatHasVanished) {
    DeviceServer server;
    const StopSignal stop;
    const kelpo::Descriptor tcp = kelpo::connect_tcp(server.path(), stop);
    EXPECT_EQ(option(tcp, IPPROTO_TCP, TCP_NODELAY), 1);
    EXPECT_EQ(option(tcp, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(option(tcp, IPPROTO_TCP, TCP_KEEPIDLE), 4);
    EXPECT_EQ(option(tcp, IPPROTO_TCP, TCP_KEEPINTVL), 2);
    EXPECT_EQ(option(tcp, IPPROTO_TCP, TCP_KEEPCNT), 3);
    EXPECT_EQ(option(tcp, IPPROTO_TCP, TCP_USER_TIMEOUT), 10000);
}

TEST(TcpOpening, SaysWhenNothingListens) {
    DeviceServer server;
    server.stop_listening();
    EXPECT_EQ(message_on_opening(settings(server.path())),
              server.path() + ": connection refused; does the device server have a line at this port, and is it free?");
}

TEST(TcpOpening, SaysWhenTheHostIsNotKnown) {
    const std::string path = "tcp:no-such-host.invalid:4001", message = message_on_opening(settings(path));
    EXPECT_EQ(message.find(path + ": the "), 0U) << message;
    EXPECT_NE(message.find("no-such-host.invalid", path.size()), std::string::npos) << message;
}

TEST(TcpOpening, SaysHowAPathIsWritten) {
    const std::string right = "; write tcp:HOST:PORT, such as tcp:192.168.0.7:4001 or tcp:[fd00::7]:4001";
    const std::pair<const char *, const char *> wrong[] = {
        {"tcp:", "the port is missing"},
        {"tcp:10.0.0.5", "the port is missing"},
        {"tcp:[::1]", "the port is missing"},
        {"tcp:[::1]4001", "the port is missing"},
        {"tcp::4001", "the host is missing"},
        {"tcp:[]:4001", "the host is missing"},
        {"tcp:[::1:4001", "the bracket is not closed"},
        {"tcp:fd00::7:4001", "an IPv6 address must be in brackets"},
        {"tcp:host:", "the port is a number from 1 to 65535"},
        {"tcp:host:0", "the port is a number from 1 to 65535"},
        {"tcp:host:65536", "the port is a number from 1 to 65535"},
        {"tcp:host:999999999999999999999", "the port is a number from 1 to 65535"},
        {"tcp:host:-1", "the port is a number from 1 to 65535"},
        {"tcp:host:modbus", "the port is a number from 1 to 65535"},
        {"tcp:host: 502", "the port is a number from 1 to 65535"},
    };
    for (const auto &[path, what] : wrong)
        EXPECT_EQ(message_on_opening(settings(path)), path + std::string(": ") + what + right);
}

TEST(TcpOpening, ReadsHostAndPort) {
    EXPECT_EQ(kelpo::tcp_peer("tcp:plc-7.works:65535").host, "plc-7.works");
    EXPECT_EQ(kelpo::tcp_peer("tcp:plc-7.works:65535").port, 65535);
    EXPECT_EQ(kelpo::tcp_peer("tcp:[fd00::7]:1").host, "fd00::7");
    EXPECT_EQ(kelpo::tcp_peer("tcp:[fd00::7]:1").port, 1);
}

TEST(TcpOpening, LeavesTheTransmitterToTheDeviceServer) {
    LineSettings wrong = settings("tcp:127.0.0.1:4001");
    wrong.rs485 = true;
    EXPECT_EQ(message_on_opening(wrong),
              "tcp:127.0.0.1:4001: the device server switches the RS-485 transmitter; take rs485 out");
}

// A server whose queue of connections is full: further clients get no answer.
class SilentServer {
public:
    SilentServer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *const generic = reinterpret_cast<sockaddr *>(&address);
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(listener_, generic, size), 0);
        EXPECT_EQ(listen(listener_, 0), 0);
        EXPECT_EQ(getsockname(listener_, generic, &size), 0);
        for (int &filler : fillers_) {
            filler = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            connect(filler, generic, size);
        }
        path_ = "tcp:127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    ~SilentServer() {
        for (const int filler : fillers_)
            close(filler);
        close(listener_);
    }
    SilentServer(const SilentServer &) = delete;
    SilentServer &operator=(const SilentServer &) = delete;

    const std::string &path() const {
        return path_;
    }

private:
    int listener_;
    int fillers_[3];
    std::string path_;
};

TEST(TcpOpening, GivesUpAServerThatDoesNotAnswer) {
    const SilentServer server;
    const StopSignal stop;
    EXPECT_EQ(message_of([&] { kelpo::connect_tcp(server.path(), stop, milliseconds(50)); }),
              server.path() + ": no answer; is the device server switched on, and is this its address?");
}

TEST(TcpOpening, EndsWhenAnotherThreadAsks) {
    const SilentServer server;
    StopSignal stop;
    std::thread other([&] { stop.raise(); });
    EXPECT_EQ(message_of([&] { kelpo::connect_tcp(server.path(), stop, std::chrono::hours(1)); }),
              server.path() + ": stopped before it was connected");
    other.join();
}

}  // namespace
