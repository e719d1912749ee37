#include "host/engine/variable_watch.h"

#include <algorithm>

namespace kelpo {
namespace {

std::set<int> stations_down(const LinkReading &link) {
    std::set<int> down;
    for (const auto &[number, station] : link.stations)
        if (station.down_since)
            down.insert(number);
    return down;
}

}  // namespace

const char *word_of(Quality quality) {
    switch (quality) {
    case Quality::good:
        return "good";
    case Quality::stale:
        return "stale";
    case Quality::bad:
        break;
    }
    return "bad";
}

std::chrono::nanoseconds good_for(const LinkReading::Cycles &cycles) {
    constexpr std::chrono::nanoseconds least = std::chrono::seconds(2), at_first = std::chrono::seconds(30);
    return cycles.count == 0 ? at_first : std::max(least, 3 * cycles.last);
}

std::string shown_text(const Variable &variable, const VariableState &state) {
    return text_of(variable.view, values_in(variable.view, state.bytes));
}

VariableWatch::VariableWatch(const std::vector<Variable> &variables)
    : variables_(variables), states_(variables_.size()) {}

std::vector<std::size_t> VariableWatch::refresh(const std::vector<std::pair<std::size_t, ReadValue>> &news,
                                                const LinkReading &link, const std::set<int> &off,
                                                VariableState::Time now) {
    std::vector<std::size_t> changed;
    for (const auto &[index, value] : news)
        if (take(index, value))
            changed.push_back(index);
    const std::set<int> down = stations_down(link);
    const auto in_cycle = good_for(link.cycles);
    for (std::size_t i = 0; i < states_.size(); ++i) {
        VariableState &state = states_[i];
        const int station = variables_[i].station;
        Quality quality = now - state.read_at > in_cycle + variables_[i].every ? Quality::stale : Quality::good;
        if (!state.known() || !link.line_open || state.failure || down.count(station) > 0 || off.count(station) > 0)
            quality = Quality::bad;
        if (std::exchange(state.quality, quality) != quality)
            changed.push_back(i);
    }
    std::sort(changed.begin(), changed.end());
    changed.erase(std::unique(changed.begin(), changed.end()), changed.end());
    return changed;
}

// True when the value has changed or was read for the first time.
bool VariableWatch::take(std::size_t index, const ReadValue &value) {
    VariableState &state = states_[index];
    state.failure = value.failure;
    if (value.bytes.empty())
        return false;
    state.read_at = value.read_at;
    state.wall_time = value.wall_time;
    if (value.bytes == state.bytes)
        return false;
    state.changes += state.known() ? 1 : 0;
    state.changed_at = value.newest_at;
    state.bytes = value.bytes;
    return true;
}

}  // namespace kelpo
