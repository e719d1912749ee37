#include "host/line/line_note.h"

#include "host/line/line.h"
#include "line_material.h"
#include "process.h"
#include "pseudo_terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

using kelpo::Line;
using kelpo::LineNote;
using kelpo::StopSignal;
using lines::settings;
using std::chrono::milliseconds;
using std::chrono::seconds;

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
    kelpo::LineNote note() const {
        return {terminal.path(), port};
    }
    // What the next program that opens the line reads.
    std::chrono::nanoseconds left() const {
        return note().left_by_others().time;
    }
    void expect_for(std::chrono::nanoseconds time) const {
        note().expect_replies_until(LineNote::Time::clock::now() + time, seconds(3));
    }

    PseudoTerminal terminal;
    const kelpo::Descriptor port{open(terminal.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)};
};

TEST_F(Note, SaysNothingAboutALineThatWasNotUsed) {
    EXPECT_EQ(left().count(), 0);
}

TEST_F(Note, LetsTheNextOneKnowUntilWhenRepliesCanCome) {
    expect_for(seconds(20));
    EXPECT_GT(left(), seconds(10));
    EXPECT_LE(left(), seconds(25));
}

TEST_F(Note, IsForHalfAMinuteAtMost) {
    expect_for(seconds(3000));
    EXPECT_EQ(left(), seconds(30));
}

TEST_F(Note, SaysHowLongAfterEachReplyTheNextOneCanCome) {
    expect_for(seconds(20));
    EXPECT_EQ(note().left_by_others().patience, seconds(3));
    note().expect_replies_until(LineNote::Time::clock::now() - seconds(1), seconds(3));
    EXPECT_EQ(note().left_by_others().patience, seconds(0));
}

TEST_F(Note, GoesWhenEverythingWasAnswered) {
    LineNote ours = note();
    ours.expect_replies_until(LineNote::Time::clock::now() + seconds(20), seconds(3));
    EXPECT_TRUE(std::filesystem::exists(file()));
    ours.settle(std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(file()));
    EXPECT_EQ(left().count(), 0);
}

TEST_F(Note, RemovesNoOtherNoteThatIsInItsPlace) {
    LineNote ours = note();
    ours.expect_replies_until(LineNote::Time::clock::now() + seconds(20), seconds(3));
    std::filesystem::remove(file());
    expect_for(seconds(20));
    ours.settle(std::nullopt);
    EXPECT_GT(left(), seconds(10));
}

TEST_F(Note, IsAboutTheTerminalThatIsOpenWhateverItsNameLeadsToByNow) {
    const TemporaryDirectory directory;
    const PseudoTerminal other;
    std::filesystem::create_symlink(other.path(), directory.file("link"));
    LineNote(directory.file("link"), port).expect_replies_until(LineNote::Time::clock::now() + seconds(20), seconds(3));
    EXPECT_GT(left(), seconds(10));
}

TEST_F(Note, IsReadAlsoWhenALongerOneWasThereBefore) {
    std::ofstream(file()) << std::string(200, '7') << "\n";
    expect_for(seconds(20));
    EXPECT_GT(left(), seconds(10));
}

TEST_F(Note, BecomesExactAtTheEnd) {
    const LineNote::Time now = LineNote::Time::clock::now();
    LineNote ours = note();
    ours.expect_replies_until(now + seconds(20), seconds(3));
    ours.settle(now + seconds(10));
    EXPECT_LE(left(), seconds(10));
    EXPECT_GT(left().count(), 0);
}

// A program that asked several times left several requests, and the controller may answer them one by one.
TEST_F(Note, MakesTheNextOneListenOnAfterEachReply) {
    static constexpr milliseconds patience(600);
    note().expect_replies_until(LineNote::Time::clock::now() + seconds(60), patience);
    const StopSignal stop;
    Line line(settings(terminal.path()), stop);
    terminal.put("late");
    terminal.wait_until_arrived(4);
    const auto from = line.now();
    std::thread later([this] {
        std::this_thread::sleep_for(patience / 2);
        terminal.put("later");
    });
    line.settle_after_others(milliseconds(0));
    EXPECT_GE(line.now() - from, patience + patience / 2);
    EXPECT_EQ(line.received(), 9U);
    later.join();
}

TEST_F(Note, IsOfOneTimeTheSystemRanAndOfOneLineOfThatName) {
    expect_for(seconds(20));
    std::string text;
    std::getline(std::ifstream(file()), text);
    ASSERT_GT(text.size(), 60U);
    for (const std::size_t changed : {std::size_t(45), text.size() - 1}) {
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

TEST_F(Note, FollowsNoLinkAndOpensOnlyAFile) {
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
