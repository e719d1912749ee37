#include "demo/screen.h"

#include "pseudo_terminal.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

using kelpo::Cell;
using kelpo::Screen;
using kelpo::table_of;

std::vector<Cell> cells(int count) {
    std::vector<Cell> result;
    for (int i = 0; i < count; ++i)
        result.push_back(
            {"name " + std::to_string(i), 1, 12, "8004.0", std::to_string(1000000 + i), Cell::Mark::plain});
    return result;
}

std::size_t widest(const std::vector<std::string> &lines) {
    std::size_t width = 0;
    for (const std::string &line : lines)
        width = std::max(width, line.size());
    return width;
}

int values_in(const std::vector<std::string> &lines) {
    int count = 0;
    for (const std::string &line : lines)
        for (std::size_t at = line.find("10000"); at != std::string::npos; at = line.find("10000", at + 1))
            ++count;
    return count;
}

TEST(Table, ShowsSixtyThreeCellsOn79By22) {
    const auto lines = table_of(cells(63), {79, 22}, 0, false);
    EXPECT_EQ(lines.size(), 22U);
    EXPECT_LE(widest(lines), 79U);
    EXPECT_EQ(values_in(lines), 63);
}

TEST(Table, GoesDownTheColumns) {
    const auto lines = table_of(cells(3), {79, 3}, 0, false);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1], " 1 12 8004.0      1000000         1 12 8004.0      1000002");
    EXPECT_EQ(lines[2], " 1 12 8004.0      1000001");
}

TEST(Table, ShowsNamesWhereTheyFit) {
    const auto lines = table_of(cells(1), {79, 22}, 0, false);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "st ty addr   name                     value");
    EXPECT_EQ(lines[1], " 1 12 8004.0 name 0                 1000000");
}

TEST(Table, TurnsPagesWhereTheTerminalIsTooLow) {
    int shown = 0;
    for (std::size_t page = 0; page < 4; ++page) {
        const auto lines = table_of(cells(60), {79, 6}, page, false);
        EXPECT_EQ(lines.size(), 6U);
        shown += values_in(lines);
    }
    EXPECT_EQ(shown, 60);
    EXPECT_EQ(table_of(cells(60), {79, 6}, 4, false), table_of(cells(60), {79, 6}, 0, false));
}

TEST(Table, SurvivesTheSmallestTerminal) {
    EXPECT_EQ(table_of(cells(5), {1, 1}, 3, false).size(), 2U);
    EXPECT_EQ(table_of({}, {79, 22}, 3, false).size(), 1U);
}

TEST(Table, CutsAValueThatIsTooLong) {
    std::vector<Cell> one = cells(1);
    one[0].value = "123456789 123456789";
    EXPECT_EQ(table_of(one, {30, 2}, 0, false)[1], " 1 12 8004.0 123456789 1~");
}

TEST(Table, MarksValuesOnlyWhenStyled) {
    std::vector<Cell> one = cells(1);
    one[0].mark = Cell::Mark::wrong;
    EXPECT_EQ(table_of(one, {30, 2}, 0, false)[1].find('\x1b'), std::string::npos);
    EXPECT_NE(table_of(one, {30, 2}, 0, true)[1].find("\x1b[1;31m"), std::string::npos);
}

// Sets a variable of the environment as long as it exists.
class Environment {
public:
    Environment(const char *name, const char *value) : name_(name) {
        if (const char *before = std::getenv(name))
            before_ = before;
        value == nullptr ? unsetenv(name) : setenv(name, value, 1);
    }
    ~Environment() {
        before_ ? setenv(name_, before_->c_str(), 1) : unsetenv(name_);
    }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;

private:
    const char *name_;
    std::optional<std::string> before_;
};

// What a terminal of 80 x 24 shows.
std::string seen_on_terminal(const std::vector<Cell> &shown, const std::vector<std::string> &events = {}) {
    PseudoTerminal terminal;
    const int descriptor = open(terminal.path().c_str(), O_RDWR | O_NOCTTY);
    termios raw{};
    tcgetattr(descriptor, &raw);
    cfmakeraw(&raw);
    tcsetattr(descriptor, TCSANOW, &raw);
    winsize size{};
    size.ws_row = 24;
    size.ws_col = 80;
    ioctl(descriptor, TIOCSWINSZ, &size);
    {
        Screen screen(descriptor, "title");
        for (const std::string &event : events)
            screen.show_event(event);
        screen.show(shown, "status");
    }
    std::string seen = terminal.take_all();
    close(descriptor);
    return seen;
}

bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST(Screen, GivesTheTerminalBackAsItWas) {
    const Environment type("TERM", "xterm");
    const std::string seen = seen_on_terminal(cells(3));
    EXPECT_EQ(seen.find("\x1b[?1049h\x1b[?25l"), 0U);
    EXPECT_TRUE(ends_with(seen, "\x1b[?25h\x1b[?1049l"));
    EXPECT_NE(seen.find("title"), std::string::npos);
    EXPECT_NE(seen.find("1000002"), std::string::npos);
    EXPECT_NE(seen.find("status"), std::string::npos);
}

TEST(Screen, ShowsTheLastEventsBelowTheTable) {
    const Environment type("TERM", "xterm");
    const std::string seen = seen_on_terminal(cells(3), {"first event", "second event", "third event"});
    EXPECT_EQ(seen.find("first event"), std::string::npos);
    const auto second = seen.find("second event"), third = seen.find("third event");
    ASSERT_NE(third, std::string::npos);
    EXPECT_LT(seen.find("1000002"), second);
    EXPECT_LT(second, third);
    EXPECT_LT(third, seen.find("status"));
}

TEST(Screen, HasNoStylesWhereColoursAreNotWanted) {
    const Environment type("TERM", "xterm");
    std::vector<Cell> fresh = cells(1);
    fresh[0].mark = Cell::Mark::fresh;
    {
        const Environment colour("NO_COLOR", nullptr);
        EXPECT_NE(seen_on_terminal(fresh).find("\x1b[1m"), std::string::npos);
    }
    const Environment colour("NO_COLOR", "1");
    EXPECT_EQ(seen_on_terminal(fresh).find("\x1b[1m"), std::string::npos);
}

TEST(Screen, WritesPlainLinesWhereThereIsNoTerminal) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    {
        Screen screen(ends[1], "title");
        screen.show_event("first event");
        screen.show_event("second event");
        screen.show_event("third event");
        screen.show(cells(3), "status");
    }
    close(ends[1]);
    char text[100];
    const ssize_t size = read(ends[0], text, sizeof text);
    close(ends[0]);
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(size)),
              "title\nfirst event\nsecond event\nthird event\nstatus\n");
}

}  // namespace
