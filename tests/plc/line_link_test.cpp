#include "plc/line/line_link.h"

#include "plc/line/pty_line.h"
#include "temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace plc {
namespace {

class LineLinkTest : public testing::Test {
protected:
    std::string target() const {
        return std::filesystem::read_symlink(path_).string();
    }

    bool exists() const {
        return std::filesystem::symlink_status(path_).type() != std::filesystem::file_type::not_found;
    }

    PtyLine line_;
    TemporaryFolder folder_;
    std::string path_ = folder_ / "link";
};

TEST_F(LineLinkTest, LeadsToTheLineAndGoesAtTheEnd) {
    {
        const LineLink link(path_, line_.name());
        EXPECT_EQ(target(), line_.name());
    }
    EXPECT_FALSE(exists());
}

TEST_F(LineLinkTest, ReplacesALinkThatAnEarlierRunLeft) {
    std::filesystem::create_symlink("/dev/pts/999999", path_);
    const LineLink link(path_, line_.name());
    EXPECT_EQ(target(), line_.name());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(std::filesystem::path(path_).parent_path()), {}), 1);
}

TEST_F(LineLinkTest, RefusesTheNameOfAFile) {
    std::ofstream(path_) << "my diary";
    EXPECT_THROW(LineLink(path_, line_.name()), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_regular_file(path_));
}

TEST_F(LineLinkTest, RefusesTheNameOfALinkToAnythingElse) {
    std::filesystem::create_symlink("/etc/hostname", path_);
    EXPECT_THROW(LineLink(path_, line_.name()), std::runtime_error);
    EXPECT_EQ(target(), "/etc/hostname");
}

TEST_F(LineLinkTest, RefusesAFolderThatIsNotThere) {
    EXPECT_THROW(LineLink(folder_ / "nowhere/link", line_.name()), std::runtime_error);
}

TEST_F(LineLinkTest, LeavesALinkThatAnotherRunHasTakenOver) {
    const PtyLine other;
    {
        const LineLink link(path_, line_.name());
        std::filesystem::remove(path_);
        std::filesystem::create_symlink(other.name(), path_);
    }
    EXPECT_EQ(target(), other.name());
}

}  // namespace
}  // namespace plc
