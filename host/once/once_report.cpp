#include "host/once/once_report.h"

#include "host/once/json_values.h"

#include <nlohmann/json.hpp>

namespace kelpo {

std::string result_line(const OnceResult &result) {
    const Variable &place = result.reference.place;
    return place.name + " = " + text_of(place.view, result.held.value_or(result.reference.values));
}

std::string result_json(const OnceResult &result) {
    const Variable &place = result.reference.place;
    nlohmann::ordered_json object = {{"reference", place.name},
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
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace kelpo
