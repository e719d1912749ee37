#include "host/driver/request_parts.h"

#include "host/driver/address_text.h"
#include "host/driver/register_types.h"

#include <ozna_kelpo_constants.h>

#include <algorithm>
#include <limits>

namespace kelpo {
namespace {

using TypeUnit = RegisterType::Unit;
using Writes = RegisterType::Writes;

int rounded_up(int units, int per_request) {
    return (units + per_request - 1) / per_request;
}

int least_one(int max_count) {
    return std::max(1, max_count);
}

// A type whose addresses name whole 32-bit registers. The other 32-bit types have two registers each.
bool is_double_register(const RegisterType &type) {
    return type.modbus_per_number == 2;
}

// Modbus allows 125 registers in one request.
int double_words_per_read(int max_count) {
    return std::clamp(max_count, 1, static_cast<int>(ozna_kelpo::most_double_words_modbus));
}

// Two registers of 16 bits, which must not come from different moments.
bool is_pair(const View &view) {
    return view.unit == View::Unit::word_pair || view.unit == View::Unit::word_pair_low_first;
}

// How many units of pairs go into one request; with 1 the driver parts them.
int whole_pairs(int max_count) {
    return max_count > 1 ? max_count / 2 * 2 : least_one(max_count);
}

// Of the place, which has no type of 32-bit registers, two units make a value.
bool takes_pairs(const Variable &place) {
    return register_type(place.type).unit == TypeUnit::double_word || is_pair(place.view);
}

// What of a place's count is read by one request.
int counts_per_read(const Variable &place, int max_count) {
    const RegisterType &type = register_type(place.type);
    if (is_double_register(type))
        return 2 * double_words_per_read(max_count);
    return takes_pairs(place) ? whole_pairs(max_count) : least_one(max_count);
}

// What the driver puts into one request, in values of the type's unit: 0 when it does not write the type.
int values_per_write(const Variable &place, int max_count) {
    const RegisterType &type = register_type(place.type);
    constexpr int bits_per_unit = 8;
    if (type.writes == Writes::never)
        return 0;
    if (type.writes == Writes::one_by_one)
        return 1;
    switch (type.unit) {
    case TypeUnit::double_word:
        return std::min(least_one(max_count), static_cast<int>(ozna_kelpo::most_double_words));
    case TypeUnit::word:
        return is_pair(place.view) ? whole_pairs(max_count) : least_one(max_count);
    case TypeUnit::bit:
        break;
    }
    return bits_per_unit * least_one(max_count);
}

// What `count` of a variable counts for each value of the type's unit.
int counts_per_value(const RegisterType &type) {
    return type.unit == TypeUnit::double_word ? 2 : 1;
}

}  // namespace

const int most_queued = ozna_kelpo::most_queued;

std::optional<Variable> place_to_read(const DriverQueries &driver, const Variable &place) {
    const RegisterType &type = register_type(place.type);
    if (!type.is_bit_of_register)
        return place;
    const auto bit = driver.number_of(place.type, place.address);
    if (!bit)
        return std::nullopt;
    const NumberRange range = range_in_class(type, *bit, place.count);
    Variable registers = place;
    registers.type = type.register_class;
    registers.address = std::to_string(range.first);
    registers.count = static_cast<int>(range.last - range.first) + 1;
    registers.view = View::unsigned_words;
    return registers;
}

std::vector<Variable> places_to_read(const DriverQueries &driver, const std::vector<Variable> &places) {
    std::vector<Variable> all;
    all.reserve(places.size());
    for (const Variable &place : places)
        all.push_back(place_to_read(driver, place).value_or(place));
    return all;
}

std::vector<Variable> parts_to_read(const DriverQueries &driver, const Variable &place, int max_count) {
    const auto number = driver.number_of(place.type, place.address);
    const int at_once = std::max(counts_per_read(place, max_count), takes_pairs(place) ? 2 : 1);
    if (place.count <= at_once || !number)
        return {place};
    const int counts_per_number = is_double_register(register_type(place.type)) ? 2 : 1;
    std::vector<Variable> parts;
    for (int done = 0; done < place.count; done += at_once) {
        Variable part = place;
        part.address = address_text(place.type, *number + done / counts_per_number);
        part.count = std::min(at_once, place.count - done);
        parts.push_back(part);
    }
    return parts;
}

VariablePart part_around(const Variable &variable, int number, std::int64_t first, std::int64_t last) {
    const RegisterType &type = register_type(variable.type);
    std::int64_t before = first - number, units = last - first + 1;
    if (type.is_bit_of_register) {
        const std::int64_t first_bit = std::max<std::int64_t>(number, first * bits_in_register);
        const std::int64_t end = std::int64_t{number} + variable.count;
        before = first_bit - number;
        units = std::min(end, (last + 1) * bits_in_register) - first_bit;
    } else if (type.unit == TypeUnit::double_word && !is_double_register(type)) {
        before = before / 2 * 2;
        units = (last - number) / 2 * 2 + 2 - before;
    }
    const std::int64_t first_number = number + before;
    if (first_number > std::numeric_limits<int>::max())
        return {variable, 0};
    const int counts_per_number = is_double_register(type) ? 2 : 1;
    Variable part = variable;
    part.address = address_text(variable.type, static_cast<int>(first_number));
    part.count = static_cast<int>(units) * counts_per_number;
    return {part, value_size(type, static_cast<int>(before) * counts_per_number)};
}

int requests_of_read(const Variable &place, int max_count) {
    const bool is_even = register_type(place.type).unit == TypeUnit::double_word;
    return rounded_up(is_even ? rounded_up(place.count, 2) * 2 : place.count, counts_per_read(place, max_count));
}

int requests_of_write(const Variable &place, int max_count) {
    const RegisterType &type = register_type(place.type);
    const int values = values_per_write(place, max_count);
    return values == 0 ? 0 : rounded_up(rounded_up(place.count, counts_per_value(type)), values);
}

std::vector<WritePart> parts_of_write(const DriverQueries &driver, const Variable &place, const Values &values,
                                      int max_count) {
    const RegisterType &type = register_type(place.type);
    const int at_once = values_per_write(place, max_count);
    const auto first = driver.number_of(place.type, place.address);
    std::vector<WritePart> parts;
    if (at_once == 0 || !first)
        return parts;
    const std::string bytes = bytes_of(place.view, values);
    const auto size = static_cast<std::size_t>(value_size(type, counts_per_value(type)));
    const int numbers = type.unit == TypeUnit::double_word && !is_double_register(type) ? 2 : 1;
    const int all = rounded_up(place.count, counts_per_value(type));
    for (int done = 0; done < all; done += at_once) {
        const int taken = std::min(all - done, at_once);
        parts.push_back({place.station, place.type, address_text(place.type, *first + done * numbers),
                         taken * counts_per_value(type),
                         bytes.substr(static_cast<std::size_t>(done) * size, static_cast<std::size_t>(taken) * size)});
    }
    return parts;
}

}  // namespace kelpo
