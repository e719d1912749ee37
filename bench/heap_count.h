/// \file
/// Heap allocations of the calling thread, counted by replacing malloc, calloc and realloc in the whole process.
#pragma once

#include <cstdint>

namespace bench {

/// Calls of malloc, calloc and realloc by this thread so far.
std::uint64_t heap_allocations();

/// Bytes of the heap in use by the whole process, with the allocator's own.
std::uint64_t heap_bytes();

}  // namespace bench
