// The library of the TPM service as an object: loaded on demand, freed when the object ends.
#pragma once

#include <cstdint>
#include <string>

#include "platform/tpm_library.h"

namespace vellum {

class LibLoader {
  public:
    LibLoader(tpm_library& library, std::string name, std::uint32_t flags)
        : library_(library), name_(std::move(name)), flags_(flags) {}
    LibLoader(const LibLoader&) = delete;
    LibLoader& operator=(const LibLoader&) = delete;

    virtual ~LibLoader();  // frees the library if it was loaded

    // Throws LibException or one derived from it.
    virtual void load() = 0;

    // The address of an exported function; null, with the status, when the library has none of this name.
    virtual os_status function(const char* name, void*& address) = 0;

    virtual std::string name() const = 0;

    // Raises what a function that failed met on its way, if there is more than its result to tell.
    void report_obstacle();

  protected:
    tpm_library& library_;
    const std::string name_;
    const std::uint32_t flags_;
    bool loaded_ = false;
};

// "tbs.dll", from the system directory only.
class TBSLibLoader : public LibLoader {
  public:
    explicit TBSLibLoader(tpm_library& library);

    void load() override;
    os_status function(const char* name, void*& address) override;
    std::string name() const override { return name_; }
};

}  // namespace vellum
