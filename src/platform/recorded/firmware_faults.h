// The file `firmware/faults`: what goes wrong on the way to the firmware. One fault a line, "OPERATION FAULT
// [NUMBER]"; the number is the system's error code of a failure, or the bytes of a short transfer.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/firmware_device.h"
#include "platform/recorded/record_directory.h"

namespace vellum {

enum class firmware_operation { list_size, list, open, version, connect, write, read, close };

class firmware_faults {
  public:
    result load(record_directory& record);

    // The error code that listing, opening or closing fails with, if it does.
    std::optional<std::uint32_t> failure(firmware_operation operation) const;

    // How a transfer ends that does not complete.
    std::optional<io_result> io_failure(firmware_operation operation) const;

    // A completed transfer as the faults let it come through.
    io_result completed(firmware_operation operation, io_result outcome) const;

    // Whether the list of interfaces grows between asking for its size and fetching it.
    bool list_grows() const;

  private:
    enum class fault_kind { fail, grow, short_transfer, pending, status };
    struct fault {
        firmware_operation operation;
        fault_kind kind;
        io_status status;
        std::optional<std::uint32_t> number;
    };
    struct fault_name;
    static const fault_name fault_names[];

    static std::optional<fault> parse(std::string_view line);
    const fault* find(firmware_operation operation, fault_kind kind) const;

    std::vector<fault> faults_;
};

}  // namespace vellum
