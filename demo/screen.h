#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace kelpo {

/// One variable as the table shows it.
struct Cell {
    enum class Mark {
        plain,
        fresh,  ///< changed a moment ago
        wrong,
        at_rest  ///< is not polled at present
    };

    std::string name;
    int station;
    int type;
    std::string address;
    std::string value;
    Mark mark;
};

struct ScreenSize {
    int columns;
    int lines;
};

/// The table as lines of at most `size.columns` characters: a heading, then the cells down the columns, in as many
/// columns as `size.lines` needs and the width allows. What does not fit is on further pages; `page` may be any number
/// and wraps around. Names are shown where a column is wide enough. `styled` adds terminal control sequences for the
/// marks, which take no room on the screen.
std::vector<std::string> table_of(const std::vector<Cell> &cells, ScreenSize size, std::size_t page, bool styled);

/// Shows the table on a terminal, in place, with the last few events below it; or, without a terminal, a line for each
/// event and a status line per second. The destructor restores what the terminal showed before. Styles are left out if
/// NO_COLOR is set.
class Screen {
public:
    /// Shows on the open file `descriptor`, which must outlive the screen.
    Screen(int descriptor, std::string title);
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    /// Shows an event, in one line. A terminal shows it with the next call of show().
    void show_event(const std::string &event);

    void show(const std::vector<Cell> &cells, const std::string &status);

private:
    void draw(const std::vector<Cell> &cells, const std::string &status);

    int descriptor_;
    std::string title_;
    bool terminal_;
    bool styled_;
    std::deque<std::string> events_;  // the last ones, on a terminal
    std::chrono::steady_clock::time_point started_;
    std::chrono::steady_clock::time_point next_line_;
};

}  // namespace kelpo
