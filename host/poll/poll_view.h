#pragma once

#include "host/engine/link_gauge.h"
#include "host/poll/poll_row.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kelpo {

/// How a piece of text looks on a terminal that supports it. What it means is always shown by a letter or a word too.
struct TextStyle {
    enum class Colour { plain, red, yellow, green };

    Colour colour = Colour::plain;
    bool bold = false;
    bool dim = false;
    bool reverse = false;

    bool operator==(const TextStyle &other) const {
        return colour == other.colour && bold == other.bold && dim == other.dim && reverse == other.reverse;
    }
};

/// UTF-8 without control characters, in one style.
struct TextSpan {
    std::string text;
    TextStyle style;
};

using ScreenLine = std::vector<TextSpan>;

struct PollScreenSize {
    int columns;
    int lines;
};

/// What a terminal shows.
struct PollScreen {
    struct Place {
        int line;
        int column;
    };

    std::vector<ScreenLine> lines;   ///< at most as many, and as wide, as the size asked for
    std::optional<Place> cursor;     ///< where the user types, if so
    std::size_t top = 0;             ///< the row shown first, to be passed with the next model
    std::size_t rows_in_column = 1;  ///< how many rows left and right move
    std::size_t rows_shown = 1;      ///< how many rows a page moves
};

/// One station as the screen shows it.
struct PollStation {
    enum class State { unknown, answers, partly, down, off };

    int number;
    State state;
    std::chrono::nanoseconds down_for{0};
    std::string failure;  ///< why it is down; for refusing, what it refuses, in words
};

/// How wide the widest texts of a table are.
struct RowWidths {
    std::size_t name = 4, place = 5, value = 5;

    void widen_for(const PollRow &row);
};

/// The rows of a table, each of which is made when it is asked for: most of a long list is never shown.
class PollRows {
public:
    using RowAt = std::function<PollRow(std::size_t)>;

    PollRows() = default;

    /// Rows that are there already.
    explicit PollRows(std::vector<PollRow> rows);

    /// `count` rows, none of which is wider than `widths`.
    PollRows(std::size_t count, const RowWidths &widths, RowAt row_at)
        : count_(count), widths_(widths), row_at_(std::move(row_at)) {}

    std::size_t size() const {
        return count_;
    }
    bool empty() const {
        return count_ == 0;
    }
    const RowWidths &widths() const {
        return widths_;
    }
    PollRow operator[](std::size_t index) const {
        return row_at_(index);
    }

private:
    std::size_t count_ = 0;
    RowWidths widths_{};
    RowAt row_at_{};
};

/// Everything that the screen shows.
struct PollModel {
    struct TraceLine {
        std::string text;
        bool failed;
    };
    struct Prompt {
        std::string label;
        std::string text;
    };

    std::string title;
    PollRows rows;             ///< those that match the search
    std::string search;        ///< empty: all
    std::size_t selected = 0;  ///< among the rows; none is where there is no such row
    std::size_t top = 0;       ///< as the last screen gave it
    LinkReading link;
    std::chrono::nanoseconds until_next_try{0};  ///< while the line is lost
    std::vector<PollStation> stations;
    bool paused = false;
    bool help = false;
    std::string trace_title = "trace, newest last";
    std::size_t most_trace_lines = 0;             ///< its title among them; 0: half of the screen
    std::optional<std::vector<TraceLine>> trace;  ///< oldest first; nothing: the trace is not shown
    std::string message;
    std::string keys;              ///< what keys do; empty: those of poll
    std::optional<Prompt> prompt;  ///< takes the message's place
};

/// The screen for a terminal of `size`, at least 1 by 1. A pure function.
PollScreen poll_screen(const PollModel &model, PollScreenSize size);

}  // namespace kelpo
