#include "host/driver/value_json.h"

#include <charconv>
#include <cmath>
#include <string>
#include <system_error>

namespace kelpo {
namespace {

void add_real(Json &list, const View &view, std::int64_t value) {
    const std::string text = text_of(view, {value});
    double number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec == std::errc() && std::isfinite(number))
        list.add(number);
    else
        list.add_null();
}

}  // namespace

Json json_values(const View &view, const Values &values) {
    Json list = Json::array();
    for (const std::int64_t value : values) {
        if (view.reading == View::Reading::real)
            add_real(list, view, value);
        else
            list.add(value);
    }
    return list;
}

}  // namespace kelpo
