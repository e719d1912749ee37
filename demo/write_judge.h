#pragma once

#include "demo/controller_memory.h"
#include "demo/demo_list.h"

#include <string>
#include <vector>

namespace kelpo {

/// Compares a finished write of `values` to `target` with the controller's memory. `log` is everything that was written
/// from the line since the write was asked for. Returns what is wrong, or nothing when
/// - every address was written with its value, and nothing else was written; a write may be there several times, since
///   one whose reply was lost is sent again;
/// - of a bit in a word, each write changed that one bit and left the others as the controller held them just before,
///   or at the end of the moment before, in which the driver may have read them;
/// - the memory holds the values now, unless the controller moves the place.
std::string fault_of_write(const DemoRow &target, const Values &values, const std::vector<LoggedWrite> &log,
                           const ControllerMemory &memory);

}  // namespace kelpo
