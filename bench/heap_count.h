/// \file
/// Heap allocations of the calling thread, counted for the whole process by malloc and its kin being replaced.
#pragma once

#include <cstdint>

namespace bench {

/// Calls of malloc, calloc and realloc by this thread so far.
std::uint64_t heap_allocations();

/// Bytes of the heap in use by the whole process, with the allocator's own.
std::uint64_t heap_bytes();

}  // namespace bench
