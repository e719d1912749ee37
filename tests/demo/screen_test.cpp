#include "demo/screen.h"

#include <gmock/gmock.h>

#include <sstream>

namespace kelpo {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

constexpr PollScreenSize small{80, 24};

Screen::Content content(int variables) {
    Screen::Content content;
    for (int i = 0; i < variables; ++i) {
        const Variable variable{"name " + std::to_string(i), 1, 7, std::to_string(i), 1, View::unsigned_words};
        content.rows.push_back(row_of(variable));
        content.rows.back().value = std::to_string(1000 + i);
    }
    content.stations = {{1, PollStation::State::answers, {}, {}}};
    content.link.line_open = true;
    content.status = "right 12, wrong 0";
    return content;
}

std::string text_of(const PollScreen &screen) {
    std::string text;
    for (const ScreenLine &line : screen.lines) {
        for (const TextSpan &span : line)
            text += span.text;
        text += "\n";
    }
    return text;
}

std::string page_after(std::chrono::seconds time) {
    return text_of(demo_screen("title", content(60), {}, time, small));
}

TEST(DemoScreen, ShowsOnePageAfterTheOther) {
    const std::string first = page_after(0s), second = page_after(3s);
    EXPECT_THAT(first, HasSubstr("name 0 "));
    EXPECT_THAT(first, Not(HasSubstr("name 59 ")));
    EXPECT_NE(first, second);
    std::string pages;
    for (auto time = 0s; time < 60s; time += 3s)
        pages += page_after(time);
    for (int i = 0; i < 60; ++i)
        EXPECT_THAT(pages, HasSubstr("name " + std::to_string(i) + " "));
    EXPECT_EQ(page_after(1s), first);
}

TEST(DemoScreen, ShowsEventsStateAndStatus) {
    const std::string shown = text_of(
        demo_screen("title", content(3), {{"write level = 5: right"}, {"write level = 6: WRONG, 5", true}}, 0s, small));
    EXPECT_THAT(shown, HasSubstr("title"));
    EXPECT_THAT(shown, HasSubstr("station  1 ok"));
    EXPECT_THAT(shown, HasSubstr("write level = 5: right\nwrite level = 6: WRONG, 5\n"));
    EXPECT_THAT(shown, HasSubstr("right 12, wrong 0\nq quit\n"));
    EXPECT_THAT(shown, Not(HasSubstr(">")));
}

TEST(DemoScreen, WritesPlainLinesWhereThereIsNoTerminal) {
    std::ostringstream out;
    Screen screen("title", out);
    screen.show_event({"first event"});
    screen.show_event({"second event"});
    screen.show(content(3));
    screen.show(content(3));
    EXPECT_EQ(out.str(), "title\nfirst event\nsecond event\nright 12, wrong 0\n");
}

}  // namespace
}  // namespace kelpo
