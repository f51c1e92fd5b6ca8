// The code of the system's last failed call, for those below the services who report it at once; windows/ and linux/
// implement it.
#pragma once

#include "base/os_status.h"

namespace vellum {

os_status last_status();

}  // namespace vellum
