// The device of the interface driver, found through the configuration manager and driven by overlapped calls. Each
// transfer has an event of its own and is waited for no longer than its time-out; one that is still pending then is
// cancelled, and the cancellation is awaited before the buffer goes back to its owner.
#pragma once

#include "platform/firmware_device.h"
#include "platform/windows/handle.h"

namespace vellum {

class windows_firmware_device final : public firmware_device {
  public:
    found_interfaces interfaces(const class_guid& interface_class, const interface_steps& steps) override;
    os_status open(const std::string& path) override;
    io_result control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output, std::uint32_t timeout_ms,
                      const transfer_steps& steps) override;
    io_result write(byte_view message, std::uint32_t timeout_ms, const transfer_steps& steps) override;
    io_result read(std::span<std::uint8_t> buffer, std::uint32_t timeout_ms, const transfer_steps& steps) override;
    os_status close() override;

  private:
    handle device_;
};

}  // namespace vellum
