// The TPM service's library, loaded at run time. A system that has no such library hands out functions of the same
// names and signatures (platform/tbs.h) that are built on what it has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vellum {

class tpm_library {
  public:
    virtual ~tpm_library() = default;

    // Loads the library of the given file name. False when it cannot be found; system_errors::last() has the reason.
    virtual bool load(const char* name, std::uint32_t flags) = 0;

    // The address of an exported function; null when the library has none of this name or is not loaded.
    virtual void* function(const char* name) = 0;

    // Frees the library if it is loaded.
    virtual void unload() = 0;

    // The directory that system libraries are loaded from, without a separator at its end; for messages.
    virtual std::optional<std::string> system_directory() = 0;
};

}  // namespace vellum
