#include "host/poll/poll_row.h"

namespace kelpo {
namespace {

std::string place_of(const Variable &variable) {
    const int values = variable.count / units_per_value(variable.view);
    return std::to_string(variable.type) + ":" + variable.address + (values > 1 ? " x" + std::to_string(values) : "");
}

// Characters of the longest text that a value of this view can have.
std::size_t widest_value(const Variable &variable) {
    const View &view = variable.view;
    const auto values = static_cast<std::size_t>(variable.count / units_per_value(view));
    if (view.unit == View::Unit::bit)
        return values;
    const bool short_value = view.unit == View::Unit::word;
    std::size_t one = 0;
    switch (view.reading) {
    case View::Reading::unsigned_number:
        one = short_value ? 5 : 10;
        break;
    case View::Reading::signed_number:
        one = short_value ? 6 : 11;
        break;
    case View::Reading::hexadecimal:
        one = short_value ? 6 : 10;
        break;
    case View::Reading::binary:
        one = short_value ? 18 : 34;
        break;
    case View::Reading::real:
        one = 14;
        break;
    }
    return values * one + values - 1;
}

}  // namespace

PollRow row_of(const Variable &variable) {
    PollRow row{};
    row.name = variable.name;
    row.station = variable.station;
    row.place = place_of(variable);
    row.widest_value = widest_value(variable);
    return row;
}

}  // namespace kelpo
