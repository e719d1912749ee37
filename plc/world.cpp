#include "plc/world.h"

namespace plc {

namespace {

constexpr unsigned rule_count = 8;

using Rule = std::uint16_t (*)(const Place &place, Moment moment);

std::uint16_t low_word(std::uint32_t value) {
    return static_cast<std::uint16_t>(value & 0xFFFF);
}

std::uint16_t high_word(std::uint32_t value) {
    return static_cast<std::uint16_t>(value >> 16);
}

// Read in decimal: station, zone (one digit), offset (two digits). No two places share it below station 66.
std::uint32_t name_of(const Place &place) {
    return place.station * 1000 + place.zone * 100 + place.offset;
}

// Neighbouring places that follow the same rule, and stations, run one step apart.
std::uint32_t step_of(const Place &place, Moment moment) {
    return moment + place.station + place.offset / rule_count;
}

std::uint16_t counter(const Place &place, Moment moment) {
    return low_word(name_of(place) + moment);
}

std::uint16_t ramp(const Place &place, Moment moment) {
    return low_word(step_of(place, moment) % 21 * 50);
}

std::uint16_t triangle(const Place &place, Moment moment) {
    const std::uint32_t step = step_of(place, moment) % 40;
    const std::uint32_t above_lowest = step <= 20 ? step * 50 : (40 - step) * 50;
    return low_word(above_lowest - 500);
}

std::uint16_t name_plate(const Place &place, Moment) {
    return low_word(name_of(place));
}

std::uint32_t long_counter(const Place &first_of_pair, Moment moment) {
    return (name_of(first_of_pair) + moment) * 100003;
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

std::uint16_t scatter(const Place &place, Moment moment) {
    std::uint32_t mixed = name_of(place) * 0x9E3779B1u + moment;
    mixed = (mixed ^ mixed >> 15) * 0x2C1B3C6Du;
    mixed = (mixed ^ mixed >> 12) * 0x297A2D39u;
    return high_word(mixed);
}

constexpr std::array<Rule, rule_count> rules = {
    counter,            // 0: one more at every moment
    ramp,               // 1: 0 to 1000 in steps of 50, then 0 again
    triangle,           // 2: -500 up to 500 and down again in steps of 50, two's complement
    name_plate,         // 3: constant, tells its station and place
    long_counter_high,  // 4: high word of a 32-bit counter that gains 100003 at every moment
    long_counter_low,   // 5: its low word
    rotating_bit,       // 6: one bit set, the next higher one at every moment
    scatter,            // 7: looks random
};

static_assert(zone_length % rule_count == 0, "the 32-bit pairs must not cross the end of a zone");

}  // namespace

bool moving_coil(const Place &place, Moment moment) {
    const unsigned moments_per_state = 1 + place.offset % 8;
    return (moment + place.station + place.zone) / moments_per_state % 2 != 0;
}

std::uint16_t moving_register(const Place &place, Moment moment) {
    return rules[place.offset % rule_count](place, moment);
}

}  // namespace plc
