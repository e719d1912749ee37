#include "plc/memory/preset.h"

#include "plc/text/list_file.h"
#include "plc/text/number.h"

#include <stdexcept>

namespace plc {
namespace {

constexpr std::size_t first_value = 3;
constexpr unsigned last_address = address_count - 1;

std::vector<std::string> fields_of(const std::string &text) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t comma = 0; comma != std::string::npos; start = comma + 1) {
        comma = text.find(',', start);
        std::string field = text.substr(start, comma == std::string::npos ? comma : comma - start);
        field.erase(0, field.find_first_not_of(" \t"));
        field.erase(field.find_last_not_of(" \t") + 1);
        fields.push_back(field);
    }
    return fields;
}

long long number_of(const std::string &what, const std::string &text, long long lowest, long long highest) {
    const auto number = number_in(text);
    if (!number || *number < lowest || *number > highest)
        throw std::invalid_argument(what + " is " + std::to_string(lowest) + " to " + std::to_string(highest) +
                                    ", not " + shown(text));
    return *number;
}

Table table_in(const std::string &text) {
    if (text == "coil")
        return Table::coils;
    if (text == "register")
        return Table::registers;
    throw std::invalid_argument("the second field is coil or register, not " + shown(text));
}

std::uint16_t value_in(Table table, const std::string &text) {
    const long long value = table == Table::coils ? number_of("a coil's value", text, 0, 1)
                                                  : number_of("a register's value", text, -32768, 65535);
    return static_cast<std::uint16_t>(value);
}

}  // namespace

Preset parse_preset(const std::string &text) {
    const std::vector<std::string> fields = fields_of(text);
    if (fields.size() <= first_value)
        throw std::invalid_argument("a preset is station,coil,address,value or station,register,address,value and "
                                    "perhaps more values, not " +
                                    shown(text));
    Preset preset;
    preset.station = static_cast<unsigned>(number_of("a station", fields[0], 1, 247));
    preset.table = table_in(fields[1]);
    preset.address = static_cast<unsigned>(number_of("an address", fields[2], 0, last_address));
    for (std::size_t i = first_value; i < fields.size(); ++i)
        preset.values.push_back(value_in(preset.table, fields[i]));
    const std::size_t room = last_address + 1 - preset.address;
    if (preset.values.size() > room)
        throw std::invalid_argument("from address " + std::to_string(preset.address) + " on there is room for " +
                                    std::to_string(room) + " values, not for " + std::to_string(preset.values.size()));
    return preset;
}

}  // namespace plc
