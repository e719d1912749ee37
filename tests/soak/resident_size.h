#pragma once

namespace soak {

/// The resident size of this process in KiB, without what it shares with files and other processes: the controller's
/// memory is mapped.
long resident_size();

/// Whether the size grew by more than 5 %. Always false with a sanitizer, which keeps what was freed.
bool has_grown(long early, long late);

}  // namespace soak
