#include "bench/heap_count.h"

#include <malloc.h>

#include <cstdlib>

namespace {

thread_local std::uint64_t allocations = 0;

}  // namespace

extern "C" {

// The C library's own, under the names that it keeps for programs that replace the public ones.
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);

void *malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

void *realloc(void *block, size_t size) {
    ++allocations;
    return __libc_realloc(block, size);
}
}

namespace bench {

std::uint64_t heap_allocations() {
    return allocations;
}

std::uint64_t heap_bytes() {
    const struct mallinfo2 now = mallinfo2();
    return now.uordblks + now.hblkhd;
}

}  // namespace bench
