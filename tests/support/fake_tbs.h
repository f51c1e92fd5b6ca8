// A TPM service whose every answer can be set. Its functions reach the one instance that exists.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "platform/tbs.h"
#include "platform/tpm_library.h"
#include "tpm/event_log.h"

namespace vellum::test {

class fake_tbs final : public tpm_library {
  public:
    fake_tbs();
    ~fake_tbs() override;

    bool found = true;
    std::optional<std::string> directory = "DIR";
    std::set<std::string> missing;  // functions that the library does not have
    tbs::result_code device_info_code = 0;
    std::uint32_t tpm_version = tbs::tpm_version_20;
    tbs::result_code create_code = 0;
    tbs::result_code close_code = 0;
    tbs::result_code log_code = 0;
    std::vector<std::uint8_t> log = {1, 2, 3};
    std::vector<std::uint32_t> log_sizes;  // claimed by each call in turn, where given
    tbs::result_code submit_code = 0;
    pcr_value_list pcrs{};
    std::function<void(std::vector<std::uint8_t>&)> change_response;
    std::function<void(const std::string&)> on_call;  // before each function does its work

    std::string calls;  // names of the functions called, and "load", "unload", each behind a blank
    std::vector<std::vector<std::uint8_t>> commands;

    bool load(const char* name, std::uint32_t flags) override;
    void* function(const char* name) override;
    void unload() override { calls += " unload"; }
    std::optional<std::string> system_directory() override { return directory; }

    // What a TPM answers to the read of one group of eight PCRs.
    std::vector<std::uint8_t> response(std::size_t pass) const;
};

}  // namespace vellum::test
