#include "host/link/link_settings.h"

namespace kelpo {

DriverSettings LinkSettings::of_driver() const {
    DriverSettings settings{max_count, retries, {}};
    for (const auto &[station, own] : stations)
        if (own.max_count || own.max_gap)
            settings.stations[station] = {own.max_count.value_or(max_count), own.max_gap};
    return settings;
}

std::chrono::milliseconds LinkSettings::reply_of(int station) const {
    const auto own = stations.find(station);
    return own == stations.end() ? timeouts.reply : own->second.reply.value_or(timeouts.reply);
}

std::map<int, std::chrono::milliseconds> LinkSettings::own_replies() const {
    std::map<int, std::chrono::milliseconds> replies;
    for (const auto &[station, own] : stations)
        if (own.reply)
            replies[station] = *own.reply;
    return replies;
}

int LinkSettings::retries_of(int station) const {
    const auto own = stations.find(station);
    return own == stations.end() ? retries : own->second.retries.value_or(retries);
}

}  // namespace kelpo
