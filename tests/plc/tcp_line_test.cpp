#include "plc/line/tcp_line.h"

#include "hex.h"
#include "tcp_client.h"
#include "waiting.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <system_error>

#include <sys/socket.h>
#include <unistd.h>

namespace plc {
namespace {

class TcpLineTest : public testing::Test {
protected:
    // What comes until `count` bytes are there.
    Bytes received(std::size_t count) {
        Bytes all;
        while (all.size() < count && becomes_readable(line_.descriptor()))
            all = joined(all, line_.receive());
        return all;
    }

    // A client whose bytes the line has seen.
    Descriptor client_on_the_line(char greeting) {
        Descriptor client = connect_to(line_.name());
        EXPECT_EQ(::write(client.number(), &greeting, 1), 1);
        EXPECT_EQ(received(1), Bytes{static_cast<std::uint8_t>(greeting)});
        return client;
    }

    // What comes to the client until `count` bytes are there or the line leaves it.
    static Bytes received_by(const Descriptor &client, std::size_t count) {
        Bytes all;
        while (all.size() < count && becomes_readable(client.number())) {
            Bytes piece(count - all.size());
            const ssize_t got = ::read(client.number(), piece.data(), piece.size());
            if (got <= 0)
                break;
            piece.resize(static_cast<std::size_t>(got));
            all = joined(all, piece);
        }
        return all;
    }

    // Lets the line see what has happened, which has nothing to give.
    void let_the_line_look() {
        ASSERT_TRUE(becomes_readable(line_.descriptor()));
        EXPECT_EQ(line_.receive(), Bytes());
    }

    TcpLine line_{TcpAddress()};
};

TEST_F(TcpLineTest, HasThePortThatTheSystemChose) {
    EXPECT_EQ(line_.name().rfind("tcp:127.0.0.1:", 0), 0u) << line_.name();
    EXPECT_NE(line_.name(), "tcp:127.0.0.1:0");
}

TEST_F(TcpLineTest, CarriesBytesBothWays) {
    const Descriptor client = client_on_the_line('x');
    EXPECT_TRUE(line_.send(hex("00 0A 0D 11 13 FF")));
    EXPECT_EQ(received_by(client, 6), hex("00 0A 0D 11 13 FF"));
    ASSERT_EQ(::write(client.number(), "\0\n\r\x11\x13\xFF", 6), 6);
    EXPECT_EQ(received(6), hex("00 0A 0D 11 13 FF"));
}

TEST_F(TcpLineTest, GivesNothingWhenNothingHasCome) {
    EXPECT_EQ(line_.receive(), Bytes());
    const Descriptor client = client_on_the_line('x');
    EXPECT_EQ(line_.receive(), Bytes());
}

TEST_F(TcpLineTest, DropsWhatIsSentWithoutAClient) {
    EXPECT_FALSE(line_.send(hex("01")));
    const Descriptor client = client_on_the_line('x');
    EXPECT_TRUE(line_.send(hex("02")));
    EXPECT_EQ(received_by(client, 1), hex("02"));
}

TEST_F(TcpLineTest, ServesOneClientAfterAnother) {
    for (int visit = 0; visit < 3; ++visit) {
        Descriptor client = client_on_the_line('x');
        EXPECT_TRUE(line_.send(hex("02")));
        EXPECT_EQ(received_by(client, 1), hex("02"));
        client.close();
        let_the_line_look();
        EXPECT_FALSE(line_.send(hex("03")));
    }
}

TEST_F(TcpLineTest, OutlivesAClientThatResetsTheConnection) {
    Descriptor client = client_on_the_line('x');
    const linger at_once = {1, 0};
    ASSERT_EQ(::setsockopt(client.number(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once), 0);
    client.close();
    let_the_line_look();
    const Descriptor next = client_on_the_line('y');
    EXPECT_TRUE(line_.send(hex("02")));
    EXPECT_EQ(received_by(next, 1), hex("02"));
}

TEST_F(TcpLineTest, ReplacesAClientWithANewOne) {
    const Descriptor first = client_on_the_line('x');
    const Descriptor second = client_on_the_line('y');
    EXPECT_TRUE(line_.send(hex("02")));
    EXPECT_EQ(received_by(second, 1), hex("02"));
    EXPECT_EQ(received_by(first, 1), Bytes());
}

TEST_F(TcpLineTest, ReadsTheLastBytesOfAClientBeforeItIsReplaced) {
    const Descriptor first = client_on_the_line('x');
    ASSERT_EQ(::write(first.number(), "z", 1), 1);
    const Descriptor second = connect_to(line_.name());
    EXPECT_EQ(received(1), hex("7A"));
}

TEST_F(TcpLineTest, LosesBytesRatherThanWaitForAClientThatDoesNotRead) {
    const Descriptor client = client_on_the_line('x');
    const Bytes block(65536);
    int sent_whole = 0;
    while (sent_whole < 10000 && line_.send(block))
        ++sent_whole;
    EXPECT_LT(sent_whole, 10000);
}

TEST_F(TcpLineTest, IsNotOpenedTwiceAtOnePlace) {
    const TcpAddress same = parse_tcp_address(line_.name().substr(4));
    try {
        const TcpLine second(same);
        FAIL() << "opened";
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.what(), "cannot listen at " + line_.name().substr(4) + ": Address already in use");
    }
}

TEST(TcpAddressText, IsAPortOrAnAddressAndAPort) {
    EXPECT_EQ(parse_tcp_address("5020").host, "127.0.0.1");
    EXPECT_EQ(parse_tcp_address("5020").port, 5020);
    EXPECT_EQ(parse_tcp_address("10.0.0.1:0").host, "10.0.0.1");
    EXPECT_EQ(parse_tcp_address("10.0.0.1:0").port, 0);
}

TEST(TcpAddressText, IsRefusedOtherwise) {
    for (const std::string text : {"", ":", ":1", "1:", "65536", "-1", "x", "localhost:1", "127.0.0.1:", "1.2.3:4"})
        EXPECT_THROW(parse_tcp_address(text), std::invalid_argument) << text;
}

}  // namespace
}  // namespace plc
