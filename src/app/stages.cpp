#include "app/stages.h"

#include "app/checks.h"
#include "app/skip_rules.h"
#include "core/findings.h"

namespace vellum {
namespace {

// In the order in which they run: what retrieves something stands before what uses it.
constexpr stage_row<validation_state> rows[] = {
    {.slot = SLOT_CONNECTION,
     .id = "firmware-connection",
     .name = "Initializing Orbis connection",
     .check = open_connection,
     .voice = stage_voice::quiet},
    {.slot = SLOT_FEATURE_STATE,
     .id = "feature-state",
     .name = "Retrieving KVR Feature State",
     .needs = slots(SLOT_CONNECTION),
     .check = retrieve_feature_state},
    {.slot = SLOT_SEAL_CONFIG,
     .id = "seal-config",
     .name = "Retrieving Seal Configuration from Feature Get State",
     .needs = slots(SLOT_FEATURE_STATE),
     .check = retrieve_seal_config},
    {.slot = SLOT_RETRIEVE_PCRS,
     .id = "tpm-pcrs",
     .name = "Retrieve PCRs from TPM",
     .skipped = pcrs_not_wanted,
     .check = retrieve_tpm_pcrs},
    {.slot = SLOT_RETRIEVE_TPM_LOG,
     .id = "tpm-log",
     .name = "Retrieve TPM Event Log",
     .skipped = tpm_log_not_wanted,
     .check = retrieve_tpm_log,
     .skip_note = tpm_log_note},
    {.slot = SLOT_PLATFORM_INFO,
     .id = "platform-info",
     .name = "Retrieve Platform Information from Registry and SMBIOS",
     .check = retrieve_platform_info},
    {.slot = SLOT_RETRIEVE_PMF,
     .id = "pmf",
     .name = "Retrieve Platform Measurements File (PMF)",
     .skipped = pmf_not_wanted_or_out_of_reach,
     .uses = slots(SLOT_CONNECTION),
     .check = retrieve_pmf},
    {.slot = SLOT_SEALED_DEVICE_ID,
     .id = "sealed-device-id",
     .name = "Retrieve Device ID from Seal Log",
     .needs = slots(SLOT_FEATURE_STATE),
     .check = retrieve_sealed_device_id},
    {.slot = SLOT_FEATURE_ACTIVE,
     .id = "feature-active",
     .name = "KVR Feature is active",
     .needs = slots(SLOT_FEATURE_STATE),
     .check = check_feature_active},
    {.slot = SLOT_SEAL_INTACT,
     .id = "seal-intact",
     .name = "Seal is intact",
     .needs = slots(SLOT_FEATURE_STATE, SLOT_FEATURE_ACTIVE),
     .check = check_seal_intact},
    {.slot = SLOT_SEAL_CONFIG_MATCH,
     .id = "seal-config-expected",
     .name = "Seal Config matches the expected configuration (KXL Config, PMF)",
     .needs = slots(SLOT_FEATURE_STATE, SLOT_FEATURE_ACTIVE),
     .check = match_seal_config},
    {.slot = SLOT_SEAL_SIGNATURE,
     .id = "seal-signature",
     .name = "Seal Signature trustworthiness verification",
     .needs = slots(SLOT_FEATURE_STATE, SLOT_FEATURE_ACTIVE),
     .uses = slots(SLOT_SEAL_CONFIG, SLOT_RETRIEVE_PMF),
     .check = check_seal_signature},
    {.slot = SLOT_PMF_HASH,
     .id = "pmf-hash",
     .name = "Platform Measurements hash matches Seal Log",
     .needs = slots(SLOT_FEATURE_STATE, SLOT_RETRIEVE_PMF),
     .check = check_pmf_hash},
    {.slot = SLOT_PMF_TRUST,
     .id = "pmf-trust",
     .name = "Platform Measurements File trustworthiness verification",
     .needs = slots(SLOT_RETRIEVE_PMF),
     .check = check_pmf_trust},
    {.slot = SLOT_REFERENCE_LOG,
     .id = "reference-log",
     .name = reference_log_stage_name,
     .skipped = live_log_missing,
     .uses = slots(SLOT_RETRIEVE_TPM_LOG),
     .check = match_reference_log,
     .order = flush_order::oldest_first,
     .hidden = reference_log_not_given,
     .after = print_compared_logs},
    {.slot = SLOT_LOG_MATCHES_PCRS,
     .id = "log-matches-pcrs",
     .name = "TPM Event Log matches PCR values",
     .before = announce_compared_pcrs,
     .skipped = log_beyond_comparison,
     .uses = slots(SLOT_RETRIEVE_PCRS, SLOT_RETRIEVE_TPM_LOG),
     .check = match_log_with_tpm},
    {.slot = SLOT_PCR5_EVENTS,
     .id = "pcr5-events",
     .name = "Validate TPM Log Events from PCR[5]",
     .needs = slots(SLOT_RETRIEVE_TPM_LOG),
     .skipped = log_untrusted,
     .uses = slots(SLOT_LOG_MATCHES_PCRS),
     .check = check_pcr5_events},
    {.slot = SLOT_PCRS_MATCH_PMF,
     .id = "pcrs-match-pmf",
     .name = "PCR values match PMF",
     .needs = slots(SLOT_RETRIEVE_PCRS, SLOT_RETRIEVE_PMF),
     .check = match_tpm_with_pmf},
    {.slot = SLOT_PRE_OS_SEAL,
     .id = "seal-before-os",
     .name = "Seal TPM Event measured in Pre-OS environment",
     .skipped = seal_event_or_separator_missing,
     .uses = slots(SLOT_PCR5_EVENTS),
     .check = check_seal_event_order},
    {.slot = SLOT_SEAL_LOG_HASH,
     .id = "seal-log-measured",
     .name = "Seal Log hash matches Seal Log hash in PCR[5]",
     .needs = slots(SLOT_FEATURE_STATE),
     .skipped = log_untrusted_or_seal_data_missing,
     .uses = slots(SLOT_LOG_MATCHES_PCRS, SLOT_PCR5_EVENTS),
     .check = match_seal_log_with_event},
    {.slot = SLOT_SEALED_CONFIG,
     .id = "seal-config-measured",
     .name = "Seal Configuration matches Seal Configuration in PCR[5]",
     .needs = slots(SLOT_FEATURE_STATE),
     .skipped = log_untrusted_or_seal_data_missing,
     .uses = slots(SLOT_LOG_MATCHES_PCRS, SLOT_PCR5_EVENTS),
     .check = match_seal_config_with_event},
    {.slot = SLOT_PARTITIONS,
     .id = "partitions-measured",
     .name = "PMF Disk Partitions matches EFI GPT Event from PCR[5]",
     .needs = slots(SLOT_RETRIEVE_PMF),
     .skipped = log_untrusted_or_gpt_data_missing,
     .uses = slots(SLOT_LOG_MATCHES_PCRS, SLOT_PCR5_EVENTS),
     .check = match_partitions_with_event},
    {.slot = SLOT_DISK_MEASUREMENTS,
     .id = "disk-measurements",
     .name = "PMF Disk Measurements matches the platform",
     .needs = slots(SLOT_RETRIEVE_PMF),
     .check = check_boot_disk},
    {.slot = SLOT_SYSTEM_INFO,
     .id = "system-info",
     .name = "PMF System Info Extension matches current platform",
     .needs = slots(SLOT_RETRIEVE_PMF, SLOT_PLATFORM_INFO),
     .check = match_system_info},
    {.slot = SLOT_SEAL_LOG,
     .id = "seal-log",
     .name = "Verify Seal Log",
     .skipped = seal_log_out_of_reach,
     .uses = slots(SLOT_FEATURE_STATE, SLOT_FEATURE_ACTIVE),
     .check = check_seal_log},
    {.slot = SLOT_DEVICE_ID,
     .id = "device-id",
     .name = "Device ID from Seal Log matches current Device ID",
     .needs = slots(SLOT_FEATURE_ACTIVE, SLOT_FEATURE_STATE, SLOT_SEALED_DEVICE_ID, SLOT_PLATFORM_INFO),
     .check = check_device_id},
    {.slot = SLOT_IRONWALL,
     .id = "ironwall",
     .name = "Ironwall validation",
     .skipped = ironwall_not_wanted_or_log_untrusted,
     .uses = slots(SLOT_RETRIEVE_TPM_LOG, SLOT_LOG_MATCHES_PCRS),
     .check = check_ironwall},
};
static_assert(every_slot_stands_once(rows), "each stage has one row, and each row a stage");
static_assert(every_id_is_its_own(rows), "no two stages have one identifier");
static_assert(needs_earlier_rows_only(rows), "a stage needs and uses stages that run before it");

}  // namespace

std::span<const stage_row<validation_state>> stage_rows() {
    return rows;
}

void run_all_stages(validation_state& state) {
    for (const auto& row : rows) {
        run_stage(row, state, state.stages);
    }
}

void run_stage(std::size_t slot, validation_state& state) {
    for (const auto& row : rows) {
        if (row.slot == slot) {
            run_stage(row, state, state.stages);
            return;
        }
    }
    log_at(log_level::error, "There is no stage in slot %zu.", slot);
}

int conclude(const validation_state& state) {
    log_at(log_level::brief, "%s", "");
    return summarize(&state.stages);
}

}  // namespace vellum
