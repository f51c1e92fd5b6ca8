// The host-to-firmware interface (PELI): finds the interface driver's device, connects to the firmware's Kovrin
// client, and moves one message at a time. What the messages say is not known here.
//
// The connection is the one global of this room, since the process talks to one firmware. It refers to the device
// that peli_init() was given, which must outlive it. Every transfer is bounded by a time-out; one that runs into it
// leaves the connection open. Failures are pushed, the low-level cause first.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "base/bytes.h"
#include "base/result.h"

namespace vellum {

class firmware_device;

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

// Opens the first present interface and connects to the client; an open connection is closed first. Fails with
// transport_failure, the device is closed then.
result peli_init(firmware_device& device);
result peli_init(firmware_device& device, peli_facts& facts);

// Closes the device; nothing happens when none is open.
void peli_deinit();

bool peli_connected();

// The longest message of the connected client in bytes, 1 to peli_longest_message; 0 without a connection.
std::uint32_t peli_max_message_length();

// Sends the whole message; the number of bytes written, negative on failure.
std::int64_t peli_send(byte_view message);

// Waits for one message; its length in bytes as the device reports it, which a faulty driver can make larger than the
// buffer, or negative on failure.
std::int64_t peli_receive(std::span<std::uint8_t> buffer);

}  // namespace vellum
