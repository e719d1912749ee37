#include "host/once/once_report.h"

#include "host/driver/value_json.h"

namespace kelpo {

std::string result_line(const OnceResult &result) {
    const Variable &place = result.reference.place;
    return place.name + " = " + text_of(place.view, result.held.value_or(result.reference.values));
}

std::string result_json(const OnceResult &result) {
    const Variable &place = result.reference.place;
    Json object = Json::object();
    object.set("reference", place.name);
    object.set("station", place.station);
    object.set("type", place.type);
    object.set("address", place.address);
    object.set("ok", result.status.code == ExitCode::all_well);
    if (!result.reference.values.empty())
        object.set("written", json_values(place.view, result.reference.values));
    if (result.held) {
        object.set("values", json_values(place.view, *result.held));
        object.set("text", text_of(place.view, *result.held));
    }
    if (!result.status.problem.empty())
        object.set("problem", result.status.problem);
    object.set("exit_code", static_cast<int>(result.status.code));
    return object.in_one_line();
}

}  // namespace kelpo
