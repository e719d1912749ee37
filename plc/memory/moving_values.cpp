#include "plc/memory/moving_values.h"

#include <algorithm>
#include <array>

namespace plc {
namespace {

constexpr unsigned rule_count = 8;

// An address in a moving zone.
struct Place {
    unsigned station;
    unsigned zone;    // its index in the table's bases
    unsigned offset;  // from the zone's base
};

using Rule = std::uint16_t (*)(const Place &place, Moment moment);

std::uint16_t low_word(std::uint32_t value) {
    return static_cast<std::uint16_t>(value & 0xFFFF);
}

std::uint16_t high_word(std::uint32_t value) {
    return static_cast<std::uint16_t>(value >> 16);
}

// Read in decimal: station, zone (one digit), offset (two digits). Differs for any two places below station 66.
std::uint32_t number_of(const Place &place) {
    return place.station * 1000 + place.zone * 100 + place.offset;
}

// Adjacent places that follow the same rule differ by one step, and so do stations.
std::uint32_t step_of(const Place &place, Moment moment) {
    return moment + place.station + place.offset / rule_count;
}

std::uint16_t counter(const Place &place, Moment moment) {
    return low_word(number_of(place) + moment);
}

std::uint16_t ramp(const Place &place, Moment moment) {
    return low_word(step_of(place, moment) % 21 * 50);
}

std::uint16_t triangle(const Place &place, Moment moment) {
    const std::uint32_t step = step_of(place, moment) % 40;
    const std::uint32_t above_lowest = step <= 20 ? step * 50 : (40 - step) * 50;
    return low_word(above_lowest - 500);
}

std::uint16_t constant(const Place &place, Moment) {
    return low_word(number_of(place));
}

std::uint32_t long_counter(const Place &first_of_pair, Moment moment) {
    return (number_of(first_of_pair) + moment) * 100003;
}

std::uint16_t long_counter_high(const Place &place, Moment moment) {
    return high_word(long_counter(place, moment));
}

std::uint16_t long_counter_low(const Place &place, Moment moment) {
    return low_word(long_counter({place.station, place.zone, place.offset - 1}, moment));
}

std::uint16_t rotating_bit(const Place &place, Moment moment) {
    return low_word(1u << step_of(place, moment) % 16);
}

std::uint16_t pseudo_random(const Place &place, Moment moment) {
    std::uint32_t mixed = number_of(place) * 0x9E3779B1u + moment;
    mixed = (mixed ^ mixed >> 15) * 0x2C1B3C6Du;
    mixed = (mixed ^ mixed >> 12) * 0x297A2D39u;
    return high_word(mixed);
}

constexpr std::array<Rule, rule_count> rules = {
    counter,            // 0: one more at every moment
    ramp,               // 1: 0 to 1000 in steps of 50, then 0 again
    triangle,           // 2: -500 up to 500 and down again in steps of 50, two's complement
    constant,           // 3: names its station and place
    long_counter_high,  // 4: high word of a 32-bit counter that gains 100003 at every moment
    long_counter_low,   // 5: its low word
    rotating_bit,       // 6: one bit set, the next higher one at every moment
    pseudo_random,      // 7
};

static_assert(zone_length % rule_count == 0, "the 32-bit pairs must not cross the end of a zone");

std::uint16_t moving_coil(const Place &place, Moment moment) {
    const unsigned moments_per_state = 1 + place.offset % 8;
    return (moment + place.station + place.zone) / moments_per_state % 2 != 0 ? 1 : 0;
}

std::optional<Place> place_of(unsigned station, Table table, unsigned address) {
    const std::vector<unsigned> &bases = zone_bases(table);
    const auto found = std::find_if(bases.begin(), bases.end(), [address](unsigned base) {
        return address >= base && address < base + zone_length;
    });
    if (found == bases.end())
        return std::nullopt;
    return Place{station, static_cast<unsigned>(found - bases.begin()), address - *found};
}

}  // namespace

const std::vector<unsigned> &zone_bases(Table table) {
    static const std::vector<unsigned> of_coils = {0, 1200, 2000, 4400, 6000, 8000, 9200, 12000, 30000};
    static const std::vector<unsigned> of_registers = {0, 8000, 8500, 9000, 9500, 9700, 50000, 12000};
    return table == Table::coils ? of_coils : of_registers;
}

bool moves(Table table, unsigned address) {
    return place_of(0, table, address).has_value();
}

std::optional<std::uint16_t> moving_value(unsigned station, Table table, unsigned address, Moment moment) {
    const std::optional<Place> place = place_of(station, table, address);
    if (!place)
        return std::nullopt;
    return table == Table::coils ? moving_coil(*place, moment) : rules[place->offset % rule_count](*place, moment);
}

}  // namespace plc
