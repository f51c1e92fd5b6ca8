// The device of the host-to-firmware interface driver, in the shape of overlapped device I/O: a transfer is started,
// waited for no longer than its time-out, and collected. The device reports how far a transfer came; what that means
// and what is said about it belongs to the transport above.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/os_status.h"

namespace vellum {

// The driver's names, as GUIDs in the mixed-endian byte order of UEFI, and what it answers to device control: offsets
// and widths in bytes, numbers little-endian.
namespace peli {

// {E2D1FF34-3458-49A9-88DA-8E6915CE9BE5}, the device interface class.
inline constexpr std::array<std::uint8_t, 16> interface_class = {0x34, 0xFF, 0xD1, 0xE2, 0x58, 0x34, 0xA9, 0x49,
                                                                 0x88, 0xDA, 0x8E, 0x69, 0x15, 0xCE, 0x9B, 0xE5};

// {2FD631C9-1309-4FE6-BEC6-85732778AB01}, the firmware client.
inline constexpr std::array<std::uint8_t, 16> client_identifier = {0xC9, 0x31, 0xD6, 0x2F, 0x09, 0x13, 0xE6, 0x4F,
                                                                   0xBE, 0xC6, 0x85, 0x73, 0x27, 0x78, 0xAB, 0x01};

inline constexpr std::uint32_t get_version_code = 0x8000E000;     // no input
inline constexpr std::uint32_t connect_client_code = 0x8000E004;  // input: the client identifier

// Driver version.
inline constexpr std::size_t version_major_offset = 0;   // 1
inline constexpr std::size_t version_minor_offset = 1;   // 1
inline constexpr std::size_t version_hotfix_offset = 2;  // 1
inline constexpr std::size_t version_build_offset = 3;   // 2
inline constexpr std::size_t version_size = 5;

// Client properties.
inline constexpr std::size_t max_message_length_offset = 0;  // 4
inline constexpr std::size_t protocol_version_offset = 4;    // 1
inline constexpr std::size_t client_properties_size = 5;

}  // namespace peli

enum class io_status {
    completed,
    no_event,     // the event that signals completion could not be created
    not_started,  // the call itself failed
    timed_out,    // the transfer was cancelled; its buffer is free again
    wait_abandoned,
    wait_failed,
    not_collected,   // the transfer ended, its result could not be collected
    no_such_client,  // device control only: the driver answers that the firmware client does not exist
};

struct io_result {
    io_status status = io_status::completed;
    std::uint32_t transferred = 0;  // bytes
    os_status error = os_status::success;
    bool pending = false;  // the transfer did not complete at once
};

// Told of a transfer's steps as they come, so that what is said of them is said in time.
class transfer_steps {
  public:
    virtual ~transfer_steps() = default;

    virtual void starting() const {}  // whatever it needs is there, and the system's call comes next
    virtual void waiting() const {}   // it did not complete at once, and the wait comes next
};

enum class interface_search {
    done,          // there may be none
    size_unknown,  // the length of the list could not be had; there is the configuration manager's code
    not_listed,    // the list could not be had; the same
    kept_growing,
    no_memory,
};

struct found_interfaces {
    interface_search how = interface_search::done;
    std::uint32_t code = 0;
    std::vector<std::string> paths;
};

// Told of a search's steps as they come.
class interface_steps {
  public:
    virtual ~interface_steps() = default;

    virtual void sized(std::uint32_t) const {}  // the length of the list, in characters with every terminator
    virtual void outdated() const {}            // it has grown since, and is asked for again
};

class firmware_device {
  public:
    using class_guid = std::array<std::uint8_t, 16>;  // in the mixed-endian byte order of UEFI

    virtual ~firmware_device() = default;

    // The paths of the present interfaces of a class.
    virtual found_interfaces interfaces(const class_guid& interface_class, const interface_steps& steps) = 0;

    // Opens for reading and writing.
    virtual os_status open(const std::string& path) = 0;

    virtual io_result control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output,
                              std::uint32_t timeout_ms, const transfer_steps& steps) = 0;
    virtual io_result write(byte_view message, std::uint32_t timeout_ms, const transfer_steps& steps) = 0;

    // Reads one message of at most the buffer's size.
    virtual io_result read(std::span<std::uint8_t> buffer, std::uint32_t timeout_ms, const transfer_steps& steps) = 0;

    // The handle is given up whether or not it can be closed.
    virtual os_status close() = 0;
};

}  // namespace vellum
