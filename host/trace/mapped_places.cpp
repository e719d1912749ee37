#include "host/trace/mapped_places.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <vector>

namespace kelpo {
namespace {

constexpr int no_high_range = std::numeric_limits<int>::max();

// Where the addresses of a register type lie: below `high_start` from `low_base` on, else `high_base` is added.
struct Area {
    int type;
    MappedTable table;
    bool bit_of_register;  // an address is register x 16 + bit
    bool alias;            // another type of the table has the same area
    int width;             // Modbus addresses per address
    int low_base;
    int high_start;
    int high_base;
};

constexpr auto coils = MappedTable::coils;
constexpr auto registers = MappedTable::holding_registers;

constexpr Area areas[] = {
    {0, coils, false, false, 1, 1200, no_high_range, 0},       //
    {1, coils, false, false, 1, 0, no_high_range, 0},          //
    {2, coils, false, false, 1, 2000, 2048, 9952},             //
    {3, coils, false, false, 1, 4400, 256, 29744},             //
    {4, coils, false, false, 1, 6000, no_high_range, 0},       //
    {5, coils, false, false, 1, 8000, no_high_range, 0},       //
    {6, coils, false, false, 1, 9200, no_high_range, 0},       //
    {7, registers, false, false, 1, 0, 8000, 42000},           //
    {8, registers, false, false, 1, 8000, 256, 11744},         //
    {9, registers, false, false, 1, 9000, no_high_range, 0},   //
    {10, registers, false, false, 1, 9500, no_high_range, 0},  //
    {11, registers, false, false, 1, 8500, no_high_range, 0},  //
    {12, registers, false, true, 1, 0, 8000, 42000},           //
    {13, registers, false, false, 2, 9700, no_high_range, 0},  //
    {14, registers, false, true, 1, 8000, 256, 11744},         //
    {15, registers, true, true, 1, 0, 8000, 42000},            //
    {16, registers, true, true, 1, 8000, 256, 11744},          //
    {17, registers, true, true, 1, 8500, no_high_range, 0},    //
};

// The address that the area puts at `modbus_address`, a register for the bit types; -1 when it puts none there.
int address_in(const Area &area, int modbus_address) {
    const int above_low = modbus_address - area.low_base;
    if (above_low >= 0 && above_low % area.width == 0 && above_low / area.width < area.high_start)
        return above_low / area.width;
    const int high = modbus_address - area.high_base;
    return area.high_start != no_high_range && high >= area.high_start ? high : -1;
}

std::string place(const Area &area, int first, int units) {
    std::string text = "type " + std::to_string(area.type) + " no. " + address_text(area.type, first);
    if (units > 1)
        text += ".." + address_text(area.type, first + units - 1);
    return text;
}

// Whether the request of `context` asked for the area's address: of a request in two frames, for either.
bool covers(const TraceContext &context, int address) {
    const auto first = std::int64_t{context.address};
    return address >= first && address < std::max(first + 1, first + context.count);
}

std::string place_of_context(const TraceContext &context, MappedTable table, int modbus_address, int units) {
    for (const Area &area : areas) {
        if (area.type != context.type || area.table != table)
            continue;
        const int address = address_in(area, modbus_address);
        if (area.bit_of_register)
            return address >= 0 && address == context.address / 16 ? place(area, context.address, 1) : std::string();
        return address >= 0 && covers(context, address) ? place(area, address, units / area.width) : std::string();
    }
    return {};
}

}  // namespace

std::string address_text(int type, int address) {
    char text[32];
    if (type == 0 || type == 1)
        std::snprintf(text, sizeof text, "%o", static_cast<unsigned>(address));
    else if (type == 13)
        std::snprintf(text, sizeof text, "%lld", address + 200LL);
    else if (type >= 15 && type <= 17)
        std::snprintf(text, sizeof text, "%d.%d", address / 16, address % 16);
    else
        std::snprintf(text, sizeof text, "%d", address);
    return text;
}

std::string mapped_places(MappedTable table, int address, int count, const std::optional<TraceContext> &context) {
    constexpr int last_address = 65535;
    if (address < 0 || address > last_address || count < 1 || count > last_address)
        return {};
    if (context) {
        std::string known = place_of_context(*context, table, address, count);
        if (!known.empty())
            return known;
    }

    struct Found {
        int distance;  // from the start of the range
        std::string text;
    };
    std::vector<Found> found;
    for (const Area &area : areas) {
        const int first = area.table == table && !area.alias ? address_in(area, address) : -1;
        const int units = count / area.width;
        const bool low = first < area.high_start;
        if (first < 0 || count % area.width != 0 || (low && first > area.high_start - units))
            continue;
        found.push_back({low ? first : first - area.high_start, place(area, first, units)});
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Found &one, const Found &other) { return one.distance < other.distance; });

    constexpr std::size_t shown = 3;
    std::string text;
    for (std::size_t i = 0; i < std::min(found.size(), shown); ++i)
        text += (i == 0 ? "" : " or ") + found[i].text;
    if (found.size() > shown)
        text += " or others";
    return text;
}

}  // namespace kelpo
