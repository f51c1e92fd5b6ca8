// Whether a terminal is to show colours, by the conventions of terminals (no-color.org).
#pragma once

#include <cstdlib>
#include <string_view>

namespace vellum {

// False for a set NO_COLOR, and for a terminal that knows no colours.
inline bool colours_are_wanted() {
    const char* const refusal = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return (refusal == nullptr || *refusal == '\0') && (terminal == nullptr || std::string_view(terminal) != "dumb");
}

}  // namespace vellum
