#include "platform/windows/system_errors.h"

#include <windows.h>

#include <array>

#include "platform/shared/tbs_texts.h"
#include "platform/windows/wide_text.h"

namespace vellum {
namespace {

constexpr std::size_t max_text = std::size_t{8} * 1024;  // UTF-16 units

// The table's own line breaks are left out, and its inserts stay as they stand: there are no arguments for them.
constexpr DWORD one_line = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;

}  // namespace

std::optional<std::string> windows_system_errors::text(os_status code) {
    std::array<wchar_t, max_text> buffer{};
    const DWORD length = ::FormatMessageW(one_line, nullptr, code_of(code), 0, buffer.data(),
                                          static_cast<DWORD>(buffer.size()), nullptr);
    if (length == 0) {
        return tbs_text(code);
    }
    std::wstring_view line(buffer.data(), length);
    // A blank stands where the last line break was.
    line = line.substr(0, line.find_last_not_of(L" \r\n") + 1);
    return narrow_text(line);
}

}  // namespace vellum
