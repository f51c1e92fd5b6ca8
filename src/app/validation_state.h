// What one run knows: its options, what its stages retrieved, and how each stage ended. Zero at the start; an item is
// to be used only after the stage that retrieves it has passed, and is released with the state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "config/device_id.h"
#include "config/kxl_config.h"
#include "core/stage.h"
#include "disk/partitions.h"
#include "firmware/commands.h"
#include "firmware/feature_state.h"
#include "firmware/firmware_link.h"
#include "platform/platform.h"
#include "pmf/certificate_chain.h"
#include "pmf/format.h"
#include "pmf/pcr_set.h"
#include "pmf/smbios.h"
#include "pmf/system_info.h"
#include "seal/seal_data.h"
#include "seal/seal_log.h"
#include "seal/seal_signature.h"
#include "tpm/event_log.h"
#include "tpm/log_comparison.h"
#include "tpm/log_source.h"
#include "tpm/pcr5_events.h"

namespace vellum {

struct validation_state {
    explicit validation_state(const platform& services) : machine(services) { firmware.link = &link; }

    platform machine;

    // What the user asked for.
    command_options options;

    // What follows from it: the paths with their tokens replaced, and what was read from values and the
    // configuration.
    live_log_source log_source = live_log_source::this_boot;
    std::string tpm_event_log_file;              // for the file source
    std::string reference_tpm_log_file;          // empty: none given
    std::optional<std::string> pmf_file;         // none: the PMF comes from the firmware
    std::vector<std::string> platform_paths;     // those whose tokens SMBIOS filled
    std::optional<std::uint32_t> compared_pcrs;  // a PCR mask
    std::optional<device_id> external_device_id;
    KxlConfig config;

    // From the firmware.
    firmware_link link;
    peli_facts driver;
    FirmwareCommandContext firmware;
    std::optional<feature_state_response> feature_state;
    std::optional<seal_configuration> seal_config;
    std::optional<struct seal_log> seal_log;
    std::optional<struct seal_signature> seal_signature;
    std::optional<struct sealed_device_id> sealed_device_id;

    // From the TPM and the event logs.
    pcr_value_list tpm_pcrs{};
    std::optional<tpm_events_chains> live_log;
    std::optional<tpm_events_chains> reference_log;
    pcr_value_list live_log_pcrs{};  // replayed from the live log
    pcr5_events pcr5;                // views into the live log

    // From the PMF and the platform.
    std::vector<std::uint8_t> pmf_bytes;  // as they came, whether they are a PMF or not
    std::optional<PmfDocument> pmf;
    pmf_pcr_set pmf_pcrs;
    sha384_value pmf_digest{};
    certificate_chain pmf_chain;  // of its signer
    gpt_partitions disk_table;    // the boot disk's own
    platform_smbios_info smbios;
    platform_registry_info os_version;

    stage_table stages;
};

}  // namespace vellum
