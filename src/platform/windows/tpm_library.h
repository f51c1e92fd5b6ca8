// The library of the TPM Base Services.
#pragma once

#include <memory>

#include "platform/tpm_library.h"

namespace vellum {

class windows_tpm_library final : public tpm_library {
  public:
    os_status load(const char* name, std::uint32_t flags) override;
    os_status function(const char* name, void*& address) override;
    void unload() override;
    os_status system_directory(std::string& out) override;

  private:
    struct free_module {
        void operator()(void* loaded) const;
    };

    std::unique_ptr<void, free_module> module_;
};

}  // namespace vellum
