#include "platform/standard_input.h"

#include <windows.h>

#include <algorithm>

namespace vellum {

std::size_t read_standard_input(std::span<std::uint8_t> buffer) {
    constexpr std::size_t most = std::size_t{1} << 20;
    DWORD got = 0;
    const auto size = static_cast<DWORD>(std::min(buffer.size(), most));
    const BOOL read = ::ReadFile(::GetStdHandle(STD_INPUT_HANDLE), buffer.data(), size, &got, nullptr);
    return read != FALSE ? got : 0;
}

// A pipe cannot be waited for by its handle; files and consoles are read without being asked.
bool standard_input_waits(std::chrono::milliseconds patience) {
    constexpr DWORD pause_milliseconds = 10;
    auto* const input = ::GetStdHandle(STD_INPUT_HANDLE);
    if (::GetFileType(input) != FILE_TYPE_PIPE) {
        return true;
    }
    for (std::chrono::milliseconds waited{}; waited < patience;
         waited += std::chrono::milliseconds(pause_milliseconds)) {
        DWORD available = 0;
        // It fails at the end.
        if (::PeekNamedPipe(input, nullptr, 0, nullptr, &available, nullptr) == FALSE || available > 0) {
            return true;
        }
        ::Sleep(pause_milliseconds);
    }
    return false;
}

}  // namespace vellum
