#pragma once

#include <cstdint>

namespace plc {

/// Number of a step of the moving values, counted from 0 at the controller's start.
using Moment = std::uint32_t;

}  // namespace plc
