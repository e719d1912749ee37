#include "host/poll/poll_view.h"

#include "host/text/words.h"

#include <gmock/gmock.h>

#include <clocale>

#include <string>
#include <vector>

namespace kelpo {
namespace {

using namespace std::chrono_literals;
using Colour = TextStyle::Colour;
using State = PollRow::State;

std::string text_of(const ScreenLine &line) {
    std::string text;
    for (const TextSpan &span : line)
        text += span.text;
    return text;
}

/// Every line without the blanks at its end, each ended.
std::string text_of(const PollScreen &screen) {
    std::string text;
    for (const ScreenLine &line : screen.lines) {
        const std::string shown = text_of(line);
        text += shown.substr(0, shown.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

PollRow row(const std::string &name, int station, const std::string &place, const std::string &value,
            std::size_t widest_value, State state = State::asked) {
    PollRow row{name, station, place, value, widest_value, {}, {}, 0, state, false};
    if (!value.empty()) {
        row.age = 100ms;
        row.steady = 12s;
    }
    return row;
}

PollModel plant() {
    PollModel model;
    model.title = "kelpo poll plant.toml  5 variables in 4 blocks  /dev/ttyUSB0 9600 8E1";
    std::vector<PollRow> rows = {
        row("boiler temperature", 1, "7:2", "-150", 6),  row("boiler counter", 1, "7:4", "70001", 10),
        row("inlet gates", 1, "1:10 x8", "11011110", 8), row("mixer runs", 3, "9:8", "1", 5, State::down),
        row("spare", 4, "9:9", "", 5, State::off),
    };
    rows[1].steady = 300ms;
    rows[1].changes = 1203;
    rows[2].write_waits = true;
    rows[3].age = 83s;
    rows[3].steady = 2h;
    model.rows = PollRows(std::move(rows));
    model.selected = 1;
    model.link.line_open = true;
    model.link.counts.exchanges = 12345;
    model.link.counts.sent_again = 40;
    model.link.counts.given_up = 12;
    model.link.counts.bytes_sent = 98760;
    model.link.counts.bytes_received = 812;
    model.link.exchanges_per_second = 52.25;
    model.link.cycles = {9, 52ms, 55400us, 1520ms, 20ms};
    model.stations = {{1, PollStation::State::answers, {}, {}},
                      {2, PollStation::State::answers, {}, {}},
                      {3, PollStation::State::down, 83s, "no reply"},
                      {4, PollStation::State::off, {}, {}}};
    model.message = "write inlet gates = 11011111: queued";
    return model;
}

PollModel many_rows(std::size_t count) {
    PollModel model;
    model.title = "kelpo poll many.csv";
    std::vector<PollRow> rows;
    for (std::size_t i = 1; i <= count; ++i)
        rows.push_back(row("tag " + std::to_string(i), 1, "7:" + std::to_string(i), std::to_string(i), 6));
    model.rows = PollRows(std::move(rows));
    return model;
}

TEST(PollViewTest, ShowsEverythingOnASmallScreen) {
    EXPECT_EQ(text_of(poll_screen(plant(), {80, 14})),
              "kelpo poll plant.toml  5 variables in 4 blocks  /dev/ttyUSB0 9600 8E1   1-5 of 5\n"
              "line open  52.2 exchanges/s  cycle 52 ms  mean 55 ms  worst 1.52 s\n"
              "12345 exchanges  40 retries  12 give-ups  98.8 kB out  812 B in\n"
              "stations  3 DOWN 1m23: no reply  4 off  1 2 ok\n"
              "    st name               place        value   age steady change\n"
              "     1 boiler temperature 7:2           -150  0.1s    12s      0\n"
              ">*   1 boiler counter     7:4          70001  0.1s   0.3s   1203\n"
              " w   1 inlet gates        1:10 x8   11011110  0.1s    12s      0\n"
              " D   3 mixer runs         9:8              1  1m23   2h00      0\n"
              " O   4 spare              9:9              -     -      -      -\n"
              "\n"
              "\n"
              "write inlet gates = 11011111: queued\n"
              "q quit  space pause  w write  s station off/on  t trace  / find  ? help\n");
}

TEST(PollViewTest, ColoursWhatIsNotWell) {
    const PollScreen screen = poll_screen(plant(), {80, 14});
    const auto style_of_row = [&screen](std::size_t row) {
        return screen.lines[5 + row][0].style;
    };
    EXPECT_EQ(style_of_row(0), TextStyle());
    EXPECT_TRUE(style_of_row(1).reverse);
    EXPECT_EQ(style_of_row(3).colour, Colour::red);
    EXPECT_TRUE(style_of_row(4).dim);
    const ScreenLine &stations = screen.lines[3];
    ASSERT_GE(stations.size(), 2U);
    EXPECT_EQ(stations[1].text, "  3 DOWN 1m23: no reply");
    EXPECT_EQ(stations[1].style.colour, Colour::red);
}

TEST(PollViewTest, MarksARowWhoseStationAnswersButThatIsNotRead) {
    PollModel model = plant();
    model.rows = PollRows(std::vector<PollRow>{row("wrong", 1, "7:9", "", 5, State::failing)});
    model.selected = 0;
    const PollScreen screen = poll_screen(model, {80, 14});
    EXPECT_EQ(text_of(screen.lines[5]).substr(0, 6), ">E   1");
    EXPECT_EQ(screen.lines[5][0].style.colour, Colour::yellow);
}

TEST(PollViewTest, SaysThatTheLineIsLostWhyAndHowLong) {
    PollModel model = plant();
    model.link.line_error = "/dev/ttyUSB0: hung up";
    model.until_next_try = 2100ms;
    const PollScreen screen = poll_screen(model, {80, 14});
    EXPECT_EQ(text_of(screen.lines[1]), "LINE LOST, next try in 3 s: /dev/ttyUSB0: hung up");
    EXPECT_EQ(screen.lines[1][0].style.colour, Colour::red);
    EXPECT_EQ(text_of(screen.lines[3]), "stations  not heard without a line");
    model.until_next_try = -1s;
    EXPECT_EQ(text_of(poll_screen(model, {80, 14}).lines[1]), "LINE LOST, next try in 0 s: /dev/ttyUSB0: hung up");
}

TEST(PollViewTest, HasNoCycleBeforeTheFirst) {
    PollModel model = plant();
    model.link.cycles = {};
    EXPECT_EQ(text_of(poll_screen(model, {80, 14}).lines[1]), "line open  52.2 exchanges/s  cycle -");
}

TEST(PollViewTest, ReportsACycleThatTakesLongerThanAnyBefore) {
    PollModel model = plant();
    model.link.cycles = {};
    model.link.cycles.so_far = 12s;
    EXPECT_EQ(text_of(poll_screen(model, {80, 14}).lines[1]),
              "line open  52.2 exchanges/s  cycle -  now 12.00 s so far");
    model.link.cycles.worst = 12s;
    model.link.cycles.count = 1;
    EXPECT_EQ(text_of(poll_screen(model, {80, 14}).lines[1]),
              "line open  52.2 exchanges/s  cycle 0.0 ms  mean 0.0 ms  worst 12.00 s");
}

TEST(PollViewTest, CutsTheValueLast) {
    struct Case {
        const char *value;
        std::size_t widest;
        int columns;
        const char *head, *row;
    };
    const char *const bits = "0b01010101010101010101010101010101";
    const char *const levels = "1 22 333 4444 55555 6 77 888 1 22 333 4444 55555 6 77 888";
    const Case cases[] = {
        {"4294967295", 10, 80, "    st name                              place         value   age steady change",
         ">    1 a very long name of a variable t~ 7:100 x8 4294967295  0.1s    12s      0"},
        {"4294967295", 10, 40, "    st name                  value   age", ">    1 a very long nam~ 4294967295  0.1s"},
        {"4294967295", 10, 26, "    st name          value", ">    1 a very ~ 4294967295"},
        {"4294967295", 10, 22, "    st name      value", ">    1 a v~ 4294967295"},
        {bits, 34, 80, "    st name                    place                   value   age steady change",
         ">    1 a very long name of a ~ 7:100 x8 0b01010101010101010101010101010101  0.1s"},
        {bits, 34, 46, "    st name                        value   age",
         ">    1 a v~ 0b01010101010101010101010101010101"},
        {bits, 34, 40, "    st name                        value", ">    1 a v~ 0b0101010101010101010101010~"},
        {levels, 60, 80, "    st name                    place                   value   age steady change",
         ">    1 a very long na~ 1 22 333 4444 55555 6 77 888 1 22 333 4444 55555 6 77 888"},
    };
    for (const Case &one : cases) {
        PollModel model = many_rows(0);
        model.rows = PollRows(std::vector<PollRow>{
            row("a very long name of a variable that nobody can read", 1, "7:100 x8", one.value, one.widest)});
        const PollScreen screen = poll_screen(model, {one.columns, 9});
        EXPECT_EQ(text_of(screen.lines[4]), one.head) << one.columns;
        EXPECT_EQ(text_of(screen.lines[5]), one.row) << one.columns;
    }
}

// A wide character takes two columns.
TEST(PollViewTest, AlignsWideNames) {
    const std::string before = std::setlocale(LC_CTYPE, nullptr);
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    PollModel model = many_rows(0);
    model.rows = PollRows(
        std::vector<PollRow>{row("\xE6\xB0\xB4\xE7\xAE\xB1", 1, "7:1", "1", 6), row("pump", 1, "7:2", "2", 6)});
    const PollScreen screen = poll_screen(model, {80, 9});
    EXPECT_EQ(text_of(screen.lines[5]), ">    1 \xE6\xB0\xB4\xE7\xAE\xB1 7:1        1  0.1s    12s      0");
    EXPECT_EQ(text_of(screen.lines[6]), "     1 pump 7:2        2  0.1s    12s      0");
    std::setlocale(LC_CTYPE, before.c_str());
}

TEST(PollViewTest, MarksWhatIsStaleAndWhatHasNoLine) {
    PollModel model = plant();
    model.rows = PollRows(
        std::vector<PollRow>{row("old", 1, "7:9", "1", 5, State::stale), row("lost", 1, "7:9", "1", 5, State::lost)});
    model.selected = 0;
    const PollScreen screen = poll_screen(model, {80, 14});
    EXPECT_EQ(text_of(screen.lines[5]).substr(0, 6), ">S   1");
    EXPECT_EQ(screen.lines[5][0].style.colour, Colour::yellow);
    EXPECT_EQ(text_of(screen.lines[6]).substr(0, 6), " L   1");
    EXPECT_EQ(screen.lines[6][0].style.colour, Colour::red);
}

TEST(PollViewTest, NamesTheStationsThatRefuse) {
    PollModel model = plant();
    model.stations[1] = {2, PollStation::State::partly, {}, "refusing, 1 of 3 blocks refused: illegal data address"};
    const ScreenLine stations = poll_screen(model, {120, 14}).lines[3];
    EXPECT_EQ(text_of(stations), "stations  3 DOWN 1m23: no reply  2 refusing, 1 of 3 blocks refused: illegal data "
                                 "address  4 off  1 ok");
    EXPECT_EQ(stations[2].style.colour, Colour::yellow);
}

TEST(PollViewTest, GivesLongValuesTheRoomOfAWideScreen) {
    PollModel model = many_rows(0);
    model.rows = PollRows(std::vector<PollRow>{row("levels", 1, "7:100 x8", "1 22 333 4444 55555 6 77 888", 47)});
    EXPECT_EQ(text_of(poll_screen(model, {120, 9}).lines[5]),
              ">    1 levels 7:100 x8                    1 22 333 4444 55555 6 77 888  0.1s    12s      0");
}

TEST(PollViewTest, PutsRowsNextToEachOtherOnAWideScreen) {
    const PollScreen screen = poll_screen(many_rows(500), {100, 10});
    EXPECT_EQ(text_of(screen),
              "kelpo poll many.csv                                                                       1-6 of 500\n"
              "line open  0.0 exchanges/s  cycle -\n"
              "0 exchanges  0 retries  0 give-ups  0 B out  0 B in\n"
              "stations\n"
              "    st name    place  value   age steady change |     st name    place  value   age steady change\n"
              ">    1 tag 1   7:1        1  0.1s    12s      0 |      1 tag 4   7:4        4  0.1s    12s      0\n"
              "     1 tag 2   7:2        2  0.1s    12s      0 |      1 tag 5   7:5        5  0.1s    12s      0\n"
              "     1 tag 3   7:3        3  0.1s    12s      0 |      1 tag 6   7:6        6  0.1s    12s      0\n"
              "\n"
              "q quit  space pause  w write  s station off/on  t trace  / find  ? help\n");
    EXPECT_EQ(screen.rows_in_column, 3U);
    EXPECT_EQ(screen.rows_shown, 6U);
}

TEST(PollViewTest, KeepsTheSelectedRowInSight) {
    struct Case {
        std::size_t top, selected, shown_first;
    };
    // Ten rows fit.
    const Case cases[] = {{0, 0, 0},    {0, 9, 0},    {0, 10, 1},      {1, 10, 1},      {1, 0, 0},    {40, 45, 40},
                          {40, 39, 39}, {40, 50, 41}, {480, 499, 490}, {495, 499, 490}, {0, 499, 490}};
    for (const Case &one : cases) {
        PollModel model = many_rows(500);
        model.top = one.top;
        model.selected = one.selected;
        const PollScreen screen = poll_screen(model, {80, 17});
        EXPECT_EQ(screen.top, one.shown_first) << one.top << " " << one.selected;
        EXPECT_EQ(text_of(screen.lines[5 + one.selected - screen.top])[0], '>');
    }
}

TEST(PollViewTest, SaysWhichPartOfTheListIsShown) {
    PollModel model = many_rows(500);
    model.paused = true;
    model.search = "tag";
    model.selected = model.top = 100;
    EXPECT_EQ(text_of(poll_screen(model, {80, 17}).lines[0]),
              "kelpo poll many.csv                            PAUSED  find \"tag\" 101-110 of 500");
    model.rows = {};
    EXPECT_THAT(text_of(poll_screen(model, {80, 17}).lines[0]), testing::EndsWith("PAUSED  find \"tag\" none"));
}

TEST(PollViewTest, NamesStationsInRunsAndThoseDownFirst) {
    PollModel model = plant();
    model.stations.clear();
    for (const int number : {1, 2, 4, 5, 6, 9})
        model.stations.push_back({number, PollStation::State::answers, {}, {}});
    model.stations.push_back({10, PollStation::State::unknown, {}, {}});
    model.stations.push_back({247, PollStation::State::down, 5s, "bad reply: CRC wrong"});
    EXPECT_EQ(text_of(poll_screen(model, {80, 14}).lines[3]),
              "stations  247 DOWN 5.0s: bad reply: CRC wrong  1 2 4-6 9 ok  10 not heard yet");
}

TEST(PollViewTest, ShowsTheTraceBelowTheTable) {
    PollModel model = plant();
    model.trace = {{"oldest", false}, {"older", false}, {"asked", false}, {"no reply", true}};
    const PollScreen screen = poll_screen(model, {80, 15});
    ASSERT_EQ(screen.lines.size(), 15U);
    EXPECT_THAT(text_of(screen.lines[8]), testing::StartsWith(" D   3 mixer runs"));
    EXPECT_EQ(text_of(screen.lines[9]), "trace, newest last");
    EXPECT_EQ(text_of(screen.lines[10]), "older");
    EXPECT_EQ(text_of(screen.lines[11]), "asked");
    EXPECT_EQ(text_of(screen.lines[12]), "no reply");
    EXPECT_EQ(screen.lines[12][0].style.colour, Colour::red);
    EXPECT_EQ(screen.rows_shown, 4U);
}

TEST(PollViewTest, AsksInTheMessageLineWithTheCursorAfterTheText) {
    PollModel model = plant();
    model.prompt = {"write boiler temperature (-32768 to 65535): ", "12"};
    PollScreen screen = poll_screen(model, {80, 14});
    EXPECT_EQ(text_of(screen.lines[12]), "write boiler temperature (-32768 to 65535): 12");
    EXPECT_EQ(text_of(screen.lines[13]), "Enter takes it  Esc leaves it");
    ASSERT_TRUE(screen.cursor);
    EXPECT_EQ(screen.cursor->line, 12);
    EXPECT_EQ(screen.cursor->column, 46);

    model.prompt = {"find: ", "abcdefghijklmnopqrstuvwxyz"};
    screen = poll_screen(model, {20, 14});
    EXPECT_EQ(text_of(screen.lines[12]), "find: nopqrstuvwxyz");
    EXPECT_EQ(screen.cursor->column, 19);
}

TEST(PollViewTest, CountsCharactersNotBytes) {
    PollModel model = many_rows(0);
    model.rows = PollRows(std::vector<PollRow>{row("Zulauf \xC3\x96l", 1, "7:1", "1", 5), row("ab", 1, "7:2", "2", 5)});
    const PollScreen screen = poll_screen(model, {80, 10});
    EXPECT_EQ(text_of(screen.lines[5]), ">    1 Zulauf \xC3\x96l 7:1       1  0.1s    12s      0");
    EXPECT_EQ(text_of(screen.lines[6]), "     1 ab        7:2       2  0.1s    12s      0");
}

TEST(PollViewTest, NeverExceedsTheTerminal) {
    PollModel model = plant();
    model.trace = {{std::string(300, 'x'), true}};
    model.prompt = {"write something long: ", "1234567890"};
    for (const bool help : {false, true}) {
        model.help = help;
        for (int columns = 1; columns < 200; columns += columns < 90 ? 1 : 37) {
            for (int lines = 1; lines < 40; ++lines) {
                const PollScreen screen = poll_screen(model, {columns, lines});
                EXPECT_LE(screen.lines.size(), static_cast<std::size_t>(lines));
                for (const ScreenLine &line : screen.lines)
                    EXPECT_LE(width_of(text_of(line)), static_cast<std::size_t>(columns)) << text_of(line);
                if (screen.cursor) {
                    EXPECT_LT(screen.cursor->line, lines);
                    EXPECT_LT(screen.cursor->column, columns);
                }
            }
        }
    }
}

TEST(PollViewTest, HelpFitsTheSmallestUsualTerminal) {
    PollModel model = plant();
    model.help = true;
    const PollScreen screen = poll_screen(model, {80, 24});
    EXPECT_EQ(text_of(screen.lines.front()), "Keys");
    EXPECT_EQ(text_of(screen.lines.back()), "Any key goes back.");
    for (const ScreenLine &line : screen.lines)
        EXPECT_THAT(text_of(line), testing::Not(testing::EndsWith("~")));
}

}  // namespace
}  // namespace kelpo
