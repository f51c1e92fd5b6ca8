// A machine without a TPM service.
#pragma once

#include "platform/tpm_library.h"

namespace vellum {

class absent_tpm_library final : public tpm_library {
  public:
    bool load(const char*, std::uint32_t) override { return false; }
    void* function(const char*) override { return nullptr; }
    void unload() override {}
    std::optional<std::string> system_directory() override { return std::nullopt; }
};

}  // namespace vellum
