#include "host/once/requests.h"

#include <algorithm>

namespace kelpo {
namespace {

int rounded_up(int units, int per_request) {
    return (units + per_request - 1) / per_request;
}

// Modbus has 125 registers in one request.
int double_words_per_read(int max_count) {
    return std::clamp(max_count, 1, static_cast<int>(ozna_kelpo::most_double_words_modbus));
}

// The type whose registers hold the bits of type `type`; nothing for other types.
std::optional<int> type_of_registers(int type) {
    switch (type) {
    case 15:
        return 7;
    case 16:
        return 8;
    case 17:
        return 11;
    default:
        return std::nullopt;
    }
}

}  // namespace

std::optional<Variable> place_to_read(const DriverEntryPoints &driver, const Variable &place) {
    constexpr int bits = 16;
    const auto type = type_of_registers(place.type);
    if (!type)
        return place;
    const int bit = driver.PLCAddressChangeIntef(place.type, QString::fromLatin1(place.address.c_str()));
    if (bit < 0)
        return std::nullopt;
    Variable registers = place;
    registers.type = *type;
    registers.address = std::to_string(bit / bits);
    registers.count = rounded_up(bit % bits + place.count, bits);
    registers.view = View::unsigned_words;
    return registers;
}

std::vector<Variable> parts_to_read(const DriverEntryPoints &driver, const Variable &place, int max_count) {
    constexpr int first_text = 200;
    const int address = driver.PLCAddressChangeIntef(place.type, QString::fromLatin1(place.address.c_str()));
    const int registers = 2 * double_words_per_read(max_count);
    if (place.type != ozna_kelpo::double_words_13 || place.count <= registers || address < 0)
        return {place};
    std::vector<Variable> parts;
    for (int done = 0; done < place.count; done += registers) {
        Variable part = place;
        part.address = std::to_string(first_text + address + done / 2);
        part.count = std::min(registers, place.count - done);
        parts.push_back(part);
    }
    return parts;
}

int requests_of_read(const Variable &place, int max_count) {
    const int limit = std::max(1, max_count);
    const int even = rounded_up(place.count, 2) * 2;
    switch (place.type) {
    case 12:
    case 14:
        return rounded_up(even, limit);
    case 13:
        return rounded_up(even / 2, double_words_per_read(max_count));
    default:
        return rounded_up(place.count, limit);
    }
}

int requests_of_write(const Variable &place, int max_count) {
    constexpr int most_long_values = 50;
    const int limit = std::max(1, max_count);
    switch (place.type) {
    case 0:
        return 0;
    case 1:
    case 4:
    case 5:
    case 6:
        return rounded_up(place.count, 8 * limit);
    case 7:
    case 8:
    case 9:
    case 10:
    case 11:
        return rounded_up(place.count, limit);
    case 12:
    case 13:
    case 14:
        return rounded_up(rounded_up(place.count, 2), std::min(limit, most_long_values));
    default:
        return place.count;
    }
}

RW_VAR once_read_record(const Variable &place, int group, int id) {
    RW_VAR record;
    record.var_group = group;
    record.var_id = id;
    record.reg_type = place.type;
    record.addr_text = QString::fromLatin1(place.address.c_str());
    record.station_no = place.station;
    record.reg_count = place.count;
    return record;
}

}  // namespace kelpo
