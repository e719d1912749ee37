/// \file
/// What this process has used so far.
#pragma once

namespace bench {

/// Processor time of all its threads, in its own code and in the kernel.
double processor_seconds();

/// Resident size. Throws std::runtime_error where /proc does not have it.
long resident_kilobytes();

}  // namespace bench
