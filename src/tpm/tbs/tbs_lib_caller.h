// One conversation with the TPM service: the library is loaded, the TPM's version checked and a context opened at
// construction; the end closes the context and frees the library. Everything throws what tpm/tbs/tbs_exceptions.h
// defines, but for the destructor, which reports a context that cannot be closed.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "base/bytes.h"
#include "platform/tbs.h"
#include "tpm/tbs/lib_loader.h"

namespace vellum {

class TBSLibCaller {
  public:
    explicit TBSLibCaller(std::unique_ptr<LibLoader> loader);
    ~TBSLibCaller();
    TBSLibCaller(const TBSLibCaller&) = delete;
    TBSLibCaller& operator=(const TBSLibCaller&) = delete;

    // The size in bytes of this boot's event log.
    std::uint32_t log_size();

    // Fills the buffer with the log and returns the number of bytes that the service says it wrote.
    std::uint32_t read_log(std::span<std::uint8_t> buffer);

    // Sends one command at locality zero and normal priority; returns the number of bytes that the service says it
    // answered. Its failure speaks of reading PCRs, the one command that is sent.
    std::uint32_t submit(byte_view command, std::span<std::uint8_t> response);

    // Closes the context; the destructor does it when this was not called.
    void close();

  private:
    // Positions in the table of entry points.
    enum function_id : std::size_t {
        context_create,
        context_close,
        get_tcg_log,
        get_tcg_log_ex,
        get_device_info,
        submit_command,
        function_count,
    };

    static const std::array<const char*, function_count> function_names;

    void check_tpm_version();
    void open_context();
    std::uint32_t get_log(std::uint8_t* buffer, std::uint32_t size);
    tbs::result_code call_get_log(std::uint8_t* buffer, std::uint32_t& size);

    // The address of an entry point; null, with the status, when the library has none.
    os_status look_up(function_id id, void*& address);

    // The same, remembered from its first use; throws when there is none.
    template <typename Function>
    Function function(function_id id);

    std::unique_ptr<LibLoader> loader_;
    std::array<void*, function_count> functions_{};
    tbs::context_parameters parameters_{tbs::context_version_two, tbs::include_tpm_20};
    tbs::context_handle context_ = nullptr;
    bool context_open_ = false;
    bool size_taken_with_ex_ = false;
};

}  // namespace vellum
