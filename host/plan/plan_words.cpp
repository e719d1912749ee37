#include "host/plan/plan_words.h"

#include <iomanip>
#include <sstream>

namespace kelpo {

std::string milliseconds_text(std::chrono::nanoseconds time) {
    const std::int64_t tenths = (time.count() + 50'000) / 100'000;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::string counted(std::int64_t count, const std::string &one) {
    return counted(count, one, one + "s");
}

std::string counted(std::int64_t count, const std::string &one, const std::string &several) {
    return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string range_text(std::int64_t first, std::int64_t count) {
    return count == 1 ? std::to_string(first) : std::to_string(first) + " to " + std::to_string(first + count - 1);
}

std::string place_of(const Variable &variable) {
    return "station " + std::to_string(variable.station) + ", type " + std::to_string(variable.type) + ", address " +
           variable.address;
}

std::string unit_of(const PlannedRequest &request) {
    constexpr int read_coils = 1;
    return request.function() == read_coils ? "bit" : "register";
}

std::string hex_text(const PlannedRequest &request) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0');
    for (std::size_t i = 0; i < request.bytes.size(); ++i)
        text << (i == 0 ? "" : " ") << std::setw(2) << unsigned{request.bytes[i]};
    return text.str();
}

}  // namespace kelpo
