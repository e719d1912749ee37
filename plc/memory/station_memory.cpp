#include "plc/memory/station_memory.h"

namespace plc {

StationMemory::StationMemory(unsigned station) : coils(address_count), registers(address_count), station_(station) {
    move_to(0);
}

void StationMemory::move_to(Moment moment) {
    for (const Table table : {Table::coils, Table::registers})
        for (const unsigned base : zone_bases(table))
            for (unsigned address = base; address < base + zone_length; ++address)
                store(table, address, *moving_value(station_, table, address, moment));
}

void StationMemory::put(const Preset &preset) {
    unsigned address = preset.address;
    for (const std::uint16_t value : preset.values)
        store(preset.table, address++, value);
}

void StationMemory::store(Table table, unsigned address, std::uint16_t value) {
    if (table == Table::coils)
        coils[address] = static_cast<std::uint8_t>(value);
    else
        registers[address] = value;
}

}  // namespace plc
