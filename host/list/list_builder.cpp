#include "host/list/list_builder.h"

#include "host/driver/address_text.h"
#include "host/text/words.h"

#include <algorithm>
#include <set>
#include <utility>

namespace kelpo {
namespace {

constexpr int most_units = 65535;
constexpr int longest_every = 86400000;  // ms, a day

std::string seen_at(const FilePlace &seen, const std::string &from_file) {
    return seen.file == from_file ? "line " + std::to_string(seen.line) : text_of({Remark::Kind::mistake, seen, ""});
}

}  // namespace

ListBuilder::ListBuilder(PollList &list, Remarks &remarks, const AddressOf &address_of)
    : list_(list), remarks_(remarks), address_of_(address_of) {}

void ListBuilder::mistake(const FilePlace &place, const std::string &text) {
    note({Remark::Kind::mistake, place, text});
}

void ListBuilder::warning(const FilePlace &place, const std::string &text) {
    note({Remark::Kind::warning, place, text});
}

void ListBuilder::note(Remark remark) {
    constexpr std::size_t most_kept = 1000;  // many more than anybody reads, of a file with nothing but mistakes
    Noted &noted = noted_[remark.kind];
    if (noted.kept == most_kept) {
        ++remarks_[noted.last].more;
        return;
    }
    ++noted.kept;
    noted.last = remarks_.size();
    remarks_.push_back(std::move(remark));
}

void ListBuilder::add_station(const std::string &file, const StationRow &row) {
    const int number = row.station.number;
    const auto [known, is_new] = stations_.insert({number, {file, row.line}});
    if (!is_new) {
        mistake({file, row.line}, "station " + std::to_string(number) + " is in " + seen_at(known->second, file) +
                                      " already; describe each station once");
        return;
    }
    list_.stations.push_back(row.station);
    if (row.station.every)
        rates_[number] = *row.station.every;
}

void ListBuilder::add_variable(const std::string &file, const VariableRow &row) {
    const std::optional<int> station = station_of(file, row);
    const std::optional<int> type = type_of(file, row);
    const std::optional<std::string> address = address_of(file, row, type);
    const std::optional<View> view = view_of(file, row, type);
    const std::optional<int> count = count_of(file, row, view);
    const std::optional<std::chrono::milliseconds> every = every_of(file, row, station);

    std::string name = row.name ? std::string(trimmed(row.name->text)) : "";
    if (name.empty() && station && type && address)
        name = std::to_string(*station) + ":" + std::to_string(*type) + ":" + *address;
    const int named_at = row.name ? row.name->line : row.line;
    const bool named = name.empty() || may_take(name, {file, named_at});
    if (named && station && type && address && view && count && every) {
        list_.variables.push_back({std::move(name), *station, *type, *address, *count, *view, *every});
        list_.defined.push_back({number_of(file), row.line});
        names_.insert({list_.variables.size() - 1, {number_of(file), named_at}, false});
    } else if (named && !name.empty()) {
        left_out_.push_back(std::move(name));
        names_.insert({left_out_.size() - 1, {number_of(file), named_at}, true});
    }
}

std::uint8_t ListBuilder::number_of(const std::string &file) {
    if (list_.files.empty() || list_.files.back() != file)
        list_.files.push_back(file);
    return static_cast<std::uint8_t>(list_.files.size() - 1);
}

const std::string &ListBuilder::name_of(const Taken &taken) const {
    return taken.left_out ? left_out_[taken.index] : list_.variables[taken.index].name;
}

void ListBuilder::finish() {
    std::set<int> known;
    for (const Station &station : list_.stations)
        known.insert(station.number);
    for (const Variable &variable : list_.variables)
        if (known.insert(variable.station).second)
            list_.stations.push_back({variable.station, "", true});
    std::sort(list_.stations.begin(), list_.stations.end(),
              [](const Station &one, const Station &other) { return one.number < other.number; });
}

std::optional<long long> ListBuilder::number_in(const std::string &file, const Field &field, const std::string &what,
                                                long long low, long long high, const std::string &meaning) {
    if (field.noted)
        return std::nullopt;
    const std::optional<long long> number = whole_number(trimmed(field.text));
    if (number && *number >= low && *number <= high)
        return number;
    const std::string shown = number ? std::to_string(*number) : in_quotes(field.text);
    mistake({file, field.line},
            what + " " + shown + "; " + meaning + ", " + std::to_string(low) + " to " + std::to_string(high));
    return std::nullopt;
}

std::optional<int> ListBuilder::station_of(const std::string &file, const VariableRow &row) {
    if (!row.station) {
        if (stations_.size() > 1) {
            mistake({file, row.line}, "no station; with several stations each variable names its own");
            return std::nullopt;
        }
        return stations_.empty() ? 1 : stations_.begin()->first;
    }
    const auto number = number_in(file, *row.station, "station", 1, 247, "a controller's number");
    return number ? std::optional<int>(static_cast<int>(*number)) : std::nullopt;
}

std::optional<int> ListBuilder::type_of(const std::string &file, const VariableRow &row) {
    if (!row.type) {
        mistake({file, row.line}, "no type; a register type, 0 to 17");
        return std::nullopt;
    }
    const auto number = number_in(file, *row.type, "type", 0, 17, "a register type");
    return number ? std::optional<int>(static_cast<int>(*number)) : std::nullopt;
}

std::optional<std::string> ListBuilder::address_of(const std::string &file, const VariableRow &row,
                                                   std::optional<int> type) {
    if (!row.address) {
        mistake({file, row.line},
                "no address" + (type ? "; type " + std::to_string(*type) + " takes " + address_syntax(*type)
                                     : std::string("; the register's number as the controller has it")));
        return std::nullopt;
    }
    const std::string text(trimmed(row.address->text));
    if (!type || row.address->noted)
        return std::nullopt;
    if (!address_of_(*type, text)) {
        mistake({file, row.address->line}, "address " + in_quotes(text) + " " + why_no_address(*type, text));
        return std::nullopt;
    }
    return text;
}

std::optional<View> ListBuilder::view_of(const std::string &file, const VariableRow &row, std::optional<int> type) {
    if (!type || (row.view && row.view->noted))
        return std::nullopt;
    if (!row.view)
        return default_view(*type);
    const std::string name = lowered(trimmed(row.view->text));
    const std::optional<View> view = view_named(name, *type);
    if (!view)
        mistake({file, row.view->line},
                "type " + std::to_string(*type) + " has no view " + in_quotes(name) + "; it has " + view_names(*type));
    return view;
}

std::optional<int> ListBuilder::count_of(const std::string &file, const VariableRow &row, std::optional<View> view) {
    const int units = view ? units_per_value(*view) : 1;
    if (!row.count)
        return units;
    const auto number = number_in(file, *row.count, "count", 1, most_units, "a number of bits or 16-bit registers");
    if (!number)
        return std::nullopt;
    const int count = static_cast<int>(*number);
    if (count % units != 0) {
        mistake({file, row.count->line}, "count " + std::to_string(count) +
                                             " is odd; each value takes two registers: " + std::to_string(count + 1) +
                                             " for " + std::to_string((count + 1) / 2) +
                                             (count == 1 ? " value" : " values"));
        return std::nullopt;
    }
    return count;
}

std::optional<std::chrono::milliseconds> ListBuilder::every_of(const std::string &file, const VariableRow &row,
                                                               std::optional<int> station) {
    if (!row.every) {
        const auto rate = rates_.find(station.value_or(0));
        return rate == rates_.end() ? std::chrono::milliseconds(0) : rate->second;
    }
    const auto number = number_in(file, *row.every, "every-ms", 0, longest_every, "milliseconds");
    return number ? std::optional<std::chrono::milliseconds>(*number) : std::nullopt;
}

bool ListBuilder::may_take(const std::string &name, const FilePlace &place) {
    if (!is_printable(name)) {
        mistake(place, "name " + in_quotes(name) + " has control characters; letters, digits, signs and blanks");
        return false;
    }
    const auto known = names_.find(name);
    if (known == names_.end())
        return true;
    mistake(place, "name " + in_quotes(name) + " is in " + seen_at(list_.place_of(known->at), place.file) +
                       " already; give one of them another name");
    return false;
}

}  // namespace kelpo
