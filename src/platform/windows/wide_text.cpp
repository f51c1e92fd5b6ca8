#include "platform/windows/wide_text.h"

#include <windows.h>

#include <algorithm>
#include <limits>

namespace vellum {
namespace {

// The system counts in int; no text comes near it.
template <typename View>
int length_of(View text) {
    return static_cast<int>(std::min<std::size_t>(text.size(), std::numeric_limits<int>::max()));
}

}  // namespace

std::wstring wide_text(std::string_view text) {
    const int size = length_of(text);
    const int needed = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    std::wstring out(static_cast<std::size_t>(std::max(needed, 0)), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, out.data(), needed);
    return out;
}

std::string narrow_text(std::wstring_view text) {
    const int size = length_of(text);
    const int needed = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(std::max(needed, 0)), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, out.data(), needed, nullptr, nullptr);
    return out;
}

}  // namespace vellum
