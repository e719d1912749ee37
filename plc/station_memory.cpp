#include "plc/station_memory.h"

#include <algorithm>
#include <cstddef>

#include "plc/world.h"

namespace plc {

namespace {

constexpr std::size_t address_count = 65536;

}  // namespace

StationMemory::StationMemory(unsigned station) : coils(address_count), registers(address_count), station_(station) {
    move_to(0);
}

void StationMemory::move_to(Moment moment) {
    for (unsigned zone = 0; zone < coil_zone_bases.size(); ++zone)
        for (unsigned offset = 0; offset < zone_length; ++offset)
            coils[coil_zone_bases[zone] + offset] = moving_coil({station_, zone, offset}, moment) ? 1 : 0;

    for (unsigned zone = 0; zone < register_zone_bases.size(); ++zone)
        for (unsigned offset = 0; offset < zone_length; ++offset)
            registers[register_zone_bases[zone] + offset] = moving_register({station_, zone, offset}, moment);
}

void StationMemory::put(const Preset &preset) {
    const auto first = static_cast<std::ptrdiff_t>(preset.address);
    if (preset.table == Preset::Table::coils)
        std::transform(preset.values.begin(), preset.values.end(), coils.begin() + first,
                       [](std::uint16_t value) { return static_cast<std::uint8_t>(value); });
    else
        std::copy(preset.values.begin(), preset.values.end(), registers.begin() + first);
}

}  // namespace plc
