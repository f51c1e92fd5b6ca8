// A complete sealed device as it left the factory: every part agrees with every other, so that its validation passes.
//
// make_device() does what factory and firmware do, in their order: the boot before the seal gives the PCR values for
// the PMF, the PMF's hash goes into the seal data, the seal data are signed, and the seal log is measured into
// PCR[5]. What is changed in the result afterwards is what happened to the device since then.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "config/kxl_config.h"
#include "lab/event_log_builder.h"
#include "lab/firmware_builder.h"
#include "lab/gpt_builder.h"
#include "lab/pcr5_builder.h"
#include "lab/pmf_builder.h"
#include "lab/seal_builder.h"
#include "lab/signing_keys.h"
#include "lab/smbios_builder.h"
#include "pmf/pcr_set.h"

namespace vellum::lab {

enum class trusted_level { tl1, tl3 };

// What the factory decides.
struct device_plan {
    trusted_level level = trusted_level::tl1;
    DeviceIdSource id_source = DeviceIdSource::UUID;
    bool ironwall = true;
    bool seal_signing = true;
    bool pmf_signing = true;
    bool sed_lock = true;
    std::uint32_t listed_pcrs = supported_pcrs;  // mask
    std::uint32_t seal_time = 1'768'471'200;     // 2026-01-15 10:00:00 UTC
    std::uint32_t expire_date = 0x20281231;      // the PMF's last day, BCD
    signing_keys keys;
    std::vector<void (*)(pmf&)> pmf_changes;         // made before the PMF is signed
    std::vector<void (*)(seal_data&)> seal_changes;  // made before the seal is signed
};

struct device {
    std::int64_t now = 0;  // seconds since 1970-01-01 UTC
    std::int32_t timezone = 0;

    // What the firmware answers, when its interface is present; the state's records and signature are filled in from
    // the two below.
    bool firmware_present = true;
    version_builder version;
    feature_state_builder state;
    std::vector<seal_event> seal_log;
    seal_signature signature;
    std::vector<std::uint8_t> platform_measurements;
    std::map<std::string, std::string> firmware_files;  // further files of the recorded firmware

    // The last boot, and the TPM after it; the PCR values are those of the log unless they are given.
    event_log boot;
    std::optional<pcr_value_list> pcrs;
    std::optional<std::vector<std::uint8_t>> nonce;  // that a quote over the values answers

    smbios_platform smbios;
    std::string os_version = "10.0.19045";
    gpt_table disk;
    std::string volumes = "C 206848 1026047 C\n";
    std::map<std::string, std::string> volume_files;  // by path below the disk's directory

    // The administrator's side: INI keys by section, and the files they name.
    std::map<std::string, std::map<std::string, std::string>> ini;
    std::string tl3_file;
    std::map<std::string, std::string> certificates;  // PEM texts by path
    std::string external_device_id;                   // for the command line; empty: not needed

    // Of a machine that was recorded: its platform's files as they are, by path, in place of all that the members
    // from the last boot to the volumes' files would make.
    std::map<std::string, std::vector<std::uint8_t>> recorded;
};

// Fails with internal_failure when the crypto library refuses.
result make_device(const device_plan& plan, device& out);

// Writes the device as a recording, with kxl.ini and the files it names, by paths that begin in the recording. Fails
// with io_failure when a file cannot be written.
result write_device(const device& made, const std::string& directory);

}  // namespace vellum::lab
