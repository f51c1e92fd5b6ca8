// Who a device is to those who verify it: its Device ID and the key that its TPM quotes with, taken once in its good
// state. The file is JSON (RFC 8259), and is trusted as a configuration file is.
#pragma once

#include <optional>
#include <string>

#include "platform/platform.h"
#include "tpm/attestation/evidence.h"

namespace vellum::reporting {

struct device_identity {
    evidence_device_id device;
    std::string key_name;  // lower-case hexadecimal
    std::string key_type;
    std::string public_key;  // PEM
};

std::string identity_json(const device_identity& identity);

// Nothing, with the reason, for a file that cannot be read or is no identity.
std::optional<device_identity> read_identity(const std::string& path, std::string& why);

// Whether the log of the machine replays to its PCRs 0 and 5 and holds the hash of its seal log. Logging as for the
// next.
[[nodiscard]] bool is_seal_measured(const platform& machine);

// The Device ID that the seal log of the machine names; empty texts when it names none. Asks the firmware alone.
// Logging must have been started, and says nothing from here on.
evidence_device_id read_sealed_device_id(const platform& machine);

}  // namespace vellum::reporting
