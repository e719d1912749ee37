#include "host/plan/plan_words.h"

namespace kelpo {

std::string place_of(const Variable &variable) {
    return "station " + std::to_string(variable.station) + ", type " + std::to_string(variable.type) + ", address " +
           variable.address;
}

std::string unit_of(const PlannedRequest &request) {
    constexpr int read_coils = 1;
    return request.function() == read_coils ? "bit" : "register";
}

}  // namespace kelpo
