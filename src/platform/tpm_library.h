// The TPM service's library, loaded at run time. A system that has no such library hands out functions of the same
// names and signatures (platform/tbs.h) that are built on what it has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/os_status.h"
#include "platform/bounded_file.h"

namespace vellum {

// What a call of an exported function met on its way, where the functions are built on what the system has.
struct tpm_obstacle {
    std::string text = {};  // a sentence, which may be shown; empty when it was a file that could not be read
    os_status reason = os_status::success;

    std::string path = {};  // of that file
    file_read read = {};
    std::uint64_t limit = 0;  // bytes
};

class tpm_library {
  public:
    virtual ~tpm_library() = default;

    // Loads the library of the given file name.
    virtual os_status load(const char* name, std::uint32_t flags) = 0;

    // The address of an exported function; null, with the status, when the library has none of this name or is not
    // loaded.
    virtual os_status function(const char* name, void*& address) = 0;

    // What the last call of a function that failed met, if it is more than its result; nothing when it is asked
    // again.
    virtual std::optional<tpm_obstacle> take_obstacle() { return std::nullopt; }

    // Frees the library if it is loaded.
    virtual void unload() = 0;

    // The directory that system libraries are loaded from, without a separator at its end; for messages.
    virtual os_status system_directory(std::string& out) = 0;
};

}  // namespace vellum
