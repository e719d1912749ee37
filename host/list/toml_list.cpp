#include "host/list/toml_list.h"

#include "host/line/line_text.h"
#include "host/list/service_tables.h"
#include "host/text/words.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

// The parser asserts, and with NDEBUG assumes, what is not true for a hostile file ("[[["); after each such place it
// also has a message for the user. So it is built with assertions, and these do nothing.
#ifdef NDEBUG
#    undef NDEBUG
#endif
#define TOML_ASSERT(condition) static_cast<void>(0)
// Nested values are read by recursion. A list has nothing deeper than tables in arrays.
#define TOML_MAX_NESTED_VALUES 16
#include <toml++/toml.h>

namespace kelpo {
namespace {

constexpr unsigned known_speeds[] = {50,      75,      110,     134,     150,     200,    300,     600,
                                     1200,    1800,    2400,    4800,    9600,    19200,  38400,   57600,
                                     115200,  230400,  460800,  500000,  576000,  921600, 1000000, 1152000,
                                     1500000, 2000000, 2500000, 3000000, 3500000, 4000000};

// The parser makes a table in a table of each part of a key and walks through them by recursion, so that an endless key
// would exhaust the stack. A key is in one line, and adjacent points separate nothing.
constexpr int most_points = 100;

// The first line with more of them, 0 if none has.
int line_of_too_many_points(std::string_view text) {
    int line = 1, points = 0;
    char before = '\n';
    for (const char letter : text) {
        if (letter == '\n') {
            ++line;
            points = 0;
        } else if (letter == '.' && before != '.' && ++points > most_points) {
            return line;
        }
        before = letter;
    }
    return 0;
}

// What the parser 3.3 does with letters beyond ASCII outside quotes, and after a continued line, is not defined. So it
// gets none: each of their bytes is passed as %HH, which TOML accepts only in quotes and comments, like such letters.
constexpr char mark = '%';
constexpr std::string_view hex_digits = "0123456789ABCDEF";

bool is_beyond_ascii(char letter) {
    return static_cast<unsigned char>(letter) >= 0x80;
}

std::string encoded(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char letter : text) {
        if (letter != mark && !is_beyond_ascii(letter)) {
            result += letter;
            continue;
        }
        const auto byte = static_cast<unsigned char>(letter);
        result += {mark, hex_digits[byte >> 4], hex_digits[byte & 15]};
    }
    return result;
}

// `text` from the parser as the file has it.
std::string decoded(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == mark && i + 2 < text.size()) {
            const std::size_t high = hex_digits.find(text[i + 1]), low = hex_digits.find(text[i + 2]);
            if (high != std::string_view::npos && low != std::string_view::npos) {
                result += static_cast<char>(high * 16 + low);
                i += 2;
                continue;
            }
        }
        result += text[i];
    }
    return result;
}

// The line of an escape that means the mark itself, 0 if there is none.
int line_of_escaped_mark(std::string_view text) {
    for (const std::string_view escape : {"\\u0025", "\\U00000025"})
        if (const std::size_t at = text.find(escape); at != std::string_view::npos)
            return 1 + static_cast<int>(std::count(text.begin(), text.begin() + at, '\n'));
    return 0;
}

int line_of(const toml::node &node) {
    return static_cast<int>(node.source().begin.line);
}

std::string kind_of(const toml::node &node) {
    switch (node.type()) {
    case toml::node_type::string:
        return "a text";
    case toml::node_type::integer:
        return "a whole number";
    case toml::node_type::floating_point:
        return "a number with a point";
    case toml::node_type::boolean:
        return "true or false";
    case toml::node_type::table:
        return "a table";
    case toml::node_type::array:
        return "an array";
    default:
        return "a date or time";
    }
}

/// Reads one table: its known keys, each by kind, and notes what does not fit.
class TableReader : public ListTable {
public:
    /// `title` is how a user writes the table: "[line]"; empty for the file itself.
    TableReader(const toml::table &table, std::string title, const std::string &file, ListBuilder &builder)
        : table_(table), title_(std::move(title)), file_(file), builder_(builder) {}

    /// Notes all keys but these.
    void allow(const std::vector<std::string> &keys) override {
        for (const auto &[key, value] : table_) {
            const std::string name = decoded(key.str());
            if (std::find(keys.begin(), keys.end(), name) != keys.end())
                continue;
            const std::optional<std::string> meant = nearest(name, keys);
            const std::string where = title_.empty() ? "" : " in " + title_;
            builder_.mistake({file_, static_cast<int>(key.source().begin.line)},
                             "unknown key " + in_quotes(name) + where + "; " +
                                 (meant ? in_quotes(*meant) + " was meant" : "known are " + listed(keys)));
        }
    }

    const toml::node *find(const char *key) const {
        return table_.get(key);
    }

    bool has(const char *key) const override {
        return find(key) != nullptr;
    }

    void refuse_key(const char *key, const std::string &what) override {
        const toml::node *const node = find(key);
        refuse(node == nullptr ? table_ : *node, what);
    }

    void refuse(const toml::node &node, const std::string &what) {
        builder_.mistake({file_, line_of(node)}, what);
    }

    void refuse_kind(const char *key, const toml::node &node, const std::string &right) {
        refuse(node, std::string(key) + " is " + kind_of(node) + "; " + right);
    }

    std::optional<std::string> text(const char *key, const std::string &example) override {
        const toml::node *const node = find(key);
        if (node == nullptr)
            return std::nullopt;
        if (const auto *const value = node->as_string())
            return decoded(value->get());
        refuse_kind(key, *node, "a text in quotes, such as " + std::string(key) + " = \"" + example + "\"");
        return std::nullopt;
    }

    std::vector<std::string> texts(const char *key, const std::string &example) override {
        const toml::node *const node = find(key);
        std::vector<std::string> found;
        if (node == nullptr)
            return found;
        const std::string right = "an array of texts, such as " + std::string(key) + " = [\"" + example + "\"]";
        if (!node->is_array()) {
            refuse_kind(key, *node, right);
            return found;
        }
        for (const toml::node &element : *node->as_array()) {
            if (const auto *const value = element.as_string())
                found.push_back(decoded(value->get()));
            else
                refuse_kind(key, element, right);
        }
        return found;
    }

    std::optional<std::int64_t> number(const char *key, std::int64_t low, std::int64_t high) override {
        const toml::node *const node = find(key);
        if (node == nullptr)
            return std::nullopt;
        const std::string right = "a whole number, " + std::to_string(low) + " to " + std::to_string(high);
        const auto *const value = node->as_integer();
        if (value == nullptr)
            refuse_kind(key, *node, right);
        else if (value->get() < low || value->get() > high)
            refuse(*node, std::string(key) + " " + std::to_string(value->get()) + "; " + right);
        else
            return value->get();
        return std::nullopt;
    }

    std::optional<bool> truth(const char *key) {
        const toml::node *const node = find(key);
        if (node == nullptr)
            return std::nullopt;
        if (const auto *const value = node->as_boolean())
            return value->get();
        refuse_kind(key, *node, "true or false, without quotes");
        return std::nullopt;
    }

    /// Milliseconds, fractions allowed.
    std::optional<std::chrono::nanoseconds> time(const char *key, int low, int high) {
        const toml::node *const node = find(key);
        if (node == nullptr)
            return std::nullopt;
        const std::string right = "milliseconds, " + std::to_string(low) + " to " + std::to_string(high);
        const std::optional<double> value = node->is_number() ? node->value<double>() : std::nullopt;
        if (!value) {
            refuse_kind(key, *node, right);
            return std::nullopt;
        }
        // Written so that "not a number" is refused as well.
        if (!(*value >= low && *value <= high)) {
            refuse(*node, std::string(key) + " is out of range; " + right);
            return std::nullopt;
        }
        return std::chrono::nanoseconds(std::llround(*value * 1e6));
    }

    /// A whole number or a text, as text; for keys that the builder judges.
    std::optional<Field> field(const char *key, const std::string &right) {
        const toml::node *const node = find(key);
        if (node == nullptr)
            return std::nullopt;
        if (const auto *const value = node->as_string())
            return Field{decoded(value->get()), line_of(*node)};
        const auto *const value = node->as_integer();
        if (value == nullptr) {
            refuse_kind(key, *node, right);
            return Field{"", line_of(*node), true};
        }
        // What the driver reads is the text; 0x10 or 0o20 would say another one than the user sees.
        const bool prefixed = value->flags() != toml::value_flags::none;
        if (prefixed)
            refuse(*node, std::string(key) + " has a prefix such as 0x or 0o; " + right);
        return Field{std::to_string(value->get()), line_of(*node), prefixed};
    }

private:
    const toml::table &table_;
    std::string title_;
    const std::string &file_;
    ListBuilder &builder_;
};

/// Reads the whole file.
class ListReader {
public:
    ListReader(const toml::table &root, const std::string &file, PollList &list, ListBuilder &builder)
        : root_(root), file_(file), list_(list), builder_(builder), top_(root, "", file, builder) {}

    std::optional<Field> read() {
        top_.allow({"line", "link", "timeouts", "site", "mqtt", "station", "variable", "variables"});
        read_line();
        read_link();
        read_timeouts();
        read_service();
        for (const toml::node *const node : tables("station"))
            read_station(*node->as_table());
        for (const toml::node *const node : tables("variable"))
            read_variable(*node->as_table());
        return read_variables_file();
    }

private:
    const toml::table *table(const char *key) {
        const toml::node *const node = root_.get(key);
        if (node == nullptr)
            return nullptr;
        if (!node->is_table())
            builder_.mistake({file_, line_of(*node)},
                             std::string(key) + " is " + kind_of_table(*node) + "; write it as a table, [" + key + "]");
        return node->as_table();
    }

    static std::string kind_of_table(const toml::node &node) {
        return node.is_array_of_tables() ? "an array of tables" : kind_of(node);
    }

    // The tables of an array of tables; anything else in its place is noted.
    std::vector<const toml::node *> tables(const char *key) {
        std::vector<const toml::node *> found;
        const toml::node *const node = root_.get(key);
        if (node == nullptr)
            return found;
        const std::string right = "; write each as a table of its own, [[" + std::string(key) + "]]";
        if (!node->is_array()) {
            builder_.mistake({file_, line_of(*node)}, std::string(key) + " is " + kind_of(*node) + right);
            return found;
        }
        for (const toml::node &element : *node->as_array()) {
            if (element.is_table())
                found.push_back(&element);
            else
                builder_.mistake({file_, line_of(element)}, std::string(key) + " is " + kind_of(element) + right);
        }
        return found;
    }

    void read_line() {
        const toml::table *const found = table("line");
        if (found == nullptr)
            return;
        TableReader reader(*found, "[line]", file_, builder_);
        reader.allow({"path", "speed", "parity", "stop-bits", "rs485", "gap-ms"});
        LineSettings &line = list_.link.line;
        if (const auto path = reader.text("path", "/dev/ttyUSB0")) {
            if (trimmed(*path).empty() || !is_printable(*path))
                reader.refuse(*reader.find("path"),
                              "path " + in_quotes(*path) + " names no line; \"/dev/ttyUSB0\" or \"tcp:HOST:PORT\"");
            line.path = *path;
        }
        read_speed(reader, line);
        read_parity(reader, line);
        if (const auto stop_bits = reader.number("stop-bits", 1, 2))
            line.stop_bits = static_cast<int>(*stop_bits);
        line.rs485 = reader.truth("rs485").value_or(line.rs485);
        if (const auto gap = reader.time("gap-ms", 0, 1000))
            line.gap = *gap;
    }

    static void read_speed(TableReader &reader, LineSettings &line) {
        const auto speed = reader.number("speed", known_speeds[0], *std::prev(std::end(known_speeds)));
        if (!speed)
            return;
        const auto wanted = static_cast<unsigned>(*speed);
        const unsigned *const close =
            std::min_element(std::begin(known_speeds), std::end(known_speeds), [wanted](unsigned one, unsigned other) {
                const auto away = [wanted](unsigned rate) {
                    return rate > wanted ? rate - wanted : wanted - rate;
                };
                return away(one) < away(other);
            });
        if (*close != wanted)
            reader.refuse(*reader.find("speed"), "speed " + std::to_string(wanted) +
                                                     " is not a rate that serial lines have; the nearest is " +
                                                     std::to_string(*close));
        line.speed = wanted;
    }

    static void read_parity(TableReader &reader, LineSettings &line) {
        const auto name = reader.text("parity", "even");
        if (!name)
            return;
        const auto parity = parity_named(*name);
        if (!parity)
            reader.refuse(*reader.find("parity"), "parity " + in_quotes(*name) + "; \"none\", \"even\" or \"odd\"");
        line.parity = parity.value_or(line.parity);
    }

    void read_link() {
        const toml::table *const found = table("link");
        if (found == nullptr)
            return;
        TableReader reader(*found, "[link]", file_, builder_);
        reader.allow({"retries", "max-count", "cycle-ms", "rest", "rest-after", "retry-s", "echo"});
        if (const auto retries = reader.number("retries", 0, 100))
            list_.link.retries = static_cast<int>(*retries);
        if (const auto max_count = reader.number("max-count", 1, 100))
            list_.link.max_count = static_cast<int>(*max_count);
        if (const auto cycle = reader.number("cycle-ms", 0, 3600000))
            list_.link.cycle = std::chrono::milliseconds(*cycle);
        RestSettings &rest = list_.link.rest;
        rest.enabled = reader.truth("rest").value_or(rest.enabled);
        if (const auto after = reader.number("rest-after", 1, 100))
            rest.after = static_cast<int>(*after);
        if (const auto longest = reader.number("retry-s", 1, 3600))
            rest.longest = std::chrono::seconds(*longest);
        if (const auto echo = reader.text("echo", "auto")) {
            if (*echo != "auto" && *echo != "off")
                reader.refuse(*reader.find("echo"), "echo " + in_quotes(*echo) + "; \"auto\" or \"off\"");
            list_.link.takes_off_echo = *echo == "auto";
        }
    }

    void read_timeouts() {
        const toml::table *const found = table("timeouts");
        if (found == nullptr)
            return;
        using std::chrono::milliseconds;
        TableReader reader(*found, "[timeouts]", file_, builder_);
        reader.allow({"reply-ms", "inter-character-ms", "settle-ms", "turnaround-ms"});
        ReplyTimeouts &timeouts = list_.link.timeouts;
        if (const auto time = reader.number("reply-ms", 1, 60000))
            timeouts.reply = milliseconds(*time);
        if (const auto time = reader.number("inter-character-ms", 1, 60000))
            timeouts.inter_character = milliseconds(*time);
        if (const auto time = reader.number("settle-ms", 0, 60000))
            timeouts.settle = milliseconds(*time);
        list_.turnaround = turnaround_in(reader).value_or(list_.turnaround);
    }

    void read_service() {
        if (const toml::table *const found = table("site")) {
            TableReader reader(*found, "[site]", file_, builder_);
            list_.site = site_settings_in(reader);
        }
        if (const toml::table *const found = table("mqtt")) {
            TableReader reader(*found, "[mqtt]", file_, builder_);
            list_.mqtt = mqtt_settings_in(reader);
            if (root_.get("site") == nullptr)
                reader.refuse(*found, "[mqtt] without [site]; add [site] with site and line, which make the topics");
        }
    }

    static std::optional<std::chrono::microseconds> turnaround_in(TableReader &reader) {
        const auto time = reader.time("turnaround-ms", 0, 60000);
        if (!time)
            return std::nullopt;
        return std::chrono::duration_cast<std::chrono::microseconds>(*time);
    }

    static std::optional<std::chrono::milliseconds> every_in(TableReader &reader) {
        const auto time = reader.number("every-ms", 0, 86400000);
        return time ? std::optional<std::chrono::milliseconds>(*time) : std::nullopt;
    }

    static void refuse_single_writes(TableReader &reader) {
        if (reader.truth("write-single").value_or(false))
            reader.refuse(*reader.find("write-single"),
                          "write-single = true; the driver writes registers with function 16, a single one too: let "
                          "the controller accept that, or write the register's bits as types 15 to 17, which go out "
                          "with function 6");
    }

    static StationSettings settings_of_station(TableReader &reader) {
        const auto number = [&reader](const char *key, int low, int high) -> std::optional<int> {
            const auto found = reader.number(key, low, high);
            return found ? std::optional<int>(static_cast<int>(*found)) : std::nullopt;
        };
        StationSettings settings;
        settings.max_count = number("max-count", 1, 100);
        settings.max_gap = number("max-gap", 0, 100);
        settings.retries = number("retries", 0, 100);
        if (const auto time = reader.number("reply-ms", 1, 60000))
            settings.reply = std::chrono::milliseconds(*time);
        return settings;
    }

    void read_station(const toml::table &found) {
        TableReader reader(found, "[[station]]", file_, builder_);
        reader.allow({"number", "name", "enabled", "max-count", "max-gap", "reply-ms", "retries", "turnaround-ms",
                      "every-ms", "write-single"});
        const std::string name = reader.text("name", "boiler house").value_or("");
        if (!is_printable(name))
            reader.refuse(*reader.find("name"),
                          "name " + in_quotes(name) + " has control characters; letters, digits, signs and blanks");
        const bool enabled = reader.truth("enabled").value_or(true);
        if (reader.find("number") == nullptr)
            builder_.mistake({file_, line_of(found)}, "no number; the station's number on the line, 1 to 247");
        refuse_single_writes(reader);
        const StationSettings settings = settings_of_station(reader);
        const auto turnaround = turnaround_in(reader);
        if (const auto number = reader.number("number", 1, 247)) {
            builder_.add_station(
                file_, {line_of(found), {static_cast<int>(*number), name, enabled, every_in(reader), turnaround}});
            list_.link.stations[static_cast<int>(*number)] = settings;
        }
    }

    void read_variable(const toml::table &found) {
        TableReader reader(found, "[[variable]]", file_, builder_);
        reader.allow({"name", "station", "type", "address", "count", "view", "every-ms"});
        VariableRow row{line_of(found), {}, {}, {}, {}, {}, {}};
        const auto text = [&reader](const char *key, const char *example) -> std::optional<Field> {
            const toml::node *const node = reader.find(key);
            if (node == nullptr)
                return std::nullopt;
            const auto value = reader.text(key, example);
            return Field{value.value_or(""), line_of(*node), !value};
        };
        row.name = text("name", "boiler temperature");
        row.view = text("view", "signed");
        row.station = reader.field("station", "a whole number, 1 to 247");
        row.type = reader.field("type", "a register type, 0 to 17");
        row.address = reader.field("address", "write it in quotes as the controller has it, such as \"6.4\"");
        row.count = reader.field("count", "a whole number");
        row.every = reader.field("every-ms", "milliseconds, 0 to 86400000");
        builder_.add_variable(file_, row);
    }

    std::optional<Field> read_variables_file() {
        const auto name = top_.text("variables", "variables.csv");
        if (!name)
            return std::nullopt;
        if (!trimmed(*name).empty() && is_printable(*name))
            return Field{*name, line_of(*top_.find("variables"))};
        top_.refuse(*top_.find("variables"), "variables " + in_quotes(*name) + " names no file; \"variables.csv\"");
        return std::nullopt;
    }

    const toml::table &root_;
    const std::string &file_;
    PollList &list_;
    ListBuilder &builder_;
    TableReader top_;
};

// The place of an error in the text that the parser got.
std::size_t offset_of(const toml::source_position &place, std::string_view text) {
    std::size_t line = 0;
    for (toml::source_index i = 1; i < place.line; ++i)
        line = std::min(text.find('\n', line), text.size() - 1) + 1;
    return std::min(line + place.column - 1, text.size());
}

std::string what_is_wrong(const toml::parse_error &error, std::string_view text) {
    const std::string said(error.description());
    // The parser cuts long texts, which may leave a part of a letter.
    std::string shown = is_utf8(decoded(said)) ? decoded(said) : said;
    const std::size_t at = offset_of(error.source().begin, text);
    const std::string rest = decoded(text.substr(at, 12));
    if (!rest.empty() && is_beyond_ascii(rest[0])) {
        const std::size_t line = text.rfind('\n', at) + 1;
        if (text.substr(line, at - line).find('\\') == std::string_view::npos)
            return "a letter beyond ASCII outside quotes; put the key or the value into double quotes";
        // After a backslash in quotes; of the letter the parser saw only the mark.
        std::size_t length = 1;
        while (length < rest.size() && (rest[length] & 0xC0) == 0x80)
            ++length;
        if (const std::size_t seen = shown.rfind(mark); seen != std::string::npos)
            shown.replace(seen, 1, rest.substr(0, length));
    }
    return "this is not TOML: " + printable(shown);
}

}  // namespace

std::optional<Field> add_toml_list(std::string_view text, const std::string &file, PollList &list,
                                   ListBuilder &builder) {
    if (const int line = line_of_too_many_points(text); line > 0) {
        builder.mistake({file, line}, "more than " + std::to_string(most_points) +
                                          " points in one line; a key of a list has one or two parts, such as "
                                          "line.speed");
        return std::nullopt;
    }
    if (const int line = line_of_escaped_mark(text); line > 0) {
        builder.mistake({file, line}, std::string("an escape for ") + mark + "; write the letter itself");
        return std::nullopt;
    }
    const std::string ascii = encoded(text);
    try {
        const toml::table root = toml::parse(ascii);
        return ListReader(root, file, list, builder).read();
    } catch (const toml::parse_error &error) {
        builder.mistake({file, static_cast<int>(error.source().begin.line)}, what_is_wrong(error, ascii));
        return std::nullopt;
    }
}

}  // namespace kelpo
