// A TPM service whose every answer can be set.
#pragma once

#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include "lab/byte_builder.h"
#include "platform/shared/tbs_functions.h"
#include "platform/tpm_library.h"
#include "tpm/event_log.h"

namespace vellum::test {

class fake_tbs : public tpm_library, public tbs_service {
  public:
    bool found = true;
    std::optional<std::string> directory = "DIR";
    std::set<std::string> missing;          // functions that the library does not have
    std::map<std::string, void*> replaced;  // functions that do something else
    tbs::result_code info_code = 0, open_code = 0, close_code = 0, log_code = 0, submit_code = 0;
    std::uint32_t version = tbs::tpm_version_20;
    std::vector<std::uint8_t> log = {1, 2, 3};
    pcr_value_list pcrs{};
    void (*on_log)(fake_tbs&) = [](fake_tbs&) {};
    bool throws = false;
    std::string calls;  // what was called, in order

    ~fake_tbs() override { bind_tbs_service(nullptr); }

    os_status load(const char* name, std::uint32_t flags) override {
        calls += "load ";
        bind_tbs_service(this);
        return found && std::string(name) == "tbs.dll" && flags == 0x800 ? os_status::success : os_status(5);
    }
    os_status function(const char* name, void*& address) override {
        address = missing.contains(name) ? nullptr : replaced.contains(name) ? replaced[name] : tbs_function(name);
        return address != nullptr ? os_status::success : os_status(5);
    }
    void unload() override { calls += "unload "; }
    os_status system_directory(std::string& out) override {
        out = throws ? throw std::runtime_error("what\nit says") : directory.value_or("");
        return directory ? os_status::success : os_status(5);
    }

    tbs::result_code tpm_version(std::uint32_t& out) override { return out = version, info_code; }
    tbs::result_code open_context() override { return calls += "open ", open_code; }
    tbs::result_code close_context() override { return calls += "close ", close_code; }
    tbs::result_code read_log(std::vector<std::uint8_t>& out) override { return on_log(*this), out = log, log_code; }
    tbs::result_code submit(byte_view command, std::span<std::uint8_t> out, std::size_t& received) override {
        const std::size_t pass = command[17] != 0 ? 0 : command[18] != 0 ? 1 : 2;
        const std::vector<std::uint8_t> answer = response(pass);
        calls += "submit" + std::to_string(pass) + " ";
        received = answer.size();
        std::copy(answer.begin(), answer.end(), out.begin());
        return submit_code;
    }

    // What a TPM answers to the read of one group of eight PCRs.
    std::vector<std::uint8_t> response(std::size_t pass) const {
        lab::byte_builder body;
        body.u32_be(0).u32_be(77).u32_be(1).u16_be(0x000B).u8(3).fill(3).u32_be(8);
        for (std::size_t pcr = 8 * pass; pcr < 8 * pass + 8; ++pcr) {
            body.u16_be(32).bytes(pcrs[pcr]);
        }
        const auto size = static_cast<std::uint32_t>(6 + body.size());
        return lab::byte_builder().u16_be(0x8001).u32_be(size).bytes(body.take()).take();
    }
};

}  // namespace vellum::test
