#pragma once

#include <array>
#include <cstdint>

#include "plc/moment.h"

namespace plc {

/// Every moving zone has so many addresses, from its base on.
constexpr unsigned zone_length = 40;

/// First address of each zone of coils that blink. A zone's number is its place here.
constexpr std::array<unsigned, 9> coil_zone_bases = {0, 1200, 2000, 4400, 6000, 8000, 9200, 12000, 30000};

/// First address of each zone of registers that move. A zone's number is its place here.
constexpr std::array<unsigned, 8> register_zone_bases = {0, 8000, 8500, 9000, 9500, 9700, 50000, 12000};

/// A place in a moving zone.
struct Place {
    unsigned station;
    unsigned zone;    // number of the zone, below the count of bases
    unsigned offset;  // below zone_length
};

/// State of a blinking coil: 1 + offset % 8 moments off, as many on, and so on.
/// Stations and zones are a moment apart. Depends on nothing but its arguments.
bool moving_coil(const Place &place, Moment moment);

/// Value of a moving register, by offset % 8. Depends on nothing but its arguments.
std::uint16_t moving_register(const Place &place, Moment moment);

}  // namespace plc
