#include "host/write/write_parts.h"

#include "host/trace/mapped_places.h"

#include <algorithm>
#include <optional>

namespace kelpo {
namespace {

/// How the driver cuts a write. A unit is a bit, a register, or a value of 32 bits.
struct Cut {
    int units_per_request;
    int bytes_per_unit;
    int addresses_per_unit;
    int count_per_unit;
};

std::optional<Cut> cut_of(int type, int max_count) {
    constexpr int most_long_values = 50;
    const int limit = std::max(1, max_count);
    switch (type) {
    case 1:
    case 4:
    case 5:
    case 6:
        return Cut{8 * limit, 1, 1, 1};
    case 2:
    case 3:
    case 15:
    case 16:
    case 17:
        return Cut{1, 1, 1, 1};
    case 7:
    case 8:
    case 9:
    case 10:
    case 11:
        return Cut{limit, 2, 1, 1};
    case 12:
    case 14:
        return Cut{std::min(limit, most_long_values), 4, 2, 2};
    case 13:
        return Cut{std::min(limit, most_long_values), 4, 1, 2};
    default:
        return std::nullopt;
    }
}

}  // namespace

std::vector<WritePart> parts_of_write(const DriverEntryPoints &driver, const Variable &place, const Values &values,
                                      int max_count) {
    std::vector<WritePart> parts;
    const auto cut = cut_of(place.type, max_count);
    if (!cut)
        return parts;
    const QByteArray bytes = bytes_of(place.view, values);
    const int first = driver.PLCAddressChangeIntef(place.type, QString::fromLatin1(place.address.c_str()));
    const int units = (place.count + cut->count_per_unit - 1) / cut->count_per_unit;
    for (int done = 0; done < units; done += cut->units_per_request) {
        const int taken = std::min(units - done, cut->units_per_request);
        parts.push_back({place.station, place.type, address_text(place.type, first + done * cut->addresses_per_unit),
                         taken * cut->count_per_unit,
                         bytes.mid(done * cut->bytes_per_unit, taken * cut->bytes_per_unit)});
    }
    return parts;
}

}  // namespace kelpo
