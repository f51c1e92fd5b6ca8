// What standard output leads to, for who lays out pages for it, and standard error. windows/ and linux/ implement it.
#pragma once

#include <cstddef>

namespace vellum {

struct terminal_traits {
    std::size_t columns = 0;  // of its window; 0: it is no terminal
    bool colours = false;     // ANSI sequences are understood there, and wanted (shared/terminal_colours.h)
};

// Looks at standard output as it is now. A terminal that takes ANSI sequences for text until it is told otherwise is
// told.
terminal_traits look_at_terminal();

// Whether somebody watches standard error at a terminal that takes ANSI sequences; one that has to be told is told.
bool errors_are_watched();

}  // namespace vellum
