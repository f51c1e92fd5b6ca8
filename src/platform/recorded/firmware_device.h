// The interface device of the directory `firmware`: answers each request with the recorded response to its command,
// and plays the faults of `firmware/faults`. Nothing ever waits: what would time out does so at once.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/firmware_command.h"
#include "platform/firmware_device.h"
#include "platform/recorded/firmware_faults.h"
#include "platform/recorded/record_directory.h"
#include "platform/recorded/system_errors.h"
#include "platform/request_folder.h"

namespace vellum {

// The commands that a response can be recorded for, and the files that hold the whole response messages.
struct recorded_response {
    firmware_command command;
    const char* file;
};
inline constexpr std::array<recorded_response, 4> recorded_responses = {{
    {firmware_command::GET_VERSION, "firmware/get_version.bin"},
    {firmware_command::FEATURE_GET_STATE, "firmware/feature_get_state.bin"},
    {firmware_command::GM_FILE_GET, "firmware/gm_file_get.bin"},
    {firmware_command::FEATURE_DEACTIVATE, "firmware/feature_deactivate.bin"},
}};

class recorded_firmware_device final : public firmware_device {
  public:
    result load(record_directory& record);

    found_interfaces interfaces(const class_guid& interface_class, const interface_steps& steps) override;
    os_status open(const std::string& path) override;
    io_result control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output, std::uint32_t timeout_ms,
                      const transfer_steps& steps) override;
    io_result write(byte_view message, std::uint32_t timeout_ms, const transfer_steps& steps) override;
    io_result read(std::span<std::uint8_t> buffer, std::uint32_t timeout_ms, const transfer_steps& steps) override;
    os_status close() override;

  private:
    struct version {
        std::uint8_t major_number = 1;
        std::uint8_t minor_number = 0;
        std::uint8_t hotfix = 0;
        std::uint16_t build = 0;
    };

    result load_version(record_directory& record);
    result load_sent(record_directory& record);
    std::uint32_t list_characters() const;
    std::uint32_t list_size(const class_guid& interface_class, std::uint32_t& characters);
    std::uint32_t list(std::uint32_t characters, std::vector<std::string>& paths) const;
    io_result answer_control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output);
    io_result take_request(byte_view message);
    io_result give_response(std::span<std::uint8_t> buffer);
    io_result answer_version(std::span<std::uint8_t> output) const;
    io_result answer_connect(byte_view input, std::span<std::uint8_t> output);
    [[nodiscard]] bool keep(byte_view message);

    std::string path_;  // of the directory, which is also the device's
    bool present_ = false;
    bool client_absent_ = false;
    version version_;
    std::uint32_t max_message_length_ = 16384;  // bytes
    std::array<std::optional<std::vector<std::uint8_t>>, recorded_responses.size()> responses_;
    firmware_faults faults_;
    std::shared_ptr<request_folder> sent_;  // null when requests are not kept
    std::uint64_t last_sent_ = 0;           // number of the last request there

    bool list_has_grown_ = false;
    bool open_ = false;
    bool connected_ = false;
    const std::vector<std::uint8_t>* waiting_ = nullptr;  // the response to the last request
};

}  // namespace vellum
