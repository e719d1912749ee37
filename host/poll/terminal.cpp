#include "host/poll/terminal.h"

#include <array>
#include <clocale>
#include <cstdlib>
#include <string>

#define NCURSES_NOMACROS
#include <curses.h>
#include <langinfo.h>
#include <poll.h>
#include <unistd.h>

namespace kelpo {
namespace {

using Key = KeyPress::Key;
using Colour = TextStyle::Colour;

constexpr short red_pair = 1, yellow_pair = 2, green_pair = 3;

bool is_set(const char *variable) {
    const char *value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool start_colours() {
    if (is_set("NO_COLOR") || !has_colors() || start_color() == ERR || use_default_colors() == ERR)
        return false;
    init_pair(red_pair, COLOR_RED, -1);
    init_pair(yellow_pair, COLOR_YELLOW, -1);
    init_pair(green_pair, COLOR_GREEN, -1);
    return true;
}

chtype attributes_of(const TextStyle &style, bool coloured) {
    chtype attributes = A_NORMAL;
    if (style.bold)
        attributes |= A_BOLD;
    if (style.dim)
        attributes |= A_DIM;
    if (style.reverse)
        attributes |= A_REVERSE;
    if (!coloured)
        return attributes;
    switch (style.colour) {
    case Colour::red:
        return attributes | static_cast<chtype>(COLOR_PAIR(red_pair));
    case Colour::yellow:
        return attributes | static_cast<chtype>(COLOR_PAIR(yellow_pair));
    case Colour::green:
        return attributes | static_cast<chtype>(COLOR_PAIR(green_pair));
    case Colour::plain:
        break;
    }
    return attributes;
}

std::string in_ascii(const std::string &text) {
    std::string ascii;
    for (const char byte : text) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x80)
            ascii += byte;
        else if (code >= 0xC0)
            ascii += '?';
    }
    return ascii;
}

KeyPress key_press(int code) {
    struct Known {
        int code;
        Key key;
    };
    constexpr int delete_byte = 0x7F, backspace_byte = 0x08, escape_byte = 0x1B, control_u = 0x15;
    static constexpr std::array<Known, 20> known{{
        {KEY_UP, Key::up},
        {KEY_DOWN, Key::down},
        {KEY_LEFT, Key::left},
        {KEY_RIGHT, Key::right},
        {KEY_PPAGE, Key::page_up},
        {KEY_NPAGE, Key::page_down},
        {KEY_HOME, Key::home},
        {KEY_FIND, Key::home},
        {KEY_END, Key::end},
        {KEY_SELECT, Key::end},
        {KEY_ENTER, Key::enter},
        {'\n', Key::enter},
        {'\r', Key::enter},
        {escape_byte, Key::escape},
        {KEY_BACKSPACE, Key::backspace},
        {delete_byte, Key::backspace},
        {backspace_byte, Key::backspace},
        {control_u, Key::clear},
        {KEY_RESIZE, Key::resized},
        {KEY_DC, Key::backspace},
    }};
    for (const Known &one : known)
        if (one.code == code)
            return {one.key};
    constexpr int first_printable = 0x20, beyond_bytes = 0x100;
    if (code >= first_printable && code < beyond_bytes)
        return {Key::text, static_cast<char>(code)};
    return {Key::other};
}

}  // namespace

struct Terminal::Settings {
    SCREEN *screen;
    bool styled;
    bool coloured;
    bool unicode;
};

std::unique_ptr<Terminal> Terminal::take_over() {
    if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1 || !is_set("TERM"))
        return nullptr;
    std::setlocale(LC_CTYPE, "");
    SCREEN *const screen = newterm(nullptr, stdout, stdin);
    if (screen == nullptr)
        return nullptr;
    // A screen that is updated in place needs a cursor that can be placed.
    if (tigetstr(const_cast<char *>("cup")) == nullptr) {
        endwin();
        delscreen(screen);
        return nullptr;
    }
    auto settings = std::make_unique<Settings>();
    settings->screen = screen;
    settings->styled = !is_set("NO_COLOR");
    settings->coloured = start_colours();
    settings->unicode = std::string(nl_langinfo(CODESET)) == "UTF-8";
    return std::unique_ptr<Terminal>(new Terminal(std::move(settings)));
}

Terminal::Terminal(std::unique_ptr<Settings> settings) : settings_(std::move(settings)) {
    constexpr int escape_milliseconds = 25;
    cbreak();
    noecho();
    nonl();
    intrflush(stdscr, FALSE);
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(escape_milliseconds);
}

Terminal::~Terminal() {
    endwin();
    delscreen(settings_->screen);
}

PollScreenSize Terminal::size() const {
    return {getmaxx(stdscr), getmaxy(stdscr)};
}

// True at least while the terminal shows what it gets, and not after Ctrl-S.
bool Terminal::takes_output() {
    pollfd terminal{STDOUT_FILENO, POLLOUT, 0};
    return poll(&terminal, 1, 0) != 0;
}

void Terminal::show(const PollScreen &screen) {
    if (!takes_output())
        return;
    werase(stdscr);
    int row = 0;
    for (const ScreenLine &line : screen.lines) {
        wmove(stdscr, row++, 0);
        for (const TextSpan &span : line) {
            wattrset(stdscr,
                     static_cast<int>(settings_->styled ? attributes_of(span.style, settings_->coloured) : A_NORMAL));
            waddstr(stdscr, (settings_->unicode ? span.text : in_ascii(span.text)).c_str());
        }
    }
    wattrset(stdscr, A_NORMAL);
    curs_set(screen.cursor ? 1 : 0);
    if (screen.cursor)
        wmove(stdscr, screen.cursor->line, screen.cursor->column);
    wrefresh(stdscr);
}

std::optional<KeyPress> Terminal::key(std::chrono::steady_clock::time_point deadline, const StopSignal &stop) {
    const int waiting = wgetch(stdscr);
    if (waiting != ERR)
        return key_press(waiting);
    if (stop.wait_for_descriptor(STDIN_FILENO, POLLIN, deadline) != StopSignal::Wait::ready)
        return std::nullopt;
    const int code = wgetch(stdscr);
    return code != ERR ? key_press(code) : KeyPress{Key::hung_up};
}

}  // namespace kelpo
