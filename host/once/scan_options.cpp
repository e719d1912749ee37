#include "host/once/scan_options.h"

#include "host/driver/variable.h"
#include "host/text/words.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <string_view>

namespace kelpo {

LinkSettings scan_defaults() {
    LinkSettings settings;
    settings.timeouts.reply = std::chrono::milliseconds(100);
    settings.timeouts.settle = std::chrono::milliseconds(20);
    settings.retries = 0;
    return settings;
}

std::vector<int> stations_from(const std::string &text) {
    std::set<int> stations;
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        const std::string_view part = std::string_view(text).substr(from, comma - from);
        const std::size_t dash = part.find('-');
        const auto first = whole_number(trimmed(part.substr(0, dash)));
        const auto last = dash == std::string::npos ? first : whole_number(trimmed(part.substr(dash + 1)));
        if (!first || !last || *first < 1 || *last > last_station || *first > *last)
            throw StationsError("'" + std::string(part) +
                                "' names no stations; write numbers from 1 to 247 such as 1-20,33");
        for (long long station = *first; station <= *last; ++station)
            stations.insert(static_cast<int>(station));
        from = comma + 1;
    }
    return {stations.begin(), stations.end()};
}

}  // namespace kelpo
