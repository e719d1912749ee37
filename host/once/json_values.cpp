#include "host/once/json_values.h"

#include <charconv>
#include <cmath>
#include <string>
#include <system_error>

namespace kelpo {
namespace {

using Json = nlohmann::ordered_json;

Json real_number(const View &view, std::int64_t value) {
    const std::string text = text_of(view, {value});
    double number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    return parsed.ec == std::errc() && std::isfinite(number) ? Json(number) : Json(nullptr);
}

}  // namespace

nlohmann::ordered_json json_values(const View &view, const Values &values) {
    Json list = Json::array();
    for (const std::int64_t value : values)
        list.push_back(view.reading == View::Reading::real ? real_number(view, value) : Json(value));
    return list;
}

}  // namespace kelpo
