// What a factory does to a machine, whichever it is: it writes down what it has found there in a signed PMF, seals
// the machine with it, and configures a validation.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "config/device_id.h"
#include "core/pcr.h"
#include "lab/device.h"

namespace vellum::lab {

// What there is in the good state.
struct machine_facts {
    std::string product_name;
    std::string sku_number;
    std::string bios_version;
    std::array<std::uint16_t, 4> orbis_version{};
    std::array<std::uint16_t, 3> os_build{};  // major, minor, build
    std::vector<PMF::PartitionEntry> partitions;
    pcr_value_list pcrs{};
    device_id id;  // of the plan's source
};

// Fills in what the firmware keeps of the seal, and the administrator's side: configuration, TL3 file, certificates.
// Fails with internal_failure when the crypto library refuses, as it does for a key that cannot sign.
result seal_machine(const device_plan& plan, const machine_facts& facts, device& out);

// What the firmware measures into PCR[5] at each boot, before its separator, of a seal log as it is now.
log_event measured_seal(const device_plan& plan, const device& sealed);

}  // namespace vellum::lab
