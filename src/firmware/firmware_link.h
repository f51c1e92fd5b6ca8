// The link to the firmware through the host-to-firmware interface (PELI): finds the interface driver's device,
// connects to the firmware's Kovrin client, and moves one message at a time. What the messages say is not known here.
//
// A link closes itself. It refers to the device that it was opened on, which must outlive it. Every transfer is
// bounded by a time-out; one that runs into it leaves the link open. Failures are findings, the low-level cause
// first.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "base/bytes.h"
#include "base/result.h"

namespace vellum {

class firmware_device;
struct io_result;

inline constexpr std::uint32_t peli_timeout_ms = 10000;          // of a transfer
inline constexpr std::uint32_t peli_longest_message = 1U << 20;  // bytes; no client may ask for more

struct peli_driver_version {
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
    std::uint8_t hotfix = 0;
    std::uint16_t build = 0;
};

// What the attempt to connect learns, whether it succeeds or not.
struct peli_facts {
    std::optional<peli_driver_version> driver;
    bool client_absent = false;  // the driver answers that the client does not exist
};

class firmware_link {
  public:
    firmware_link() = default;
    ~firmware_link();
    firmware_link(const firmware_link&) = delete;
    firmware_link& operator=(const firmware_link&) = delete;

    // Opens the first present interface and connects to the client; what was open is closed first. Fails with
    // transport_failure, the link is closed then.
    result open(firmware_device& device);
    result open(firmware_device& device, peli_facts& facts);

    bool connected() const { return connected_; }

    // The longest message of the connected client in bytes, 1 to peli_longest_message; 0 without a connection.
    std::uint32_t max_message_length() const { return max_message_length_; }

    // Sends the whole message; the number of bytes written, negative on failure.
    [[nodiscard]] std::int64_t send(byte_view message);

    // Waits for one message; its length in bytes as the device reports it, which a faulty driver can make larger than
    // the buffer, or negative on failure.
    [[nodiscard]] std::int64_t receive(std::span<std::uint8_t> buffer);

    // Nothing happens when it is not open.
    void close();

  private:
    [[nodiscard]] bool open_device(firmware_device& device);
    [[nodiscard]] bool take_control(peli_facts& facts);
    [[nodiscard]] bool connect_client(peli_facts& facts);
    std::int32_t control(std::uint32_t code, byte_view input, std::span<std::uint8_t>& output);
    void close_device();

    firmware_device* device_ = nullptr;  // null while no device is open
    std::uint32_t max_message_length_ = 0;
    bool connected_ = false;
};

}  // namespace vellum
