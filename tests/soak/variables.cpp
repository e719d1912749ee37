#include "variables.h"

namespace soak {
namespace {

constexpr int bit_types = 7;  // types 0 to 6

bool is_bit_of_word(int type) {
    return type >= 15;
}

// The address map once more: the driver must not be judged by its own.
Cell cell_of(int station, int type, int address) {
    switch (type) {
    case 0:
        return {station, true, 1200 + address};
    case 1:
        return {station, true, address};
    case 2:
        return {station, true, address < 2048 ? 2000 + address : 12000 + (address - 2048)};
    case 3:
        return {station, true, address < 256 ? 4400 + address : 30000 + (address - 256)};
    case 4:
        return {station, true, 6000 + address};
    case 5:
        return {station, true, 8000 + address};
    case 6:
        return {station, true, 9200 + address};
    case 7:
    case 12:
    case 15:
        return {station, false, address < 8000 ? address : 50000 + (address - 8000)};
    case 8:
    case 14:
    case 16:
        return {station, false, address < 256 ? 8000 + address : 12000 + (address - 256)};
    case 9:
        return {station, false, 9000 + address};
    case 10:
        return {station, false, 9500 + address};
    case 13:
        return {station, false, 9700 + 2 * address};
    default:
        return {station, false, 8500 + address};
    }
}

std::string octal(int number) {
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + number % 8));
        number /= 8;
    } while (number != 0);
    return digits;
}

std::string text_of(int type, int address) {
    if (type <= 1)
        return octal(address);
    if (type == 13)
        return std::to_string(address + 200);
    if (is_bit_of_word(type))
        return std::to_string(address / 16) + "." + std::to_string(address % 16);
    return std::to_string(address);
}

std::vector<Place> places_of(int station, int type, int address, int count) {
    std::vector<Place> places;
    if (is_bit_of_word(type)) {
        for (int bit = address; bit < address + count; ++bit)
            places.push_back({cell_of(station, type, bit / 16), bit % 16});
        return places;
    }
    for (int unit = 0; unit < count; ++unit) {
        Cell cell = cell_of(station, type, address + (type == 13 ? unit / 2 : unit));
        cell.address += type == 13 ? unit % 2 : 0;
        places.push_back({cell, -1});
    }
    return places;
}

class VariableList {
public:
    explicit VariableList(int station) : station_(station) {}

    void polled(int type, int address, int count) {
        add(type, address, count, false);
    }
    void written(int type, int address, int count) {
        add(type, address, count, true);
    }

    std::vector<Variable> list;

private:
    void add(int type, int address, int count, bool written) {
        const std::string text = text_of(type, address);
        const std::string name =
            "station " + std::to_string(station_) + " type " + std::to_string(type) + " no. " + text;
        list.push_back({{name, station_, type, text, count, kelpo::default_view(type)},
                        written,
                        places_of(station_, type, address, count)});
    }

    int station_;
};

// Addresses below 40 move, the others are constant or written.
void add_bits(VariableList &to, int type) {
    to.polled(type, 0, 8);
    to.polled(type, 13, 5);
    to.polled(type, 30, 10);
    to.polled(type, 40, 8);
    to.polled(type, 52, 3);
    to.polled(type, 60, 16);
    to.polled(type, 90, 1);
    to.polled(type, 97, 9);
    if (type == 0)
        return;
    to.written(type, 120, 1);
    to.written(type, 121, 1);
    to.written(type, 124, 8);
    to.written(type, 140, 11);
}

void add_words(VariableList &to, int type) {
    to.polled(type, 0, 8);
    to.polled(type, 9, 1);
    to.polled(type, 20, 12);
    to.polled(type, 40, 5);
    to.polled(type, 50, 1);
    to.polled(type, 60, 10);
    to.written(type, 70, 1);
    to.written(type, 71, 1);
    to.written(type, 74, 4);
    to.written(type, 80, 12);
}

void add_pairs(VariableList &to, int type, int first) {
    to.polled(type, first, 2);
    to.polled(type, first + 4, 6);
    to.written(type, first + 20, 2);
    to.written(type, first + 24, 4);
}

// The words are polled as well: the value of a bit is taken from its word.
void add_bits_of_words(VariableList &to, int type, int word) {
    static constexpr int class_of[] = {7, 8, 11};
    to.polled(class_of[type - 15], word, 8);
    to.polled(type, 16 * word + 3, 1);
    to.polled(type, 16 * (word + 1), 16);
    to.written(type, 16 * (word + 4), 1);
    to.written(type, 16 * (word + 4) + 5, 1);
    to.written(type, 16 * (word + 5) + 15, 1);
    to.written(type, 16 * (word + 6) + 2, 3);
}

// Alone in its block: the echo of its request looks like its reply.
void add_look_alike(VariableList &to) {
    to.polled(1, 400, 20);
}

// Variables that take two requests to read or to write.
void add_splits(VariableList &to) {
    to.polled(2, 2040, 16);
    to.polled(3, 250, 12);
    to.polled(7, 7990, 20);
    to.polled(8, 240, 40);
    to.written(7, 7996, 8);
    to.written(8, 252, 8);
}

std::uint32_t mixed(std::uint32_t value) {
    value = (value ^ value >> 16) * 0x7FEB352DU;
    value = (value ^ value >> 15) * 0x846CA68BU;
    return value ^ value >> 16;
}

std::uint16_t first_value(int variable, int place) {
    return static_cast<std::uint16_t>(mixed(static_cast<std::uint32_t>(variable * 64 + place) + 77));
}

}  // namespace

std::vector<Variable> all_variables() {
    std::vector<Variable> all;
    const auto take = [&all](const VariableList &from) {
        all.insert(all.end(), from.list.begin(), from.list.end());
    };
    for (const int station : answering_stations) {
        VariableList list(station);
        for (int type = 0; type < bit_types; ++type)
            add_bits(list, type);
        for (int type = 7; type <= 11; ++type)
            add_words(list, type);
        add_pairs(list, 12, 200);
        add_pairs(list, 13, 40);
        add_pairs(list, 14, 100);
        add_bits_of_words(list, 15, 300);
        add_bits_of_words(list, 16, 160);
        add_bits_of_words(list, 17, 100);
        add_splits(list);
        add_look_alike(list);
        take(list);
    }
    for (const int station : {dead_station, flapping_station, absent_station}) {
        VariableList list(station);
        add_words(list, 7);
        if (station == flapping_station)
            add_bits(list, 1);
        take(list);
    }
    return all;
}

std::uint16_t pattern_of(const Cell &cell) {
    const std::uint32_t name = static_cast<std::uint32_t>(cell.address) |
                               static_cast<std::uint32_t>(cell.station) << 16 | (cell.coil ? 1U << 24 : 0U);
    return static_cast<std::uint16_t>(mixed(name) & (cell.coil ? 1U : 0xFFFFU));
}

std::uint16_t written_value(const Variable &of, int variable, int place, std::uint32_t serial) {
    const Place &at = of.places[static_cast<std::size_t>(place)];
    const auto value = static_cast<std::uint16_t>(first_value(variable, place) + serial);
    return at.cell.coil || at.bit >= 0 ? value & 1U : value;
}

std::uint16_t writes_since(int variable, int place, std::uint32_t floor, std::uint16_t value) {
    return static_cast<std::uint16_t>(value - first_value(variable, place) - floor);
}

}  // namespace soak
