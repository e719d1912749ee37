#include "plc/line/pty_line.h"

#include "hex.h"
#include "waiting.h"

#include <gtest/gtest.h>

#include <numeric>

#include <fcntl.h>
#include <unistd.h>

namespace plc {
namespace {

int open_client(const PtyLine &line) {
    return ::open(line.name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

Bytes received_by(Line &line, std::size_t count) {
    Bytes all;
    while (all.size() < count && becomes_readable(line.descriptor()))
        all = joined(all, line.receive());
    return all;
}

Bytes received_by_client(int client, std::size_t count) {
    Bytes all;
    while (all.size() < count && becomes_readable(client)) {
        Bytes piece(count - all.size());
        const ssize_t got = ::read(client, piece.data(), piece.size());
        if (got <= 0)
            break;
        piece.resize(static_cast<std::size_t>(got));
        all = joined(all, piece);
    }
    return all;
}

Bytes every_byte() {
    Bytes bytes(256);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t(0));
    return bytes;
}

TEST(PtyLine, CarriesEveryByteUnchangedBothWays) {
    PtyLine line;
    const Descriptor client(open_client(line));
    ASSERT_EQ(::write(client.number(), every_byte().data(), 256), 256);
    EXPECT_EQ(received_by(line, 256), every_byte());
    EXPECT_TRUE(line.send(every_byte()));
    EXPECT_EQ(received_by_client(client.number(), 256), every_byte());
}

TEST(PtyLine, GivesNothingWhenNothingHasCome) {
    PtyLine line;
    EXPECT_EQ(line.receive(), Bytes());
}

TEST(PtyLine, OutlivesItsClients) {
    PtyLine line;
    for (int visit = 0; visit < 3; ++visit) {
        const Descriptor client(open_client(line));
        ASSERT_EQ(::write(client.number(), "x", 1), 1);
        EXPECT_EQ(received_by(line, 1), hex("78"));
    }
    EXPECT_EQ(line.receive(), Bytes());
}

TEST(PtyLine, LosesBytesRatherThanWaitForAClientThatDoesNotRead) {
    PtyLine line;
    int sent_whole = 0;
    while (sent_whole < 100000 && line.send(every_byte()))
        ++sent_whole;
    EXPECT_GT(sent_whole, 0);
    EXPECT_LT(sent_whole, 100000);
}

}  // namespace
}  // namespace plc
