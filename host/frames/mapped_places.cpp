#include "host/frames/mapped_places.h"

#include "host/driver/address_text.h"

#include <algorithm>
#include <vector>

namespace kelpo {
namespace {

std::string place(const RegisterType &type, int first, int units) {
    std::string text = "type " + std::to_string(type.type) + " no. " + address_text(type.type, first);
    if (units > 1)
        text += ".." + address_text(type.type, first + units - 1);
    return text;
}

// Whether the request of `context` asked for the number: of a request in two frames, for either.
bool covers(const TraceContext &context, int number) {
    const auto first = std::int64_t{context.address};
    return number >= first && number < std::max(first + 1, first + context.count);
}

std::string place_of_context(const TraceContext &context, ModbusTable table, int modbus_address, int count) {
    const RegisterType &type = register_type(context.type);
    const auto number = number_at(type, modbus_address);
    if (!is_register_type(context.type) || type.table != table || !number)
        return {};
    if (type.is_bit_of_register)
        return range_in_class(type, context.address, 1).first == *number ? place(type, context.address, 1)
                                                                         : std::string();
    return covers(context, *number) ? place(type, *number, count / type.modbus_per_number) : std::string();
}

struct FoundPlace {
    int distance;  // from the start of the range
    std::string text;
};

// What a type has there; nothing if its range ends within, and for types that use the registers of another type.
std::optional<FoundPlace> place_in(const RegisterType &type, ModbusTable table, int modbus_address, int count) {
    const auto first = number_at(type, modbus_address);
    const int units = count / type.modbus_per_number;
    const bool has_own_numbers = type.register_class == type.type;
    if (type.table != table || !has_own_numbers || !first || count % type.modbus_per_number != 0)
        return std::nullopt;
    const bool is_low = !type.high_start || *first < *type.high_start;
    if (is_low && type.high_start && *first > *type.high_start - units)
        return std::nullopt;
    return FoundPlace{is_low ? *first : *first - *type.high_start, place(type, *first, units)};
}

}  // namespace

std::string mapped_places(ModbusTable table, int address, int count, const std::optional<TraceContext> &context) {
    constexpr int last_address = 65535;
    if (address < 0 || address > last_address || count < 1 || count > last_address)
        return {};
    if (context) {
        std::string known = place_of_context(*context, table, address, count);
        if (!known.empty())
            return known;
    }

    std::vector<FoundPlace> found;
    for (int type = 0; type <= last_register_type; ++type)
        if (const auto one = place_in(register_type(type), table, address, count))
            found.push_back(*one);
    std::stable_sort(found.begin(), found.end(),
                     [](const FoundPlace &one, const FoundPlace &other) { return one.distance < other.distance; });

    constexpr std::size_t shown = 3;
    std::string text;
    for (std::size_t i = 0; i < std::min(found.size(), shown); ++i)
        text += (i == 0 ? "" : " or ") + found[i].text;
    if (found.size() > shown)
        text += " or others";
    return text;
}

}  // namespace kelpo
