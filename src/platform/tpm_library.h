// The TPM service's library, loaded at run time. A system that has no such library hands out functions of the same
// names and signatures (platform/tbs.h) that are built on what it has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/os_status.h"

namespace vellum {

// What a call of an exported function met on its way, where the functions are built on what the system has.
struct tpm_obstacle {
    std::string text;  // a sentence, which may be shown
    os_status reason = os_status::success;
};

class tpm_library {
  public:
    virtual ~tpm_library() = default;

    // Loads the library of the given file name. False when it cannot be found; system_errors::last() has the reason.
    virtual bool load(const char* name, std::uint32_t flags) = 0;

    // The address of an exported function; null when the library has none of this name or is not loaded.
    virtual void* function(const char* name) = 0;

    // What the last call of a function that failed met, if it is more than its result; nothing when it is asked
    // again.
    virtual std::optional<tpm_obstacle> take_obstacle() { return std::nullopt; }

    // Frees the library if it is loaded.
    virtual void unload() = 0;

    // The directory that system libraries are loaded from, without a separator at its end; for messages.
    virtual std::optional<std::string> system_directory() = 0;
};

}  // namespace vellum
