#include "host/line/line_note.h"

#include "host/line/line.h"
#include "process.h"
#include "pseudo_terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>

namespace {

using kelpo::Line;
using kelpo::LineNote;
using kelpo::LineSettings;
using kelpo::StopSignal;
using std::chrono::seconds;

LineSettings settings(const std::string &path) {
    LineSettings result;
    result.path = path;
    return result;
}

class Note : public testing::Test {
protected:
    Note() {
        std::error_code ignored;
        std::filesystem::remove(file(), ignored);
    }
    ~Note() override {
        std::error_code ignored;
        std::filesystem::remove(file(), ignored);
    }
    Note(const Note &) = delete;
    Note &operator=(const Note &) = delete;

    std::string file() const {
        std::string name = terminal.path();
        std::replace(name.begin(), name.end(), '/', '-');
        return (std::filesystem::is_directory("/run/lock") ? "/run/lock/kelpo-line-" : "/tmp/kelpo-line-") + name;
    }
    // What the next one to open the line is told.
    std::chrono::nanoseconds left() const {
        const StopSignal stop;
        return Line(settings(terminal.path()), stop).left_by_others();
    }
    void expect_for(std::chrono::nanoseconds time) const {
        const StopSignal stop;
        Line line(settings(terminal.path()), stop);
        line.expect_replies_until(line.now() + time);
    }

    PseudoTerminal terminal;
};

TEST_F(Note, SaysNothingOfALineThatNobodyHasUsed) {
    EXPECT_EQ(left().count(), 0);
}

TEST_F(Note, TellsTheNextOneUntilWhenRepliesCanCome) {
    expect_for(seconds(20));
    EXPECT_GT(left(), seconds(10));
    EXPECT_LE(left(), seconds(25));
}

TEST_F(Note, IsForHalfAMinuteAtMost) {
    expect_for(seconds(3000));
    EXPECT_EQ(left(), seconds(30));
}

TEST_F(Note, GoesWhenEverythingWasAnswered) {
    {
        const StopSignal stop;
        Line line(settings(terminal.path()), stop);
        line.expect_replies_until(line.now() + seconds(20));
        EXPECT_TRUE(std::filesystem::exists(file()));
        line.expect_no_reply_after(std::nullopt);
    }
    EXPECT_FALSE(std::filesystem::exists(file()));
    EXPECT_EQ(left().count(), 0);
}

TEST_F(Note, BecomesExactAtTheEnd) {
    const StopSignal stop;
    {
        Line line(settings(terminal.path()), stop);
        line.expect_replies_until(line.now() + seconds(20));
        line.expect_no_reply_after(line.now() + seconds(10));
    }
    EXPECT_LE(left(), seconds(10));
    EXPECT_GT(left().count(), 0);
}

TEST_F(Note, IsOfOneTimeTheSystemRanAndOfOneLineOfThatName) {
    expect_for(seconds(20));
    std::string text;
    std::getline(std::ifstream(file()), text);
    ASSERT_GT(text.size(), 60U);
    for (const std::size_t changed : {std::size_t(25), text.size() - 1}) {
        std::string other = text;
        other[changed] = other[changed] == '1' ? '2' : '1';
        std::ofstream(file()) << other << "\n";
        EXPECT_EQ(left().count(), 0) << other;
    }
    std::ofstream(file()) << text << "\n";
    EXPECT_GT(left(), seconds(10));
}

TEST_F(Note, IsNotBelievedWhenItIsNone) {
    for (const char *text : {"", "1", "99999999999999999999999999999999", "-5 x y\n", "\n\n\n"}) {
        std::ofstream(file()) << text;
        EXPECT_EQ(left().count(), 0) << text;
    }
}

TEST_F(Note, FollowsNoLinkAndOpensNothingButAFile) {
    const TemporaryDirectory directory;
    std::ofstream(directory.file("other")) << "untouched";
    std::filesystem::create_symlink(directory.file("other"), file());
    expect_for(seconds(20));
    EXPECT_EQ(left().count(), 0);
    std::string text;
    std::getline(std::ifstream(directory.file("other")), text);
    EXPECT_EQ(text, "untouched");

    std::filesystem::remove(file());
    std::filesystem::create_hard_link(directory.file("other"), directory.file("second"));
    std::error_code error;
    std::filesystem::rename(directory.file("second"), file(), error);
    if (!error) {  // the same file system
        expect_for(seconds(20));
        std::getline(std::ifstream(directory.file("other")), text);
        EXPECT_EQ(text, "untouched");
        std::filesystem::remove(file());
    }
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    expect_for(seconds(20));
    EXPECT_EQ(left().count(), 0);
}

TEST_F(Note, IsWrittenByThoseWhoMayUseTheLine) {
    expect_for(seconds(20));
    struct stat line {
    }, note{};
    ASSERT_EQ(stat(terminal.path().c_str(), &line), 0);
    ASSERT_EQ(stat(file().c_str(), &note), 0);
    EXPECT_EQ(note.st_mode & 0007U, 0U);
    if (note.st_gid == line.st_gid) {
        EXPECT_EQ(note.st_mode & 0777U, line.st_mode & 0660U);
    } else {
        EXPECT_EQ(note.st_mode & 0777U, 0600U);
    }
}

}  // namespace
