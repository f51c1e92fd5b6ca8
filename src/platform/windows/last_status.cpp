#include "platform/last_status.h"

#include <windows.h>

namespace vellum {

os_status last_status() {
    return os_status(::GetLastError());
}

}  // namespace vellum
