#pragma once

#include "plc/memory/table.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace plc {

/// Number of a step of the moving values, counted from 0 at the controller's start.
using Moment = std::uint32_t;

/// Every moving zone has this many addresses, from its base on.
constexpr unsigned zone_length = 40;

/// First address of each zone of the table whose values move. A zone's number is its index here.
const std::vector<unsigned> &zone_bases(Table table);

/// Whether the controller changes the value at this address by itself.
bool moves(Table table, unsigned address);

/// The value that the controller gives to such an address at `moment`; nothing for an address that does not move.
/// Depends only on its arguments.
///
/// A coil is off for 1 + offset % 8 moments and on for as many, where the offset counts from the base of its zone; a
/// register follows one of eight rules, by offset % 8. Stations and zones differ by a moment or more.
std::optional<std::uint16_t> moving_value(unsigned station, Table table, unsigned address, Moment moment);

}  // namespace plc
