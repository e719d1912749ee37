#include "unread_places.h"

#include <algorithm>

namespace soak {

UnreadPlaces::UnreadPlaces(const std::vector<Variable> &variables) {
    for (const Variable &variable : variables) {
        if (!answers_always(variable.shown.station))
            continue;
        const std::size_t group = groups_++;
        for (const Place &place : variable.places) {
            const Cell &cell = place.cell;
            const auto [found, is_new] = index_.insert({{cell.station, cell.coil, cell.address}, places_.size()});
            if (is_new) {
                of_station_.at(static_cast<std::size_t>(cell.station)).push_back(places_.size());
                places_.push_back({cell, group});
            } else {
                join(group, places_[found->second].group);
            }
        }
    }
}

// Variables that overlap are never taken apart.
void UnreadPlaces::join(std::size_t kept, std::size_t other) {
    for (PlaceState &place : places_)
        if (place.group == other)
            place.group = kept;
}

template <typename Action> void UnreadPlaces::for_each_in(const Cell &first, int count, const Action &action) {
    auto next = index_.lower_bound({first.station, first.coil, first.address});
    for (; next != index_.end() && next->first < Name(first.station, first.coil, first.address + count); ++next)
        action(places_[next->second]);
}

void UnreadPlaces::expect(const std::vector<Hole> &holes) {
    groups_with_holes_.clear();
    for (const Hole &hole : holes)
        for (const bool coil : {false, true})
            for_each_in({hole.station, coil, hole.address}, 1,
                        [&](const PlaceState &place) { groups_with_holes_.insert(place.group); });
}

void UnreadPlaces::read(const Cell &first, int count) {
    for_each_in(first, count, [](PlaceState &place) {
        place.unread = 0;
        place.is_excused = false;
    });
}

// What is not read together with a hole should have been asked for by itself.
void UnreadPlaces::refused(const Cell &first, int count) {
    std::set<std::size_t> groups;
    for_each_in(first, count, [&](const PlaceState &place) {
        if (groups_with_holes_.count(place.group) > 0)
            groups.insert(place.group);
    });
    for (const std::size_t number : of_station_.at(static_cast<std::size_t>(first.station)))
        if (groups.count(places_[number].group) > 0)
            places_[number].unread = 0;
}

void UnreadPlaces::disturbed(const Cell &first, int count) {
    for_each_in(first, count, [](PlaceState &place) { place.is_excused = true; });
}

void UnreadPlaces::excuse(int station) {
    for (const std::size_t place : of_station_.at(static_cast<std::size_t>(station)))
        places_[place].is_excused = true;
}

std::uint64_t UnreadPlaces::count_exchange(int station) {
    std::uint64_t highest = 0;
    for (const std::size_t number : of_station_.at(static_cast<std::size_t>(station))) {
        PlaceState &place = places_[number];
        if (!place.is_excused)
            highest = std::max(highest, ++place.unread);
    }
    return highest;
}

Cell UnreadPlaces::longest_unread(int station) const {
    const PlaceState *longest = nullptr;
    for (const std::size_t number : of_station_.at(static_cast<std::size_t>(station))) {
        const PlaceState &place = places_[number];
        if (!place.is_excused && (longest == nullptr || place.unread > longest->unread))
            longest = &place;
    }
    return longest == nullptr ? Cell{station, false, 0} : longest->cell;
}

}  // namespace soak
