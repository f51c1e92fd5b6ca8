#include "platform/windows/tpm_library.h"

#include <windows.h>

#include <array>

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

bool windows_tpm_library::load(const char* name, std::uint32_t flags) {
    module_.reset(::LoadLibraryExA(name, nullptr, flags));
    return module_ != nullptr;
}

void* windows_tpm_library::function(const char* name) {
    if (module_ == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<void*>(::GetProcAddress(as_module(module_.get()), name));
}

void windows_tpm_library::unload() {
    module_.reset();
}

std::optional<std::string> windows_tpm_library::system_directory() {
    std::array<char, max_directory> path{};
    const UINT length = ::GetSystemDirectoryA(path.data(), static_cast<UINT>(path.size()));
    if (length == 0 || length >= path.size()) {
        return std::nullopt;
    }
    return std::string(path.data(), length);
}

}  // namespace vellum
