#include "host/once/reference.h"

#include "host/driver/register_types.h"
#include "host/text/words.h"

#include <algorithm>

namespace kelpo {
namespace {

constexpr int most_values = 65536;

[[noreturn]] void refuse(const std::string &text, const std::string &why) {
    throw ReferenceError("'" + text + "': " + why);
}

// The parts of a reference as text; those after x, / and = may be missing.
struct Parts {
    std::string place;  // what comes before the values
    std::optional<std::string> station;
    std::string type;
    std::string address;
    std::optional<std::string> count;
    std::optional<std::string> view;
    std::optional<std::string> values;
};

// Takes what comes after the first `mark` off the end of `text`.
std::optional<std::string> cut_after(std::string &text, char mark) {
    const std::size_t at = text.find(mark);
    if (at == std::string::npos)
        return std::nullopt;
    const std::string after = text.substr(at + 1);
    text.erase(at);
    return after;
}

Parts parts_of(const std::string &text) {
    Parts parts;
    std::string rest = text;
    parts.values = cut_after(rest, '=');
    parts.place = rest;
    parts.view = cut_after(rest, '/');
    parts.count = cut_after(rest, 'x');
    if (std::count(rest.begin(), rest.end(), ':') == 2)
        parts.station = rest.substr(0, rest.find(':'));
    if (parts.station)
        rest.erase(0, parts.station->size() + 1);
    const auto address = cut_after(rest, ':');
    if (!address || address->find(':') != std::string::npos)
        refuse(text, "a reference is STATION:TYPE:ADDRESS, such as 1:7:100");
    if (address->empty())
        refuse(text, "there is no address; one is written as in 1:7:100");
    parts.type = rest;
    parts.address = *address;
    return parts;
}

int station_of(const std::string &text, const Parts &parts, std::optional<int> given) {
    if (!parts.station && !given)
        refuse(text, "there is no station; write it in front, such as 1:" + parts.place + ", or give --station");
    const auto station = parts.station ? whole_number(*parts.station) : std::optional<long long>(given);
    if (!station || *station < 1 || *station > last_station)
        refuse(text, "the station must be a number from 1 to 247");
    return static_cast<int>(*station);
}

int type_of(const std::string &text, const Parts &parts) {
    const auto type = whole_number(parts.type);
    if (!type || *type < 0 || *type > last_register_type)
        refuse(text, "the register type must be a number from 0 to 17, not '" + parts.type + "'");
    return static_cast<int>(*type);
}

View view_of(const std::string &text, const Parts &parts, int type) {
    if (!parts.view)
        return default_view(type);
    const auto view = view_named(*parts.view, type);
    if (!view)
        refuse(text, "type " + std::to_string(type) + " has no view '" + *parts.view + "'; it has " + view_names(type));
    return *view;
}

int count_of(const std::string &text, const Parts &parts, std::size_t values) {
    if (!parts.count)
        return std::max(1, static_cast<int>(values));
    const auto count = whole_number(*parts.count);
    if (!count || *count < 1 || *count > most_values)
        refuse(text, "the count must be a number from 1 to 65536, not '" + *parts.count + "'");
    return static_cast<int>(*count);
}

std::string values_of_view(const View &view) {
    using Unit = View::Unit;
    if (view.unit == Unit::bit)
        return "0, 1, on, off, true or false";
    if (view.reading == View::Reading::real)
        return "a number such as 3.5 or -1e6, or the bits of one such as 0x40600000";
    const std::string range = view.unit == Unit::word ? "-32768 to 65535" : "-2147483648 to 4294967295";
    return "a whole number from " + range + ", decimal or such as 0x1F or 0b101";
}

Values values_of(const std::string &text, const std::string &values, const View &view) {
    Values found;
    for (std::size_t from = 0; from <= values.size();) {
        const std::size_t comma = std::min(values.find(',', from), values.size());
        const std::string one = values.substr(from, comma - from);
        const auto value = value_from(view, one);
        if (!value)
            refuse(text, "'" + one + "' does not fit; a value here is " + values_of_view(view));
        found.push_back(*value);
        from = comma + 1;
    }
    return found;
}

// One value for several places goes to all of them.
void spread(const std::string &text, Values &values, int count) {
    if (values.size() == 1)
        values.assign(static_cast<std::size_t>(count), values.front());
    if (!values.empty() && values.size() != static_cast<std::size_t>(count))
        refuse(text, "there are " + std::to_string(values.size()) + " values for a count of " + std::to_string(count) +
                         "; give as many, or one for all");
}

}  // namespace

Reference reference_from(const std::string &text, std::optional<int> station) {
    const Parts parts = parts_of(text);
    Reference reference;
    Variable &place = reference.place;
    place.station = station_of(text, parts, station);
    place.type = type_of(text, parts);
    place.address = parts.address;
    place.view = view_of(text, parts, place.type);
    place.name = parts.station ? parts.place : std::to_string(place.station) + ":" + parts.place;
    if (parts.values)
        reference.values = values_of(text, *parts.values, place.view);
    const int count = count_of(text, parts, reference.values.size());
    spread(text, reference.values, count);
    place.count = count * units_per_value(place.view);
    return reference;
}

}  // namespace kelpo
