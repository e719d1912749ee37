#pragma once

#include "variables.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace soak {

/// A number that has neither a coil nor a register for a while, at an answering station.
struct Hole {
    int station;
    int address;
};

/// Counts, for each place that the host polls at an answering station, the exchanges with that station since the place
/// was read: what exists is read again and again, whatever is refused beside it. What a hole keeps from being read is
/// asked for again and again.
///
/// A place does not count from the time when something else went wrong with a request for it until it is read.
class UnreadPlaces {
public:
    explicit UnreadPlaces(const std::vector<Variable> &variables);

    /// A controller with these holes comes.
    void expect(const std::vector<Hole> &holes);

    /// A request for these places had the right reply, was refused because of a hole, or had something else go wrong
    /// with it.
    void read(const Cell &first, int count);
    void refused(const Cell &first, int count);
    void disturbed(const Cell &first, int count);

    /// Nothing is expected of any place of the station before it is read.
    void excuse(int station);

    /// There was one more exchange with the station. Returns the highest count.
    std::uint64_t count_exchange(int station);

    /// The place of the station that has the highest count.
    Cell longest_unread(int station) const;

private:
    struct PlaceState {
        Cell cell;
        std::size_t group;  // of places that are only read together
        std::uint64_t unread = 0;
        bool is_excused = true;
    };
    using Name = std::tuple<int, bool, int>;

    static constexpr std::size_t stations = 8;

    void join(std::size_t kept, std::size_t other);
    template <typename Action> void for_each_in(const Cell &first, int count, const Action &action);

    std::vector<PlaceState> places_;
    std::array<std::vector<std::size_t>, stations> of_station_;
    std::map<Name, std::size_t> index_;
    std::size_t groups_ = 0;
    std::set<std::size_t> groups_with_holes_;
};

}  // namespace soak
