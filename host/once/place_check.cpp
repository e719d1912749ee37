#include "host/once/place_check.h"

#include "host/driver/address_text.h"
#include "host/driver/register_types.h"
#include "host/driver/request_parts.h"

namespace kelpo {
namespace {

Status too_many(int requests) {
    return {false,
            "needs " + std::to_string(requests) + " requests, and the driver's queue holds " +
                std::to_string(most_queued) + "; do it in parts",
            ExitCode::wrong_usage};
}

Status no_address(const Variable &place) {
    return {false, "the address " + place.address + " " + why_no_address(place.type, place.address),
            ExitCode::bad_address};
}

}  // namespace

Status PlaceCheck::of_read(const Variable &place) const {
    Status address = of_address(place);
    if (!address.done)
        return address;
    const int max_count = rules_.of(place.station).max_count;
    const int requests = requests_of_read(place_to_read(driver_, place).value_or(place), max_count);
    return requests > most_queued ? too_many(requests) : all_well;
}

Status PlaceCheck::of_write(const Variable &place, bool read_back) const {
    const int requests = requests_of_write(place, rules_.of(place.station).max_count);
    if (requests == 0)
        return {false, "type " + std::to_string(place.type) + " cannot be written; the driver only reads it",
                ExitCode::wrong_usage};
    Status reading = read_back ? of_read(place) : of_address(place);
    if (!reading.done)
        return reading;
    return requests > most_queued ? too_many(requests) : all_well;
}

Status PlaceCheck::of_address(const Variable &place) const {
    constexpr std::int64_t last_modbus_address = 65535;
    const auto number = driver_.number_of(place.type, place.address);
    if (!number)
        return no_address(place);
    const RegisterType &type = register_type(place.type);
    const std::int64_t last =
        modbus_address(type, range_in_class(type, *number, place.count).last) + type.modbus_per_number - 1;
    if (last > last_modbus_address)
        return {false, "would end at Modbus address " + std::to_string(last) + ", and a frame can name 65535 at most",
                ExitCode::bad_address};
    return all_well;
}

}  // namespace kelpo
