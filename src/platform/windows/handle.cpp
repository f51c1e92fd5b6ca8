#include "platform/windows/handle.h"

#include <windows.h>

namespace vellum {

bool handle::valid() const {
    return value_ != nullptr && value_ != INVALID_HANDLE_VALUE;
}

bool handle::close() {
    void* closed = std::exchange(value_, nullptr);
    return closed == nullptr || closed == INVALID_HANDLE_VALUE || ::CloseHandle(closed) != FALSE;
}

void close_search::operator()(void* search) const {
    if (search != INVALID_HANDLE_VALUE) {
        ::FindClose(search);
    }
}

}  // namespace vellum
