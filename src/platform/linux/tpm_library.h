// The TPM of the running machine behind the entry points of the TPM Base Services: commands go through the kernel's
// resource manager, the log is the one that the kernel took over from the firmware.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "platform/shared/tbs_functions.h"
#include "platform/shared/tpm_channel.h"
#include "platform/tpm_library.h"

namespace vellum {

class linux_tbs_service final : public tbs_service {
  public:
    tbs::result_code tpm_version(std::uint32_t& out) override;

    tbs::result_code open_context() override;
    tbs::result_code close_context() override;
    tbs::result_code read_log(std::vector<std::uint8_t>& out) override;

    tbs::result_code submit(byte_view command, std::span<std::uint8_t> response, std::size_t& received) override;

    // Why the device or the log could not be opened.
    std::optional<tpm_obstacle> take_obstacle() { return std::exchange(obstacle_, std::nullopt); }

  private:
    std::unique_ptr<tpm_channel> channel_;
    std::optional<tpm_obstacle> obstacle_;
};

class linux_tpm_library final : public tpm_library {
  public:
    os_status load(const char* name, std::uint32_t flags) override;
    os_status function(const char* name, void*& address) override;
    std::optional<tpm_obstacle> take_obstacle() override { return service_.take_obstacle(); }
    void unload() override;
    os_status system_directory(std::string& out) override;

  private:
    linux_tbs_service service_;
    bool loaded_ = false;
};

}  // namespace vellum
