#include "host/frames/trace_file.h"

#include "common/regular_file.h"
#include "host/frames/trace_time.h"
#include "host/text/hex.h"
#include "host/text/words.h"

#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

namespace kelpo {
namespace {

using Direction = TraceRecord::Direction;

constexpr std::string_view magic = "# kelpo trace ";
constexpr std::string_view version = "1";
constexpr std::size_t longest_line = 8192;
constexpr std::size_t most_bytes = 1024;
constexpr std::size_t most_mistakes = 100;

struct Mark {
    char mark;
    Direction direction;
};

constexpr Mark marks[] = {
    {'>', Direction::sent}, {'<', Direction::received}, {'~', Direction::discarded}, {'*', Direction::note}};

struct Field {
    const char *name;
    int TraceContext::*member;
};

constexpr Field fields[] = {{"type", &TraceContext::type},
                            {"address", &TraceContext::address},
                            {"count", &TraceContext::count},
                            {"group", &TraceContext::group},
                            {"id", &TraceContext::id}};

// A line that is wrong, in words.
struct Mistake {
    std::string text;
};

// Without the first word, which is returned.
std::string_view take_word(std::string_view &rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    const std::string_view word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(word.size());
    return word;
}

std::uint8_t byte_of(std::string_view word) {
    unsigned value = 0;
    const char *const end = word.data() + word.size();
    const auto [stopped, error] = std::from_chars(word.data(), end, value, 16);
    if (word.size() != 2 || error != std::errc() || stopped != end)
        throw Mistake{in_quotes(word) + " is not a byte; two hexadecimal digits, such as 0A"};
    return static_cast<std::uint8_t>(value);
}

FrameBytes bytes_in_hex(std::string_view text) {
    FrameBytes bytes;
    for (std::string_view word = take_word(text); !word.empty(); word = take_word(text)) {
        if (bytes.size() == most_bytes)
            throw Mistake{"more than " + std::to_string(most_bytes) + " bytes"};
        bytes.push_back(byte_of(word));
    }
    return bytes;
}

int number_of(std::string_view text, std::string_view word) {
    const auto value = whole_number(text);
    if (!value || *value < std::numeric_limits<int>::min() || *value > std::numeric_limits<int>::max())
        throw Mistake{in_quotes(word) + " has no whole number after its ="};
    return static_cast<int>(*value);
}

TraceContext context_of(std::string_view text) {
    TraceContext context{};
    for (const Field &field : fields) {
        const std::string_view word = take_word(text);
        const std::string start = std::string(field.name) + '=';
        if (word.substr(0, start.size()) != start)
            throw Mistake{(word.empty() ? "nothing" : in_quotes(word)) + " is where " + start +
                          "NUMBER is expected; after | come type, address, count, group, id"};
        context.*field.member = number_of(word.substr(start.size()), word);
    }
    if (const std::string_view more = take_word(text); !more.empty())
        throw Mistake{in_quotes(more) + " comes after id=NUMBER, which ends the line"};
    return context;
}

Direction direction_of(std::string_view word) {
    for (const Mark &row : marks)
        if (word.size() == 1 && word.front() == row.mark)
            return row.direction;
    throw Mistake{in_quotes(word) + " is not a direction; > sent, < received, ~ thrown away, * a note"};
}

TraceRecord record_of(std::string_view line) {
    const std::string_view date = take_word(line), clock = take_word(line);
    const std::optional<TraceTime> time = time_from(date, clock);
    if (!time)
        throw Mistake{in_quotes(date) + ' ' + in_quotes(clock) +
                      " is not a time; date and time, such as 2026-11-21 05:31:26.123456"};
    TraceRecord record{*time, direction_of(take_word(line)), {}, {}, {}};
    if (record.direction == Direction::note) {
        record.text = line.empty() ? "" : line.substr(1);
        return record;
    }
    const std::size_t bar = line.find('|');
    record.bytes = bytes_in_hex(line.substr(0, bar));
    if (bar != std::string_view::npos)
        record.context = context_of(line.substr(bar + 1));
    if (record.bytes.empty() && record.direction != Direction::received)
        throw Mistake{"no bytes; only a reply may have none"};
    return record;
}

// One line, at most its first `longest_line` bytes; `cut` says that there were more. False at the end of the file.
bool take_line(std::istream &in, std::string &line, bool &cut) {
    line.clear();
    cut = false;
    constexpr int end_of_file = std::istream::traits_type::eof();
    auto *const buffer = in.rdbuf();
    int next = buffer->sbumpc();
    if (next == end_of_file)
        return false;
    for (; next != end_of_file && next != '\n'; next = buffer->sbumpc()) {
        if (line.size() < longest_line)
            line += static_cast<char>(next);
        else
            cut = true;
    }
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return true;
}

bool starts_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

std::string head_mistake(std::string_view line) {
    if (!starts_with(line, magic))
        return "this is not a saved trace; its first line would be # kelpo trace 1";
    return "a saved trace of another version, " + in_quotes(line.substr(magic.size())) +
           "; this program reads version " + std::string(version);
}

}  // namespace

char mark_of(Direction direction) {
    for (const Mark &row : marks)
        if (row.direction == direction)
            return row.mark;
    return '*';
}

std::string trace_file_head() {
    return std::string(magic) + std::string(version) + "\n# times are UTC; > sent, < received, ~ thrown away, * note\n";
}

std::string trace_file_line(const TraceRecord &record) {
    std::string line = date_text(record.time, TimeZone::utc) + ' ' + clock_text(record.time, TimeZone::utc) + ' ' +
                       mark_of(record.direction);
    if (record.direction == Direction::note)
        return line + ' ' + printable(record.text) + '\n';
    if (!record.bytes.empty())
        line += ' ' + hex_text(record.bytes);
    if (record.context) {
        line += " |";
        for (const Field &field : fields)
            line += std::string(" ") + field.name + '=' + std::to_string((*record.context).*field.member);
    }
    return line + '\n';
}

bool is_trace_file(const std::string &file) {
    return common::file_starts_with(file, magic);
}

std::size_t read_trace(std::istream &in, const std::string &file, const TraceReading &reading) {
    std::size_t mistakes = 0, number = 0;
    const auto report = [&](const std::string &what) {
        ++mistakes;
        reading.mistake(file + ':' + std::to_string(number) + ": " + what);
    };

    std::string line;
    bool cut = false;
    number = 1;
    if (!take_line(in, line, cut) || line != std::string(magic) + std::string(version)) {
        report(head_mistake(line));
        return mistakes;
    }
    while (take_line(in, line, cut)) {
        ++number;
        if (line.empty() || line.front() == '#')
            continue;
        try {
            if (cut)
                throw Mistake{"a line of more than " + std::to_string(longest_line) + " bytes"};
            if (!reading.record(record_of(line)))
                return mistakes;
        } catch (const Mistake &mistake) {
            report(mistake.text);
            if (mistakes == most_mistakes) {
                reading.mistake(file + ": " + std::to_string(mistakes) + " mistakes; the rest is not read");
                return mistakes;
            }
        }
    }
    return mistakes;
}

}  // namespace kelpo
