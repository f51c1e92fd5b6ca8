// The TPM of a recorded device behind the entry points of the TPM Base Services, from the files in its folder `tpm`:
//
//   pcrs.bin       24 values of 32 bytes; TPM2_PCR_Read commands are answered from them
//   tcti           instead of pcrs.bin: the configuration of a TPM channel, which begins with "swtpm:", "mssim:" or
//                  "device:/dev/tpm"; commands go to the TPM at its end
//   event_log.bin  the log of this boot
//   version        "1" or "2", the default
//   no_log_ex      when it is there, the library does not have Tbsi_Get_TCG_Log_Ex
//
// Without the folder the library cannot be found. A call whose file is missing, or does not hold what it should,
// fails with service_not_running.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/recorded/pcr_read_answer.h"
#include "platform/recorded/record_directory.h"
#include "platform/shared/tbs_functions.h"
#include "platform/shared/tpm_channel.h"
#include "platform/tpm_library.h"

namespace vellum {

inline constexpr std::array recorded_tpm_files = {"tpm/pcrs.bin", "tpm/tcti", "tpm/event_log.bin", "tpm/version",
                                                  "tpm/no_log_ex"};

// A record can come from anyone. The stack knows interfaces that load a library by its path, run a command or write
// to any file; a record may name a TPM emulator or a TPM of this machine, no more.
bool may_be_recorded(std::string_view tcti_configuration);

class recorded_tbs_service final : public tbs_service {
  public:
    // Of the recorded device in this directory.
    explicit recorded_tbs_service(std::string record) : record_(std::move(record)) {}

    // From now on it answers from these values, whatever the files say, and reaches no TPM.
    void hold_pcrs(const recorded_pcrs& pcrs) { held_pcrs_ = pcrs; }

    tbs::result_code tpm_version(std::uint32_t& out) override;
    tbs::result_code open_context() override;
    tbs::result_code close_context() override;
    tbs::result_code read_log(std::vector<std::uint8_t>& out) override;
    tbs::result_code submit(byte_view command, std::span<std::uint8_t> response, std::size_t& received) override;

    // What there is to say of a channel that could not be opened.
    std::optional<tpm_obstacle> take_obstacle() {
        const std::string text = std::exchange(problem_, "");
        return text.empty() ? std::nullopt : std::optional(tpm_obstacle{.text = text});
    }

  private:
    record_directory record_;
    std::optional<recorded_pcrs> held_pcrs_;
    std::unique_ptr<tpm_channel> channel_;
    std::string problem_;
};

class recorded_tpm_library final : public tpm_library {
  public:
    explicit recorded_tpm_library(const std::string& device) : record_(device), service_(device) {}

    void hold_pcrs(const recorded_pcrs& pcrs) { service_.hold_pcrs(pcrs); }

    os_status load(const char* name, std::uint32_t flags) override;
    os_status function(const char* name, void*& address) override;
    std::optional<tpm_obstacle> take_obstacle() override { return service_.take_obstacle(); }
    void unload() override;
    os_status system_directory(std::string& out) override;

  private:
    record_directory record_;
    recorded_tbs_service service_;
    bool loaded_ = false;
};

}  // namespace vellum
