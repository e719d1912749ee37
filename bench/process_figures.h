/// \file
/// What this process has used so far.
#pragma once

namespace bench {

/// Processor time of all its threads, its own and the kernel's for it.
double processor_seconds();

/// Resident size. Throws std::runtime_error where /proc does not have it.
long resident_kilobytes();

}  // namespace bench
