#pragma once

namespace soak {

/// In KiB, without what files and other processes share: the controller's memory file is mapped.
long resident_size();

/// By more than 5 %. Never under a sanitizer: it keeps what was freed, so that the size means nothing.
bool has_grown(long early, long late);

}  // namespace soak
