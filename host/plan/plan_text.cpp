#include "host/plan/plan_text.h"

#include "host/line/line_text.h"
#include "host/plan/plan_words.h"
#include "host/text/hex.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace kelpo {
namespace {

constexpr std::size_t widest = 100;

enum class Side { left, right };

struct Column {
    const char *title;
    Side side;
};

using Cells = std::vector<std::string>;

std::string padded(const std::string &text, std::size_t width, Side side) {
    const std::string blanks(width - std::min(width, width_of(text)), ' ');
    return side == Side::left ? text + blanks : blanks + text;
}

// Columns as wide as their widest cell, two blanks between. The last column is cut where the page ends.
void print_table(const std::vector<Column> &columns, const std::vector<Cells> &rows, std::ostream &out) {
    std::vector<std::size_t> widths;
    Cells titles;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        titles.emplace_back(columns[i].title);
        std::size_t width = width_of(titles.back());
        for (const Cells &row : rows)
            width = std::max(width, width_of(row[i]));
        widths.push_back(width);
    }
    const auto print_row = [&](const Cells &row) {
        std::string line;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (i > 0)
                line += "  ";
            const std::size_t room = widest - std::min(widest, width_of(line));
            line += i + 1 == columns.size() ? cut_to(row[i], room) : padded(row[i], widths[i], columns[i].side);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << "\n";
    };
    print_row(titles);
    for (const Cells &row : rows)
        print_row(row);
}

// "a, b +3": as many names as fit into `room`, and how many more there are.
std::string names_text(const Plan &plan, const PlannedBlock &block, std::size_t room) {
    std::string text;
    for (std::size_t i = 0; i < block.variables.size(); ++i) {
        const std::string &name = plan.list.variables[block.variables[i]].name;
        const std::size_t left = block.variables.size() - i - 1;
        std::string next = text;
        next.append(text.empty() ? "" : ", ").append(name);
        const std::string rest = left > 0 ? " +" + std::to_string(left) : "";
        if (width_of(next) + rest.size() <= room) {
            text = next;
            continue;
        }
        const std::string more = " +" + std::to_string(left + 1);
        return text.empty() ? cut_to(name, room - std::min(room, rest.size())) + rest : text + more;
    }
    return text;
}

// What is not read in each cycle says how often.
std::string rate_text(const PlannedBlock &block) {
    const auto every = block.block.every.count();
    return every == 0 ? std::string() : "every " + std::to_string(every) + " ms: ";
}

std::string percent_text(double share) {
    return std::to_string(std::llround(share * 100)) + " %";
}

void print_load(const Plan &plan, std::ostream &out) {
    const auto load = plan.load();
    const std::string slow = percent_text(plan.slow_share);
    if (load && plan.cycle.requests > 0)
        out << "\nload " << percent_text(*load) << " of the line's time: a cycle in each "
            << plan.list.link.cycle.count() << " ms, and " << slow << " for what has a rate of its own\n";
    else if (load)
        out << "\nload " << slow << " of the line's time\n";
    else if (plan.slow_share > 0)
        out << "\nwhat has a rate of its own takes " << slow << " of the line's time, cycles take the rest\n";
}

std::string places_text(const PlannedRequest &request) {
    const int first = request.modbus_address();
    const char table = request.function() == 1 ? 'c' : 'r';
    std::string text = std::string(1, table) + " " + std::to_string(first);
    if (request.quantity() > 1)
        text += "-" + std::to_string(first + request.quantity() - 1);
    return text;
}

void print_blocks(const Plan &plan, std::ostream &out) {
    static const std::vector<Column> columns = {
        {"st", Side::right},   {"cl", Side::right},       {"first", Side::right},  {"count", Side::right},
        {"gaps", Side::right}, {"asks", Side::left},      {"request", Side::left}, {"reply", Side::right},
        {"ms", Side::right},   {"variables", Side::left},
    };
    constexpr std::size_t room_for_names = 24;
    std::vector<Cells> rows;
    for (const PlannedBlock &block : plan.blocks) {
        bool goes_on = false;
        for (const PlannedRequest &request : block.block.requests) {
            const std::string time = milliseconds_text(exchange_time(plan.list, block.block.station, request));
            Cells row = {"", "", "", "", ""};
            if (!goes_on)
                row = {std::to_string(block.block.station), std::to_string(block.block.register_class),
                       std::to_string(block.block.first), std::to_string(block.block.count),
                       block.unused_units() > 0 ? std::to_string(block.unused_units()) : "-"};
            row.insert(row.end(), {places_text(request), hex_text(request.bytes), std::to_string(request.reply_length),
                                   block.enabled ? time : "off",
                                   goes_on ? "" : rate_text(block) + names_text(plan, block, room_for_names)});
            rows.push_back(std::move(row));
            goes_on = true;
        }
    }
    print_table(columns, rows, out);
}

Cells traffic_cells(const Traffic &traffic) {
    return {std::to_string(traffic.requests), std::to_string(traffic.bytes_out), std::to_string(traffic.bytes_in)};
}

void print_stations(const Plan &plan, std::ostream &out) {
    static const std::vector<Column> columns = {
        {"station", Side::right},   {"blocks", Side::right},   {"gaps", Side::right}, {"requests", Side::right},
        {"bytes out", Side::right}, {"bytes in", Side::right}, {"ms", Side::right},   {"name", Side::left},
    };
    std::vector<Cells> rows;
    int blocks = 0, unused = 0;
    for (const StationPlan &station : plan.stations) {
        if (station.station.enabled) {
            blocks += station.blocks;
            unused += station.unused_units;
        }
        Cells row = {std::to_string(station.station.number), std::to_string(station.blocks),
                     std::to_string(station.unused_units)};
        const Cells traffic = traffic_cells(station.traffic);
        row.insert(row.end(), traffic.begin(), traffic.end());
        row.push_back(station.station.enabled ? milliseconds_text(station.traffic.time) : "off");
        row.push_back(station.station.name);
        rows.push_back(std::move(row));
    }
    Cells all = {"cycle", std::to_string(blocks), std::to_string(unused)};
    const Cells traffic = traffic_cells(plan.cycle);
    all.insert(all.end(), traffic.begin(), traffic.end());
    all.insert(all.end(), {milliseconds_text(plan.cycle.time), ""});
    rows.push_back(std::move(all));
    print_table(columns, rows, out);
}

// In lines of at most `widest` columns, broken at blanks; all but the first indented.
void print_wrapped(const std::string &text, std::ostream &out) {
    std::istringstream words(text);
    std::string line = "-", word;
    while (words >> word) {
        if (width_of(line) + 1 + width_of(word) > widest) {
            out << line << "\n";
            line = " ";
        }
        line += " " + word;
    }
    out << line << "\n";
}

// Only the first pieces of advice that save time: with many variables there is something to say about half of them.
void print_advice(const Plan &plan, std::ostream &out) {
    constexpr std::size_t most_savings = 8;
    std::size_t savings = 0;
    for (const Advice &advice : plan.advice)
        if (advice.saves == std::chrono::nanoseconds::zero() || ++savings <= most_savings)
            print_wrapped(advice.text, out);
    if (savings > most_savings)
        print_wrapped(std::to_string(savings - most_savings) + " more pieces of advice: see --json", out);
}

// The keys of the list that hold for this station alone.
std::string own_settings_text(const PollList &list, const Station &station) {
    std::vector<std::string> settings;
    const auto add = [&settings](const char *key, const auto &value) {
        if (value)
            settings.push_back(std::string(key) + " " + std::to_string(*value));
    };
    const auto found = list.link.stations.find(station.number);
    if (found != list.link.stations.end()) {
        const StationSettings &own = found->second;
        add("max-count", own.max_count);
        add("max-gap", own.max_gap);
        add("reply-ms", own.reply ? std::optional(own.reply->count()) : std::nullopt);
        add("retries", own.retries);
    }
    if (station.turnaround)
        settings.push_back("turnaround-ms " + milliseconds_text(*station.turnaround));
    return listed(settings);
}

void print_head(const Plan &plan, const std::string &title, std::ostream &out) {
    const LineSettings &line = plan.list.link.line;
    out << printable(title) << ": " << counted(static_cast<std::int64_t>(plan.list.variables.size()), "variable")
        << " of " << counted(static_cast<std::int64_t>(plan.stations.size()), "station") << " in "
        << counted(static_cast<std::int64_t>(plan.blocks.size()), "block") << ", at most " << plan.list.link.max_count
        << " registers in each\n"
        << character_text(line) << ": " << line.character_time().count() / 1000 << " us a character, "
        << milliseconds_text(line.frame_gap()) << " ms between frames, " << milliseconds_text(plan.list.turnaround)
        << " ms until a controller answers" << (plan.list.link.takes_off_echo ? ", echoes taken off" : "") << "\n";
    for (const StationPlan &station : plan.stations)
        if (const std::string own = own_settings_text(plan.list, station.station); !own.empty())
            out << "station " << station.station.number << ": " << own << "\n";
}

}  // namespace

void print_plan(const Plan &plan, const std::string &title, std::ostream &out) {
    print_head(plan, title, out);
    out << "\n";
    print_blocks(plan, out);
    out << "(c: coils, r: holding registers, as Modbus counts them from 0)\n\n";
    print_stations(plan, out);
    print_load(plan, out);
    if (!plan.advice.empty())
        out << "\n";
    print_advice(plan, out);
}

}  // namespace kelpo
