// Names of the values that event logs of real machines hold: GUIDs of variables' vendors, configuration tables,
// partition types and owners of signatures, and hash algorithms of banks. All are from public documents.
#pragma once

#include <array>
#include <cstdint>

#include "base/text.h"

namespace vellum {

// A name such as "EFI_GLOBAL_VARIABLE"; null for one that has none. The GUID is in the byte order of UEFI.
const char* variable_vendor_name(const std::array<std::uint8_t, guid_size>& guid);
const char* configuration_table_name(const std::array<std::uint8_t, guid_size>& guid);
const char* partition_type_name(const std::array<std::uint8_t, guid_size>& guid);
const char* signature_owner_name(const std::array<std::uint8_t, guid_size>& guid);

// "sha256" for TPM_ALG_SHA256; null for an algorithm that is no hash of event logs.
const char* bank_name(std::uint16_t algorithm);

}  // namespace vellum
