#include "platform/windows/tpm_library.h"

#include <windows.h>

#include <array>

#include "platform/last_status.h"

namespace vellum {
namespace {

constexpr std::size_t max_directory = 260;  // characters with the terminator

HMODULE as_module(void* loaded) {
    return static_cast<HMODULE>(loaded);
}

}  // namespace

void windows_tpm_library::free_module::operator()(void* loaded) const {
    ::FreeLibrary(as_module(loaded));
}

os_status windows_tpm_library::load(const char* name, std::uint32_t flags) {
    module_.reset(::LoadLibraryExA(name, nullptr, flags));
    return module_ != nullptr ? os_status::success : last_status();
}

os_status windows_tpm_library::function(const char* name, void*& address) {
    address = nullptr;
    if (module_ == nullptr) {
        return os_status(ERROR_MOD_NOT_FOUND);
    }
    address = reinterpret_cast<void*>(::GetProcAddress(as_module(module_.get()), name));
    return address != nullptr ? os_status::success : last_status();
}

void windows_tpm_library::unload() {
    module_.reset();
}

os_status windows_tpm_library::system_directory(std::string& out) {
    std::array<char, max_directory> path{};
    const UINT length = ::GetSystemDirectoryA(path.data(), static_cast<UINT>(path.size()));
    if (length == 0 || length >= path.size()) {
        return length == 0 ? last_status() : os_status(ERROR_BUFFER_OVERFLOW);
    }
    out.assign(path.data(), length);
    return os_status::success;
}

}  // namespace vellum
