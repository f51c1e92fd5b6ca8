// The character device of the interface driver. Device control is an ioctl with the driver's code on one buffer that
// holds the input and then the output; messages are written and read whole. The descriptor never blocks: each
// transfer waits in poll, and signals that arrive meanwhile do not extend its time-out.
#pragma once

#include <string>

#include "platform/firmware_device.h"
#include "platform/linux/descriptor.h"

namespace vellum {

class linux_firmware_device final : public firmware_device {
  public:
    explicit linux_firmware_device(std::string path = "/dev/peli0") : path_(std::move(path)) {}

    // Takes over an open descriptor in place of opening the device.
    void adopt(int open_descriptor);

    found_interfaces interfaces(const class_guid& interface_class, const interface_steps& steps) override;
    os_status open(const std::string& path) override;
    io_result control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output, std::uint32_t timeout_ms,
                      const transfer_steps& steps) override;
    io_result write(byte_view message, std::uint32_t timeout_ms, const transfer_steps& steps) override;
    io_result read(std::span<std::uint8_t> buffer, std::uint32_t timeout_ms, const transfer_steps& steps) override;
    os_status close() override;

  private:
    std::string path_;
    descriptor descriptor_;
};

}  // namespace vellum
