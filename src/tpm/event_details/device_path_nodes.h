// The text forms of single nodes of a UEFI device path (UEFI specification 2.10, section 10.6.1.6), as far as they
// need more than their fields one after another. Each takes the node's data without its head, and gives nothing when
// they do not fit it.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/bytes.h"
#include "base/text.h"

namespace vellum {

// "Name(argument,argument)".
class node_text {
  public:
    explicit node_text(std::string_view name) : text_(name) { text_ += '('; }

    node_text& add(std::string_view argument) {
        text_ += any_ ? "," : "";
        text_ += argument;
        any_ = true;
        return *this;
    }
    node_text& hex(std::uint64_t number);  // "0x1F"
    node_text& decimal(std::uint64_t number) { return add(std::to_string(number)); }

    // The name of a value by a table of rows {value, name}; the number, hexadecimal, when it has none.
    template <typename Table>
    node_text& named(const Table& table, std::uint64_t value) {
        const auto row = std::find_if(std::begin(table), std::end(table),
                                      [value](const auto& entry) { return entry.value == value; });
        return row != std::end(table) ? add(row->name) : hex(value);
    }

    std::string take() { return std::move(text_) + ')'; }

  private:
    std::string text_;
    bool any_ = false;
};

struct named_number {
    std::uint64_t value;
    const char* name;
};

struct named_guid {
    std::array<std::uint8_t, guid_size> value;
    const char* name;
};

std::optional<std::string> acpi_text(byte_view data);
std::optional<std::string> acpi_expanded_text(byte_view data);
std::optional<std::string> acpi_address_text(byte_view data);

std::optional<std::string> ata_text(byte_view data);
std::optional<std::string> vendor_messaging_text(byte_view data);
std::optional<std::string> mac_text(byte_view data);
std::optional<std::string> ipv4_text(byte_view data);
std::optional<std::string> ipv6_text(byte_view data);
std::optional<std::string> uart_text(byte_view data);
std::optional<std::string> usb_class_text(byte_view data);
std::optional<std::string> iscsi_text(byte_view data);
std::optional<std::string> sas_text(byte_view data);
std::optional<std::string> dns_text(byte_view data);
std::optional<std::string> rest_service_text(byte_view data);

std::optional<std::string> hard_drive_text(byte_view data);
std::optional<std::string> ram_disk_text(byte_view data);
std::optional<std::string> file_path_text(byte_view data);
std::optional<std::string> bios_boot_text(byte_view data);

}  // namespace vellum
