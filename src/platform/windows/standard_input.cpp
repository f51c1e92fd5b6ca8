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

}  // namespace vellum
