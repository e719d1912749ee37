#include "demo/screen.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t name_width = 17;
constexpr std::size_t value_width = 12;
constexpr int narrow_cell = 25;  // station, type, address and value
constexpr int wide_cell = narrow_cell + static_cast<int>(name_width) + 1;
constexpr int widest_gap = 8;
constexpr std::size_t event_lines = 2;
constexpr auto page_time = std::chrono::seconds(3);
constexpr auto line_time = std::chrono::seconds(1);

const char *const enter_screen = "\x1b[?1049h\x1b[?25l\x1b[2J";
const char *const leave_screen = "\x1b[?25h\x1b[?1049l";

std::string fitted(const std::string &text, std::size_t width) {
    if (text.size() > width)
        return text.substr(0, width - 1) + "~";
    return text + std::string(width - text.size(), ' ');
}

std::string right_aligned(const std::string &text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : fitted(text, width);
}

std::string styled_as(Cell::Mark mark, const std::string &text) {
    switch (mark) {
    case Cell::Mark::fresh:
        return "\x1b[1m" + text + "\x1b[0m";
    case Cell::Mark::wrong:
        return "\x1b[1;31m" + text + "\x1b[0m";
    case Cell::Mark::at_rest:
        return "\x1b[2m" + text + "\x1b[0m";
    case Cell::Mark::plain:
        break;
    }
    return text;
}

struct Layout {
    int table_columns;
    int rows;
    bool named;
    std::size_t gap;  // blanks between two table columns

    int cells_per_page() const {
        return table_columns * rows;
    }
};

Layout layout_for(int cells, ScreenSize size) {
    const int rows_there = std::max(1, size.lines - 1);
    const int most = std::max(1, (size.columns + 1) / (narrow_cell + 1));
    const int wanted = std::max(1, (cells + rows_there - 1) / rows_there);
    const int columns = std::min(most, wanted);
    const int rows = std::min(rows_there, (cells + columns - 1) / columns);
    const bool named = (size.columns + 1) / columns > wide_cell;
    const int gap = (size.columns + 1) / columns - (named ? wide_cell : narrow_cell);
    return {columns, rows, named, static_cast<std::size_t>(std::clamp(gap, 1, widest_gap))};
}

std::string line_of(const std::string &station, const std::string &type, const std::string &address,
                    const std::string &name, const std::string &value, bool named) {
    return right_aligned(station, 2) + " " + right_aligned(type, 2) + " " + fitted(address, 6) + " " +
           (named ? fitted(name, name_width) + " " : "") + value;
}

std::string cell_text(const Cell &cell, bool named, bool styled) {
    const std::string value = right_aligned(cell.value, value_width);
    return line_of(std::to_string(cell.station), std::to_string(cell.type), cell.address, cell.name,
                   styled ? styled_as(cell.mark, value) : value, named);
}

std::string heading(bool named) {
    return line_of("st", "ty", "addr", "name", right_aligned("value", value_width), named);
}

void write_all(int descriptor, const std::string &text) {
    const char *next = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        const ssize_t put = write(descriptor, next, left);
        if (put >= 0) {
            next += put;
            left -= static_cast<std::size_t>(put);
        } else if (errno == EAGAIN) {
            pollfd out{descriptor, POLLOUT, 0};
            poll(&out, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

ScreenSize size_of_terminal(int descriptor) {
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {80, 24};
    return {size.ws_col, size.ws_row};
}

bool has_value(const char *variable) {
    const char *value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool is_capable_terminal(int descriptor) {
    const char *type = std::getenv("TERM");
    return isatty(descriptor) == 1 && type != nullptr && std::string(type) != "dumb";
}

}  // namespace

std::vector<std::string> table_of(const std::vector<Cell> &cells, ScreenSize size, std::size_t page, bool styled) {
    const int count = static_cast<int>(cells.size());
    const Layout layout = layout_for(count, size);
    const int per_page = std::max(1, layout.cells_per_page());
    const int pages = std::max(1, (count + per_page - 1) / per_page);
    const int first = static_cast<int>(page % static_cast<std::size_t>(pages)) * per_page;

    std::vector<std::string> lines(static_cast<std::size_t>(layout.rows) + 1);
    for (int column = 0; column < layout.table_columns; ++column) {
        const std::string gap(column == 0 ? 0 : layout.gap, ' ');
        lines[0] += gap + heading(layout.named);
        for (int row = 0; row < layout.rows; ++row) {
            const int index = first + column * layout.rows + row;
            if (index < count)
                lines[static_cast<std::size_t>(row) + 1] +=
                    gap + cell_text(cells[static_cast<std::size_t>(index)], layout.named, styled);
        }
    }
    return lines;
}

Screen::Screen(int descriptor, std::string title)
    : descriptor_(descriptor), title_(std::move(title)), terminal_(is_capable_terminal(descriptor)),
      styled_(terminal_ && !has_value("NO_COLOR")), started_(Clock::now()), next_line_(started_) {
    write_all(descriptor_, terminal_ ? enter_screen : title_ + "\n");
    if (terminal_)
        events_.resize(event_lines);
}

Screen::~Screen() {
    if (terminal_)
        write_all(descriptor_, leave_screen);
}

void Screen::show_event(const std::string &event) {
    if (!terminal_) {
        write_all(descriptor_, event + "\n");
        return;
    }
    events_.push_back(event);
    events_.pop_front();
}

void Screen::show(const std::vector<Cell> &cells, const std::string &status) {
    if (terminal_) {
        draw(cells, status);
    } else if (Clock::now() >= next_line_) {
        write_all(descriptor_, status + "\n");
        next_line_ = Clock::now() + line_time;
    }
}

void Screen::draw(const std::vector<Cell> &cells, const std::string &status) {
    const ScreenSize size = size_of_terminal(descriptor_);
    // The last column stays empty: a character there would leave the cursor on it, for the erasing to hit.
    const auto width = static_cast<std::size_t>(size.columns - 1);
    const auto page = static_cast<std::size_t>((Clock::now() - started_) / page_time);

    std::string frame = "\x1b[H";
    const auto add = [&frame](const std::string &line) {
        frame += line + "\x1b[K\r\n";
    };
    add(fitted(title_, width));
    for (const std::string &line :
         table_of(cells, {size.columns - 1, size.lines - 2 - static_cast<int>(event_lines)}, page, styled_))
        add(line);
    for (const std::string &event : events_)
        add(fitted(event, width));
    // No line end after the last line: on a full screen it would scroll the first one away.
    frame += fitted(status, width) + "\x1b[J";
    write_all(descriptor_, frame);
}

}  // namespace kelpo
