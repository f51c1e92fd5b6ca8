// How the calls of recorded services fail that bring no code of their own.
#pragma once

#include "base/os_status.h"

namespace vellum {

// The systems agree on the first one.
inline constexpr os_status recorded_not_found{2};
inline constexpr os_status recorded_io_error{5};
inline constexpr os_status recorded_no_room{34};

}  // namespace vellum
