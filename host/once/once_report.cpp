#include "host/once/once_report.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdlib>

namespace kelpo {
namespace {

using Json = nlohmann::ordered_json;

// A real number as its shortest text has it: 0.1, not what the nearest double of the float looks like. JSON has no
// infinity; such a value stays a text.
Json real_value(const std::string &text) {
    const double number = std::strtod(text.c_str(), nullptr);
    return std::isfinite(number) ? Json(number) : Json(text);
}

Json json_values(const View &view, const Values &values) {
    Json list = Json::array();
    for (const std::int64_t value : values)
        list.push_back(view.reading == View::Reading::real ? real_value(text_of(view, {value})) : Json(value));
    return list;
}

}  // namespace

std::string result_line(const OnceResult &result) {
    const Variable &place = result.reference.place;
    return place.name + " = " + text_of(place.view, result.held.value_or(result.reference.values));
}

std::string result_json(const OnceResult &result) {
    const Variable &place = result.reference.place;
    Json object = {{"reference", place.name},
                   {"station", place.station},
                   {"type", place.type},
                   {"address", place.address},
                   {"ok", result.ending.code == ExitCode::all_well}};
    if (!result.reference.values.empty())
        object["written"] = json_values(place.view, result.reference.values);
    if (result.held) {
        object["values"] = json_values(place.view, *result.held);
        object["text"] = text_of(place.view, *result.held);
    }
    if (!result.ending.problem.empty())
        object["problem"] = result.ending.problem;
    object["exit_code"] = static_cast<int>(result.ending.code);
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kelpo
