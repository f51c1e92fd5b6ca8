#include "bench/heap_meter.h"

#include <malloc.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>

namespace {

std::size_t in_use = 0;
std::size_t peak = 0;

}  // namespace

// Every allocation of the program is counted with what the allocator really sets aside for it.
void* operator new(std::size_t size) {
    void* memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    in_use += malloc_usable_size(memory);
    peak = std::max(peak, in_use);
    return memory;
}

void operator delete(void* memory) noexcept {
    in_use -= malloc_usable_size(memory);
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

namespace vellum::bench {

void keep_freed_memory() {
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
}

std::size_t restart_heap_peak() {
    peak = in_use;
    return in_use;
}

std::size_t heap_peak() {
    return peak;
}

}  // namespace vellum::bench
