#include <filesystem>
#include <fstream>
#include <numeric>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include "hex.h"
#include "plc/line.h"
#include "temporary_folder.h"

namespace plc {
namespace {

constexpr int generous_ms = 30000;

int open_client(const Line &line) {
    return ::open(line.client_path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

bool becomes_readable(int descriptor) {
    pollfd watched = {descriptor, POLLIN, 0};
    return ::poll(&watched, 1, generous_ms) == 1;
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

TEST(Line, CarriesEveryByteUnchangedBothWays) {
    Line line;
    const Descriptor client(open_client(line));
    ASSERT_EQ(::write(client.number(), every_byte().data(), 256), 256);
    EXPECT_EQ(received_by(line, 256), every_byte());
    EXPECT_TRUE(line.send(every_byte()));
    EXPECT_EQ(received_by_client(client.number(), 256), every_byte());
}

TEST(Line, GivesNothingWhenNothingHasCome) {
    Line line;
    EXPECT_EQ(line.receive(), Bytes());
}

TEST(Line, OutlivesItsClients) {
    Line line;
    for (int visit = 0; visit < 3; ++visit) {
        const Descriptor client(open_client(line));
        ASSERT_EQ(::write(client.number(), "x", 1), 1);
        EXPECT_EQ(received_by(line, 1), hex("78"));
    }
    EXPECT_EQ(line.receive(), Bytes());
}

TEST(Line, LosesBytesRatherThanWaitForAClientThatDoesNotRead) {
    Line line;
    int sent_whole = 0;
    while (sent_whole < 100000 && line.send(every_byte()))
        ++sent_whole;
    EXPECT_GT(sent_whole, 0);
    EXPECT_LT(sent_whole, 100000);
}

class LineLinkTest : public testing::Test {
protected:
    std::string target() const {
        return std::filesystem::read_symlink(path_).string();
    }

    bool exists() const {
        return std::filesystem::symlink_status(path_).type() != std::filesystem::file_type::not_found;
    }

    Line line_;
    TemporaryFolder folder_;
    std::string path_ = folder_ / "link";
};

TEST_F(LineLinkTest, LeadsToTheLineAndGoesAtTheEnd) {
    {
        const LineLink link(path_, line_.client_path());
        EXPECT_EQ(target(), line_.client_path());
    }
    EXPECT_FALSE(exists());
}

TEST_F(LineLinkTest, ReplacesALinkThatAnEarlierRunLeft) {
    std::filesystem::create_symlink("/dev/pts/999999", path_);
    const LineLink link(path_, line_.client_path());
    EXPECT_EQ(target(), line_.client_path());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(std::filesystem::path(path_).parent_path()), {}), 1);
}

TEST_F(LineLinkTest, RefusesTheNameOfAFile) {
    std::ofstream(path_) << "my diary";
    EXPECT_THROW(LineLink(path_, line_.client_path()), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_regular_file(path_));
}

TEST_F(LineLinkTest, RefusesTheNameOfALinkToAnythingElse) {
    std::filesystem::create_symlink("/etc/hostname", path_);
    EXPECT_THROW(LineLink(path_, line_.client_path()), std::runtime_error);
    EXPECT_EQ(target(), "/etc/hostname");
}

TEST_F(LineLinkTest, RefusesAFolderThatIsNotThere) {
    EXPECT_THROW(LineLink(folder_ / "nowhere/link", line_.client_path()), std::runtime_error);
}

TEST_F(LineLinkTest, LeavesALinkThatAnotherRunHasTakenOver) {
    const Line other;
    {
        const LineLink link(path_, line_.client_path());
        std::filesystem::remove(path_);
        std::filesystem::create_symlink(other.client_path(), path_);
    }
    EXPECT_EQ(target(), other.client_path());
}

}  // namespace
}  // namespace plc
