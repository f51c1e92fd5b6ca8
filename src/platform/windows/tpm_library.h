// The library of the TPM Base Services.
#pragma once

#include <memory>

#include "platform/tpm_library.h"

namespace vellum {

class windows_tpm_library final : public tpm_library {
  public:
    bool load(const char* name, std::uint32_t flags) override;
    void* function(const char* name) override;
    void unload() override;
    std::optional<std::string> system_directory() override;

  private:
    struct free_module {
        void operator()(void* loaded) const;
    };

    std::unique_ptr<void, free_module> module_;
};

}  // namespace vellum
