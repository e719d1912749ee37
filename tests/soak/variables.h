#pragma once

#include "host/driver/raw_calls.h"

#include <cstdint>
#include <string>
#include <vector>

namespace soak {

/// One coil or holding register of one station.
struct Cell {
    int station;
    bool coil;
    int address;  ///< 0 to 65535, as it is in frames
};

/// Where one unit of a variable is: a cell, or a bit of one.
struct Place {
    Cell cell;
    int bit;  ///< of a register; -1: all of the cell
};

/// A variable of the campaign's screens.
struct Variable {
    kelpo::Variable shown;
    bool written;               ///< the campaign writes to it, and nobody else does
    std::vector<Place> places;  ///< in the order of their values; for 32 bits, the high half first
};

/// The stations, and what they do.
constexpr int answering_stations[] = {1, 2, 3};
constexpr int dead_station = 4;      ///< gets requests and never answers
constexpr int flapping_station = 5;  ///< dead for a while, again and again
constexpr int absent_station = 6;    ///< not on the line

inline bool answers_always(int station) {
    return station >= 1 && station <= 3;
}

/// Some 500 variables of all register types; nearly all of them belong to the answering stations.
std::vector<Variable> all_variables();

/// What a cell holds that is not written and does not move: made from its station, table and address.
std::uint16_t pattern_of(const Cell &cell);

/// What write number `serial` of variable number `variable` puts at its place number `place`: 0 or 1 for bits. All bits
/// change from one write to the next; no two of 65536 writes in a row give a register the same value.
std::uint16_t written_value(const Variable &of, int variable, int place, std::uint32_t serial);

/// The number of writes from `floor` on after which a register's place would show `value`, modulo 2^16.
std::uint16_t writes_since(int variable, int place, std::uint32_t floor, std::uint16_t value);

}  // namespace soak
