// Counts what the program takes from the heap. Linking it replaces the global operator new and delete.
#pragma once

#include <cstddef>

namespace vellum::bench {

// Lets freed memory stay with the program. The first use of a page costs a virtual machine more than everything that
// is done with it afterwards; without this a benchmark of large inputs measures that alone.
void keep_freed_memory();

// Begins a new peak and returns the bytes in use now.
std::size_t restart_heap_peak();

// The most bytes in use since the last restart.
std::size_t heap_peak();

}  // namespace vellum::bench
