#include "host/engine/records.h"

#include "host/driver/value_json.h"
#include "host/frames/trace_time.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace kelpo {
namespace {

/// One record, before it has a form. What does not apply is left out.
struct Record {
    RecordTime time;
    std::string kind;
    std::string name;
    std::optional<int> station, type;
    std::string address;
    std::optional<std::int64_t> count;
    std::string text;
    std::optional<Json> values;
    std::optional<std::int64_t> pause;  // milliseconds
    std::string quality;
    std::optional<RecordTime> read_at;
    std::string words;  // of the plain form
};

constexpr const char *csv_head = "time,kind,name,station,type,address,count,text,quality,read_at\n";

TraceTime in_microseconds(RecordTime time) {
    return std::chrono::time_point_cast<std::chrono::microseconds>(time);
}

std::string local_clock(RecordTime time) {
    constexpr std::size_t hh_mm_ss_mmm = 12;
    return clock_text(in_microseconds(time), TimeZone::local).substr(0, hh_mm_ss_mmm);
}

std::string json_line(const Record &record) {
    Json line = Json::object();
    line.set("time", utc_text(in_microseconds(record.time)));
    line.set("kind", record.kind);
    if (!record.name.empty())
        line.set("name", record.name);
    if (record.station)
        line.set("station", *record.station);
    if (record.type)
        line.set("type", *record.type);
    if (!record.address.empty())
        line.set("address", record.address);
    if (record.count)
        line.set("count", *record.count);
    if (record.values)
        line.set("values", *record.values);
    line.set("text", record.text);
    if (record.pause)
        line.set("pause_ms", *record.pause);
    if (!record.quality.empty())
        line.set("quality", record.quality);
    if (record.read_at)
        line.set("read_at", utc_text(in_microseconds(*record.read_at)));
    return line.in_one_line() + "\n";
}

bool is_number(const std::string &text) {
    char *end = nullptr;
    std::strtod(text.c_str(), &end);
    return *end == '\0' && text.find_first_not_of("+-.0123456789e") == std::string::npos;
}

// Spreadsheets calculate what begins so, unless it is a number. After an apostrophe they take it for text.
bool would_be_calculated(const std::string &text) {
    const std::string_view words = trimmed(text);
    return !words.empty() && std::string_view("=+-@").find(words[0]) != std::string_view::npos && !is_number(text);
}

std::string csv_field(const std::string &text) {
    std::string shown = (would_be_calculated(text) ? "'" : "") + printable(text);
    if (shown.find_first_of("\",;") == std::string::npos)
        return shown;
    std::string field = "\"";
    for (const char letter : shown)
        field += letter == '"' ? std::string("\"\"") : std::string(1, letter);
    return field + "\"";
}

template <typename Number> std::string csv_number(const std::optional<Number> &number) {
    return number ? std::to_string(*number) : "";
}

std::string csv_line(const Record &record) {
    return utc_text(in_microseconds(record.time)) + "," + record.kind + "," + csv_field(record.name) + "," +
           csv_number(record.station) + "," + csv_number(record.type) + "," + csv_field(record.address) + "," +
           csv_number(record.count) + "," + csv_field(record.text) + "," + record.quality + "," +
           (record.read_at ? utc_text(in_microseconds(*record.read_at)) : "") + "\n";
}

std::string line_of(RecordFormat format, const Record &record) {
    switch (format) {
    case RecordFormat::csv:
        return csv_line(record);
    case RecordFormat::json:
        return json_line(record);
    case RecordFormat::plain:
        break;
    }
    return local_clock(record.time) + " " + printable(record.words) + "\n";
}

void name_variable(Record &record, const Variable &variable) {
    record.name = variable.name;
    record.station = variable.station;
    record.type = variable.type;
    record.address = variable.address;
    record.count = variable.count;
}

const char *kind_of(PollEvent::Kind kind) {
    switch (kind) {
    case PollEvent::Kind::given_up:
        return "given-up";
    case PollEvent::Kind::station_down:
        return "station-down";
    case PollEvent::Kind::station_rests:
        return "station-rests";
    case PollEvent::Kind::station_back:
        return "station-back";
    case PollEvent::Kind::line_lost:
        return "line-lost";
    case PollEvent::Kind::line_back:
        return "line-back";
    case PollEvent::Kind::write_done:
        return "write-done";
    case PollEvent::Kind::write_expired:
        return "write-expired";
    case PollEvent::Kind::remark:
        return "remark";
    case PollEvent::Kind::write_failed:
        break;
    }
    return "write-failed";
}

}  // namespace

std::string left_out_record(RecordFormat format, RecordTime time, std::int64_t count) {
    Record record{};
    record.time = time;
    record.kind = "left-out";
    record.count = count;
    record.text = counted(count, "record") + (count == 1 ? " is" : " are") + " left out here: the reader was too slow";
    record.words = "* " + record.text;
    return line_of(format, record);
}

std::string record_head(RecordFormat format) {
    return format == RecordFormat::csv ? csv_head : "";
}

std::string value_record(RecordFormat format, RecordTime time, const Variable &variable, const VariableState &state) {
    Record record{};
    record.time = time;
    record.kind = "value";
    name_variable(record, variable);
    record.text = shown_text(variable, state);
    record.values = json_values(variable.view, values_in(variable.view, state.bytes));
    record.quality = word_of(state.quality);
    record.read_at = state.wall_time;
    record.words = variable.name + " = " + record.text;
    if (state.quality != Quality::good)
        record.words += " (" + record.quality + ", read at " + local_clock(state.wall_time) + ")";
    return line_of(format, record);
}

std::string event_record(RecordFormat format, const PollEvent &event, const std::vector<Variable> &variables) {
    Record record{};
    record.time = event.time;
    record.kind = kind_of(event.kind);
    record.text = event.text;
    record.words = "* " + words_of(event, variables);
    switch (event.kind) {
    case PollEvent::Kind::given_up:
        record.station = event.place.station;
        record.type = event.place.type;
        record.address = std::to_string(event.place.address);
        record.count = event.count;
        break;
    case PollEvent::Kind::station_rests:
        record.pause = event.pause.count();
        record.station = event.place.station;
        break;
    case PollEvent::Kind::station_down:
    case PollEvent::Kind::station_back:
        record.station = event.place.station;
        break;
    case PollEvent::Kind::line_lost:
        record.pause = event.pause.count();
        break;
    case PollEvent::Kind::line_back:
    case PollEvent::Kind::remark:
        break;
    case PollEvent::Kind::write_done:
    case PollEvent::Kind::write_failed:
    case PollEvent::Kind::write_expired:
        if (event.variable)
            name_variable(record, variables[*event.variable]);
        break;
    }
    return line_of(format, record);
}

std::string refusal_record(RecordFormat format, RecordTime time, const Variable *variable, const std::string &why) {
    Record record{};
    record.time = time;
    record.kind = "write-refused";
    if (variable != nullptr)
        name_variable(record, *variable);
    record.text = why;
    record.words = "* " + why;
    return line_of(format, record);
}

}  // namespace kelpo
