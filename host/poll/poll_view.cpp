#include "host/poll/poll_view.h"

#include "host/text/quantities.h"
#include "host/text/words.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace kelpo {
namespace {

using Colour = TextStyle::Colour;
using std::size_t;

constexpr TextStyle plain{};
constexpr TextStyle bold{Colour::plain, true, false, false};
constexpr TextStyle alarm{Colour::red, true, false, false};
constexpr TextStyle warning{Colour::yellow, false, false, false};
constexpr TextStyle good{Colour::green, false, false, false};
constexpr TextStyle dim{Colour::plain, false, true, false};
constexpr TextStyle reversed{Colour::plain, false, false, true};

constexpr auto fresh_time = std::chrono::seconds(1);
constexpr auto long_cycle = std::chrono::seconds(1);

std::string padded(const std::string &text, size_t width) {
    const std::string cut = cut_to(text, width);
    return cut + std::string(width - std::min(width, width_of(cut)), ' ');
}

std::string right_aligned(const std::string &text, size_t width) {
    const std::string cut = cut_to(text, width);
    return std::string(width - std::min(width, width_of(cut)), ' ') + cut;
}

size_t width_of_line(const ScreenLine &line) {
    size_t width = 0;
    for (const TextSpan &span : line)
        width += width_of(span.text);
    return width;
}

// What reaches the terminal: printable, and without what is beyond the width.
ScreenLine fitted(const ScreenLine &line, size_t width) {
    ScreenLine fitting;
    size_t left = width;
    for (const TextSpan &span : line) {
        if (left == 0)
            break;
        fitting.push_back({cut_to(printable(span.text), left), span.style});
        left -= std::min(left, width_of(fitting.back().text));
    }
    return fitting;
}

// `right` at the right edge, as far as the line leaves room.
ScreenLine with_right_end(ScreenLine line, const ScreenLine &right, size_t width) {
    const size_t used = width_of_line(line), wanted = width_of_line(right);
    if (wanted == 0 || wanted + 1 > width)
        return line;
    if (used + 1 + wanted > width)
        line = fitted(line, width - wanted - 1);
    line.push_back({std::string(width - wanted - width_of_line(line), ' '), plain});
    line.insert(line.end(), right.begin(), right.end());
    return line;
}

/// The columns of the table, and how many variables are beside each other. A column that is left out has no width.
struct Layout {
    size_t name, place, value, age, steady, changes;
    size_t table_columns;
    size_t rows;  // in each
    size_t width;

    size_t shown() const {
        return table_columns * rows;
    }

    // The width of the columns other than name and value, with the blanks between all.
    size_t taken() const {
        size_t columns = marks_and_station + 2;
        for (const size_t optional : {place, age, steady, changes})
            columns += optional > 0 ? optional + 1 : 0;
        return columns;
    }

    // As much as leaves `wanted` characters for name and value; returns how many there are for these two.
    size_t make_room(size_t wanted) {
        for (size_t *const optional : {&changes, &steady, &place, &age})
            if (taken() + wanted > width)
                *optional = 0;
        return width > taken() ? width - taken() : 2;
    }

    static constexpr size_t marks_and_station = 6;
};

constexpr size_t age_width = 5, steady_width = 6, changes_width = 6;
constexpr size_t narrow_name = 24, narrow_value = 20, least_name = 8, shortest_name = 4;
const std::string column_gap = " | ";

Layout layout_for(const PollRows &rows, size_t columns, size_t lines) {
    const auto [name, place, value] = rows.widths();
    constexpr size_t widest_place = 14;
    Layout layout{name,   std::min(place, widest_place), value, age_width, steady_width, changes_width, 1, lines,
                  columns};
    const size_t narrow = layout.taken() + std::min(name, narrow_name) + std::min(value, narrow_value);
    if (lines > 0 && rows.size() > lines) {
        const size_t fitting = (columns + column_gap.size()) / (narrow + column_gap.size());
        layout.table_columns = std::max<size_t>(1, std::min(fitting, (rows.size() + lines - 1) / lines));
    }
    layout.width = (columns + column_gap.size()) / layout.table_columns - column_gap.size();
    // The value is cut last, the name before it. Single values that are longer take their room from their own row.
    const size_t wanted = std::min(value, narrow_value);
    const size_t room = layout.make_room(std::min(name, least_name) + wanted);
    if (name + value > room) {
        layout.name = std::min(name, std::max(room - std::min(room, wanted), std::min(name, shortest_name)));
        layout.value = std::min(value, room - std::min(room, layout.name));
    }
    return layout;
}

// For one row, whose value takes more columns than there are for values.
Layout with_room_for(size_t value, Layout layout) {
    const size_t room = layout.make_room(layout.name + value);
    layout.name = std::max(room - std::min(room, value), std::min(layout.name, shortest_name));
    layout.value = room - std::min(room, layout.name);
    return layout;
}

char mark_of(const PollRow &row) {
    switch (row.state) {
    case PollRow::State::down:
        return 'D';
    case PollRow::State::failing:
        return 'E';
    case PollRow::State::lost:
        return 'L';
    case PollRow::State::stale:
        return 'S';
    case PollRow::State::off:
        return 'O';
    case PollRow::State::asked:
        break;
    }
    return row.steady && row.changes > 0 && *row.steady < fresh_time ? '*' : ' ';
}

TextStyle style_of(const PollRow &row) {
    switch (row.state) {
    case PollRow::State::down:
    case PollRow::State::lost:
        return alarm;
    case PollRow::State::failing:
    case PollRow::State::stale:
        return warning;
    case PollRow::State::off:
        return dim;
    case PollRow::State::asked:
        break;
    }
    return mark_of(row) == '*' ? bold : plain;
}

std::string table_line(const Layout &layout, const std::string &marks, const std::string &station,
                       const std::string &name, const std::string &place, const std::string &value,
                       const std::string &age, const std::string &steady, const std::string &changes) {
    std::string line = marks + right_aligned(station, 3) + " " + padded(name, layout.name) + " ";
    if (layout.place > 0)
        line += padded(place, layout.place) + " ";
    line += right_aligned(value, layout.value);
    if (layout.age > 0)
        line += " " + right_aligned(age, layout.age);
    if (layout.steady > 0)
        line += " " + right_aligned(steady, layout.steady);
    if (layout.changes > 0)
        line += " " + right_aligned(changes, layout.changes);
    return line;
}

std::string age_of(const std::optional<std::chrono::nanoseconds> &age) {
    return age ? age_text(*age) : "-";
}

TextSpan cell(const Layout &common, const PollRow &row, bool selected) {
    const std::string marks{selected ? '>' : ' ', row.write_waits ? 'w' : mark_of(row), ' '};
    const std::string value = row.value.empty() ? "-" : row.value;
    const Layout layout = width_of(value) > common.value ? with_room_for(width_of(value), common) : common;
    TextStyle style = style_of(row);
    style.reverse = selected;
    return {table_line(layout, marks, std::to_string(row.station), row.name, row.place, value, age_of(row.age),
                       age_of(row.steady), row.value.empty() ? "-" : std::to_string(row.changes)),
            style};
}

void add_table(const PollModel &model, const Layout &layout, size_t top, std::vector<ScreenLine> &lines) {
    ScreenLine head;
    for (size_t column = 0; column < layout.table_columns; ++column)
        head.push_back({(column == 0 ? "" : column_gap) +
                            table_line(layout, "   ", "st", "name", "place", "value", "age", "steady", "change"),
                        bold});
    lines.push_back(head);
    for (size_t line = 0; line < layout.rows; ++line) {
        ScreenLine shown;
        for (size_t column = 0; column < layout.table_columns; ++column) {
            const size_t index = top + column * layout.rows + line;
            if (index >= model.rows.size())
                break;
            if (column > 0)
                shown.push_back({column_gap, plain});
            shown.push_back(cell(layout, model.rows[index], index == model.selected));
        }
        lines.push_back(shown);
    }
}

ScreenLine title_line(const PollModel &model, size_t top, size_t shown, size_t width) {
    ScreenLine right;
    if (model.paused)
        right.push_back({" PAUSED ", reversed});
    const size_t last = std::min(model.rows.size(), top + shown);
    std::string place = model.search.empty() ? "" : " find \"" + model.search + "\"";
    place += model.rows.empty() ? " none"
                                : " " + std::to_string(top + 1) + "-" + std::to_string(last) + " of " +
                                      std::to_string(model.rows.size());
    right.push_back({place, plain});
    return with_right_end({{model.title, bold}}, right, width);
}

ScreenLine line_state(const PollModel &model) {
    const LinkReading &link = model.link;
    if (!link.line_error.empty()) {
        const auto seconds = std::chrono::ceil<std::chrono::seconds>(model.until_next_try).count();
        return {
            {"LINE LOST, next try in " + std::to_string(std::max<std::int64_t>(0, seconds)) + " s: " + link.line_error,
             alarm}};
    }
    ScreenLine line{{"line open", good}, {"  " + rate_text(link.exchanges_per_second) + " exchanges/s  cycle ", plain}};
    if (link.cycles.count == 0)
        line.push_back({"-", plain});
    else
        line.push_back({duration_text(link.cycles.last) + "  mean " + duration_text(link.cycles.mean) + "  worst " +
                            duration_text(link.cycles.worst),
                        plain});
    // A cycle that takes longer than any before must not look like the last one.
    if (link.cycles.so_far > std::max<std::chrono::nanoseconds>(link.cycles.worst, long_cycle))
        line.push_back({"  now " + duration_text(link.cycles.so_far) + " so far", warning});
    return line;
}

ScreenLine counts(const LinkCounts &link) {
    ScreenLine line{{std::to_string(link.exchanges) + " exchanges  ", plain},
                    {std::to_string(link.sent_again) + " retries", link.sent_again > 0 ? warning : plain},
                    {"  ", plain},
                    {std::to_string(link.given_up) + " give-ups", link.given_up > 0 ? warning : plain},
                    {"  " + bytes_text(link.bytes_sent) + " out  " + bytes_text(link.bytes_received) + " in", plain}};
    if (link.bytes_discarded > 0)
        line.push_back({"  " + bytes_text(link.bytes_discarded) + " thrown away", plain});
    return line;
}

// The numbers of the stations in that state, consecutive ones as "4-9".
std::string numbers_of(const std::vector<PollStation> &stations, PollStation::State state) {
    std::string text;
    for (size_t first = 0; first < stations.size(); ++first) {
        if (stations[first].state != state)
            continue;
        size_t last = first;
        while (last + 1 < stations.size() && stations[last + 1].state == state &&
               stations[last + 1].number == stations[last].number + 1)
            ++last;
        text += " " + std::to_string(stations[first].number);
        if (last > first)
            text += (last == first + 1 ? " " : "-") + std::to_string(stations[last].number);
        first = last;
    }
    return text;
}

// What needs attention comes first: it may not all fit.
ScreenLine station_line(const PollModel &model) {
    const std::vector<PollStation> &stations = model.stations;
    using State = PollStation::State;
    struct Group {
        State state;
        const char *words;
        TextStyle style;
    };
    static constexpr Group groups[] = {
        {State::off, "off", dim}, {State::answers, "ok", good}, {State::unknown, "not heard yet", plain}};
    ScreenLine line{{stations.size() == 1 ? "station" : "stations", plain}};
    if (!model.link.line_error.empty()) {
        line.push_back({"  not heard without a line", dim});
        return line;
    }
    for (const PollStation &station : stations)
        if (station.state == State::down)
            line.push_back(
                {"  " + std::to_string(station.number) + " DOWN " + age_text(station.down_for) + ": " + station.failure,
                 alarm});
    for (const PollStation &station : stations)
        if (station.state == State::partly)
            line.push_back({"  " + std::to_string(station.number) + " " + station.failure, warning});
    for (const Group &group : groups) {
        const std::string numbers = numbers_of(stations, group.state);
        if (!numbers.empty())
            line.push_back({" " + numbers + " " + group.words, group.style});
    }
    return line;
}

void add_trace(const PollModel &model, size_t room, std::vector<ScreenLine> &lines) {
    lines.push_back({{model.trace_title, bold}});
    const auto &trace = *model.trace;
    const size_t shown = std::min(room - 1, trace.size());
    for (size_t i = trace.size() - shown; i < trace.size(); ++i)
        lines.push_back({{trace[i].text, trace[i].failed ? alarm : plain}});
    lines.resize(lines.size() + room - 1 - shown);
}

ScreenLine key_line(const PollModel &model) {
    if (model.prompt)
        return {{"Enter takes it  Esc leaves it", dim}};
    if (!model.keys.empty())
        return {{model.keys, dim}};
    return {{"q quit  space ", dim},
            {model.paused ? "go on" : "pause", dim},
            {"  w write  s station off/on  t trace  / find  ? help", dim}};
}

// A text that is too long shows its end.
std::string end_of(std::string text, size_t width) {
    const auto continues = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
    };
    while (width_of(text) > width) {
        text.erase(0, 1);
        while (!text.empty() && continues(text[0]))
            text.erase(0, 1);
    }
    return text;
}

// The cursor's column comes after the text.
std::pair<ScreenLine, int> prompt_line(const PollModel::Prompt &prompt, size_t columns) {
    const std::string label = cut_to(prompt.label, columns * 3 / 4);
    const size_t room = columns - width_of(label);
    const std::string typed = end_of(printable(prompt.text), room - std::min<size_t>(room, 1));
    return {{{label, bold}, {typed, plain}},
            static_cast<int>(std::min(columns - 1, width_of(label) + width_of(typed)))};
}

PollScreen help_screen() {
    static const char *const text[] = {
        "Keys",
        "  up, down, page up, page down, home, end, left, right   choose a variable",
        "  w          write a value to the chosen variable",
        "  s          switch the chosen variable's station off, and on again",
        "  space, p   freeze the values shown; polling goes on",
        "  t          show what goes over the line, and what it means",
        "  /          show only variables whose name or place has a text; Esc: all",
        "  ?          this help                q, Ctrl-C   quit",
        "",
        "Columns",
        "  st      the station              place    register type : address",
        "  age     since it was read        steady   since it was seen to change",
        "  change  how often it was seen to change",
        "",
        "Marks in front",
        "  D  the station does not answer   E  it answers, but this was not read",
        "  L  the line is lost              S  not read for three cycles",
        "  O  the station is switched off   w  a write waits or is under way",
        "  *  changed within the last second",
        "",
        "cycle: from a block to the same block again; all blocks were asked between",
        "",
        "Any key goes back.",
    };
    PollScreen screen;
    for (const char *line : text)
        screen.lines.push_back({{line, line[0] != ' ' && line[0] != '\0' ? bold : plain}});
    return screen;
}

constexpr size_t lines_above = 4, table_head = 1, lines_below = 2;

size_t trace_room(const PollModel &model, size_t lines) {
    constexpr size_t least_rows = 4;
    if (!model.trace || lines < least_rows + 3)
        return 0;
    const size_t most = model.most_trace_lines > 0 ? model.most_trace_lines : std::max<size_t>(3, lines / 2);
    return std::min(lines - least_rows, most);
}

// The first row shown: as before, unless the selected one would not be seen, or room would be left unused.
size_t top_for(const PollModel &model, size_t shown) {
    const size_t count = model.rows.size();
    if (shown == 0 || count <= shown)
        return 0;
    if (model.selected >= count)
        return std::min(model.top, count - shown);
    const size_t lowest = model.selected >= shown ? model.selected - shown + 1 : 0;
    return std::min(std::clamp(model.top, lowest, std::max(lowest, model.selected)), count - shown);
}

}  // namespace

void RowWidths::widen_for(const PollRow &row) {
    name = std::max(name, width_of(row.name));
    place = std::max(place, width_of(row.place));
    value = std::max(value, row.widest_value);
}

PollRows::PollRows(std::vector<PollRow> rows) : count_(rows.size()) {
    for (const PollRow &row : rows)
        widths_.widen_for(row);
    row_at_ = [held = std::make_shared<const std::vector<PollRow>>(std::move(rows))](size_t index) {
        return (*held)[index];
    };
}

PollScreen poll_screen(const PollModel &model, PollScreenSize size) {
    const size_t columns = static_cast<size_t>(std::max(1, size.columns));
    const size_t lines = static_cast<size_t>(std::max(1, size.lines));
    PollScreen screen;
    if (model.help) {
        screen = help_screen();
    } else {
        constexpr size_t fixed = lines_above + table_head + lines_below;
        const size_t room = lines > fixed ? lines - fixed : 0;
        const size_t trace = trace_room(model, room);
        const Layout layout = layout_for(model.rows, columns, room - trace);
        screen.top = top_for(model, layout.shown());
        screen.rows_in_column = std::max<size_t>(1, layout.rows);
        screen.rows_shown = std::max<size_t>(1, layout.shown());

        screen.lines = {title_line(model, screen.top, layout.shown(), columns), line_state(model),
                        counts(model.link.counts), station_line(model)};
        add_table(model, layout, screen.top, screen.lines);
        if (trace > 0)
            add_trace(model, trace, screen.lines);
        if (model.prompt) {
            const auto [line, column] = prompt_line(*model.prompt, columns);
            screen.cursor = {static_cast<int>(screen.lines.size()), column};
            screen.lines.push_back(line);
        } else {
            screen.lines.push_back({{model.message, bold}});
        }
        screen.lines.push_back(key_line(model));
    }
    if (screen.lines.size() > lines)
        screen.lines.resize(lines);
    if (screen.cursor && screen.cursor->line >= static_cast<int>(lines))
        screen.cursor.reset();
    for (ScreenLine &line : screen.lines)
        line = fitted(line, columns);
    return screen;
}

}  // namespace kelpo
