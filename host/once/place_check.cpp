#include "host/once/place_check.h"

#include "host/list/address_words.h"
#include "host/once/requests.h"

namespace kelpo {
namespace {

Ending too_many(int requests) {
    return {false,
            "needs " + std::to_string(requests) + " requests, and the driver's queue holds " +
                std::to_string(most_queued) + "; do it in parts",
            ExitCode::wrong_usage};
}

Ending no_address(const Variable &place) {
    return {false, "the address " + place.address + " " + why_no_address(place.type, place.address),
            ExitCode::bad_address};
}

}  // namespace

PlaceCheck::PlaceCheck(const LinkSettings &settings)
    : library_(settings.driver), driver_(library_), max_count_(settings.max_count) {}

Ending PlaceCheck::of_read(const Variable &place) {
    Ending address = of_address(place);
    if (!address.done)
        return address;
    const int requests = requests_of_read(place_to_read(library_.entry(), place).value_or(place), max_count_);
    return requests > most_queued ? too_many(requests) : all_well;
}

Ending PlaceCheck::of_write(const Variable &place, bool read_back) {
    constexpr int not_writable = 0;
    if (place.type == not_writable)
        return {false, "type 0 cannot be written; the driver only reads it", ExitCode::wrong_usage};
    Ending reading = read_back ? of_read(place) : of_address(place);
    if (!reading.done)
        return reading;
    const int requests = requests_of_write(place, max_count_);
    return requests > most_queued ? too_many(requests) : all_well;
}

Ending PlaceCheck::of_address(const Variable &place) {
    constexpr std::int64_t last_modbus_address = 65535;
    const int number = library_.entry().PLCAddressChangeIntef(place.type, QString::fromLatin1(place.address.c_str()));
    const auto to_read = place_to_read(library_.entry(), place);
    if (number < 0 || !to_read)
        return no_address(place);
    const Span span = driver_.span_of(*to_read);
    const ClassMap map = driver_.map_of(span.register_class);
    const std::int64_t last = map.modbus_address(std::int64_t{span.first} + span.count - 1) + map.width - 1;
    if (last > last_modbus_address)
        return {false, "would end at Modbus address " + std::to_string(last) + ", and a frame can name 65535 at most",
                ExitCode::bad_address};
    return all_well;
}

}  // namespace kelpo
