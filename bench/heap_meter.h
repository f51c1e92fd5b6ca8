// Counts what the program takes from the heap. Linking it replaces the global operator new and delete.
#pragma once

#include <cstddef>

namespace vellum::bench {

// Begins a new peak and returns the bytes in use now.
std::size_t restart_heap_peak();

// The most bytes in use since the last restart.
std::size_t heap_peak();

}  // namespace vellum::bench
