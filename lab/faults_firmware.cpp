// What can be wrong with the firmware, with what it says of feature and seal, and with what is expected of them.
#include "lab/faults.h"
#include "seal/seal_events.h"

namespace vellum::lab {
namespace {

constexpr std::uint32_t status_wrong_state = 1;
constexpr std::uint32_t status_internal_error = 2;
constexpr std::uint32_t status_unknown = 12;

void switch_off(device& made, unsigned option_bit) {
    made.state.configuration = static_cast<std::uint16_t>(made.state.configuration & ~(1U << option_bit));
}

void break_seal(device& made, std::uint32_t reason, std::uint8_t counter) {
    made.state.seal_state = seal_state_broken;
    // A record after the disk lock's removal is out of order, so the disk events go.
    std::erase_if(made.seal_log, [](const seal_event& record) {
        return record.id == SEAL_DISK_LOCK_PASSWORD_RETRIEVED || record.id == SEAL_DISK_LOCK_REMOVAL;
    });
    made.seal_log.push_back(seal_broken(static_cast<std::uint32_t>(made.now - 60), reason, counter, counter));
    measure_seal_log(made);
}

void expect(device& made, const char* section, const char* key, const char* value) {
    made.ini[section][key] = value;
}

void refuse_pmf(device& made) {
    file_builder refused;
    refused.header.status = status_unknown;
    const std::vector<std::uint8_t> bytes = build(refused);
    made.firmware_files["gm_file_get.bin"].assign(bytes.begin(), bytes.end());
}

constexpr fault faults[] = {
    {"no-interface", "the interface driver has no device", nullptr,
     [](device& made) { made.firmware_present = false; }},
    {"no-client", "the firmware does not know the feature", nullptr,
     [](device& made) { made.firmware_files["client_absent"] = ""; }},
    {"new-version", "the firmware speaks version 2.0", nullptr, [](device& made) { made.version.major = 2; }},
    {"newer-minor-version", "the firmware speaks version 1.1", nullptr, [](device& made) { made.version.minor = 1; }},
    {"older-minor-version", "the firmware speaks version 0.0", nullptr, [](device& made) { made.version.major = 0; }},
    {"version-refused", "the firmware does not tell its version", nullptr,
     [](device& made) { made.version.header.status = status_internal_error; }},
    {"wrong-command", "the firmware answers another command", nullptr,
     [](device& made) { made.version.header.command = 99; }},
    {"state-refused", "the firmware does not tell the feature's state", nullptr,
     [](device& made) { made.state.header.status = status_wrong_state; }},
    {"seal-log-count", "the seal log claims more bytes than there are", nullptr,
     [](device& made) { made.state.records_size = 6000; }},
    {"pmf-refused", "the firmware does not hand out the PMF", nullptr, refuse_pmf},

    {"feature-inactive", "the feature was deactivated", nullptr,
     [](device& made) { made.state.feature_state = feature_state_inactive; }},
    {"feature-configured", "the feature was configured and not activated", nullptr,
     [](device& made) { made.state.feature_state = feature_state_configured; }},
    {"feature-undefined", "the feature is in a state that is not defined", nullptr,
     [](device& made) { made.state.feature_state = 7; }},
    {"seal-disabled", "the seal was disabled", nullptr,
     [](device& made) { made.state.seal_state = seal_state_disabled; }},
    {"seal-broken", "the chassis was opened", nullptr, [](device& made) { break_seal(made, 2, 2); }},
    {"disk-found-unlocked", "the disk was found unlocked on the first boot, which broke the seal", nullptr,
     [](device& made) { break_seal(made, seal_broken_disk_unlocked, 1); }},
    {"seal-broken-silently", "the seal was broken, and its log does not tell why", nullptr,
     [](device& made) { made.state.seal_state = seal_state_broken; }},

    {"measurement-boot", "this boot only collects measurements", nullptr,
     [](device& made) { made.state.configuration |= 1U << 11; }},
    {"bios-lock-off", "the BIOS lock was switched off", nullptr, [](device& made) { switch_off(made, 1); }},
    {"two-options-off", "BIOS lock and SED lock were switched off", nullptr,
     [](device& made) {
         switch_off(made, 1);
         switch_off(made, 6);
     }},
    {"other-hotkey", "another opt-out hotkey was configured", nullptr,
     [](device& made) { made.state.hotkey.front() = 0x0C; }},
    {"shorter-hotkey", "an opt-out hotkey of fewer keys was configured", nullptr,
     [](device& made) { made.state.hotkey.pop_back(); }},
    {"other-interval", "another opt-out interval was configured", nullptr,
     [](device& made) { made.state.opt_out_interval = 60; }},
    {"option-not-expected", "the configuration file expects no BIOS lock", nullptr,
     [](device& made) { expect(made, "Expected Seal Configuration", "BIOSLockEnabled", "0"); }},
    {"algorithm-not-expected", "the configuration file expects the other signing algorithm", nullptr,
     [](device& made) {
         expect(made, "Seal Signature Validation", "ExpectedSealSigningAlgorithm", "SHA256-NULL-ENCRYPTION");
     }},
    {"source-not-expected", "the configuration file expects another source of the Device ID", nullptr,
     [](device& made) { expect(made, "Expected Device Identification", "DeviceIdSource", "SERIAL_NUMBER"); }},
    {"pmf-unsigned", "the seal was made with a key over a PMF that need not be signed",
     [](device_plan& plan) { plan.pmf_signing = false; }, nullptr},
    {"pmf-unsigned-tl3", "the PMF need not be signed, and is signed for production (a warning)",
     [](device_plan& plan) {
         plan.level = trusted_level::tl3;
         plan.pmf_signing = false;
     },
     nullptr},
};

}  // namespace

std::span<const fault> firmware_faults() {
    return faults;
}

}  // namespace vellum::lab
