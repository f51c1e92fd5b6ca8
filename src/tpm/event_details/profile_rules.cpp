#include "tpm/event_details/profile_rules.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "tpm/event_log.h"

namespace vellum {
namespace {

constexpr std::uint32_t mask_of(std::initializer_list<unsigned> pcrs) {
    std::uint32_t mask = 0;
    for (const unsigned pcr : pcrs) {
        mask |= 1U << pcr;
    }
    return mask;
}

// By type. Wider than the profile where firmware in use is: boot variables and tables are measured when the machine
// is ready to boot, which may be behind the separator; older profiles had some types in other PCRs; PCR 6 is the
// manufacturer's own.
constexpr std::uint32_t none = 0;
constexpr std::uint32_t images = mask_of({0, 2, 4, 6});
constexpr std::uint32_t drivers = mask_of({0, 2, 4});
constexpr profile_rule rules[] = {
    {0x00000001, mask_of({0, 1, 6}), none},                         // EV_POST_CODE
    {EV_NO_ACTION, firmware_pcrs, firmware_pcrs},                   // EV_NO_ACTION
    {EV_SEPARATOR, firmware_pcrs, firmware_pcrs},                   // EV_SEPARATOR
    {0x00000005, mask_of({1, 2, 3, 4, 5, 6}), mask_of({4, 5})},     // EV_ACTION
    {0x00000006, firmware_pcrs, mask_of({4, 5, 6, 7})},             // EV_EVENT_TAG
    {0x00000007, mask_of({0}), none},                               // EV_S_CRTM_CONTENTS
    {0x00000008, mask_of({0}), none},                               // EV_S_CRTM_VERSION
    {0x00000009, mask_of({0, 1}), none},                            // EV_CPU_MICROCODE
    {0x0000000A, mask_of({0, 1, 6}), mask_of({1, 6})},              // EV_PLATFORM_CONFIG_FLAGS
    {0x0000000B, mask_of({1}), mask_of({1})},                       // EV_TABLE_OF_DEVICES
    {0x0000000C, mask_of({4, 5, 6, 7}), mask_of({4, 5, 6})},        // EV_COMPACT_HASH
    {0x0000000D, mask_of({4, 5}), mask_of({4, 5})},                 // EV_IPL
    {0x0000000E, mask_of({5}), mask_of({5})},                       // EV_IPL_PARTITION_DATA
    {0x0000000F, mask_of({0, 2}), none},                            // EV_NONHOST_CODE
    {0x00000010, mask_of({1, 3}), none},                            // EV_NONHOST_CONFIG
    {0x00000011, mask_of({0, 2}), none},                            // EV_NONHOST_INFO
    {0x00000012, mask_of({4}), mask_of({4})},                       // EV_OMIT_BOOT_DEVICE_EVENTS
    {0x00000013, mask_of({0}), none},                               // EV_POST_CODE2
    {0x80000001, mask_of({1, 3, 5, 6, 7}), mask_of({1, 6})},        // EV_EFI_VARIABLE_DRIVER_CONFIG
    {0x80000002, mask_of({1, 5}), mask_of({1, 5})},                 // EV_EFI_VARIABLE_BOOT
    {0x80000003, mask_of({2, 4}), mask_of({4})},                    // EV_EFI_BOOT_SERVICES_APPLICATION
    {0x80000004, drivers, mask_of({4})},                            // EV_EFI_BOOT_SERVICES_DRIVER
    {0x80000005, drivers, mask_of({4})},                            // EV_EFI_RUNTIME_SERVICES_DRIVER
    {0x80000006, mask_of({5}), mask_of({5})},                       // EV_EFI_GPT_EVENT
    {0x80000007, mask_of({1, 2, 3, 4, 5, 6, 7}), mask_of({4, 5})},  // EV_EFI_ACTION
    {0x80000008, images, none},                                     // EV_EFI_PLATFORM_FIRMWARE_BLOB
    {0x80000009, mask_of({1}), mask_of({1})},                       // EV_EFI_HANDOFF_TABLES
    {0x8000000A, images, none},                                     // EV_EFI_PLATFORM_FIRMWARE_BLOB2
    {0x8000000B, mask_of({1}), mask_of({1})},                       // EV_EFI_HANDOFF_TABLES2
    {0x8000000C, mask_of({1}), mask_of({1})},                       // EV_EFI_VARIABLE_BOOT2
    {0x8000000D, mask_of({5}), mask_of({5})},                       // EV_EFI_GPT_EVENT2
    {0x80000010, mask_of({0}), none},                               // EV_EFI_HCRTM_EVENT
    {0x800000E0, mask_of({7}), mask_of({7})},                       // EV_EFI_VARIABLE_AUTHORITY
    {0x800000E1, mask_of({2}), mask_of({2})},                       // EV_EFI_SPDM_FIRMWARE_BLOB
    {0x800000E2, mask_of({3}), mask_of({3})},                       // EV_EFI_SPDM_FIRMWARE_CONFIG
    {0x800000E3, mask_of({7}), mask_of({7})},                       // EV_EFI_SPDM_DEVICE_POLICY
    {0x800000E4, mask_of({7}), mask_of({7})},                       // EV_EFI_SPDM_DEVICE_AUTHORITY
};

// The search for a rule rests on it.
static_assert(std::is_sorted(std::begin(rules), std::end(rules),
                             [](const profile_rule& a, const profile_rule& b) { return a.type < b.type; }));

}  // namespace

const profile_rule* profile_rule_of(std::uint32_t type) {
    const auto* const row =
        std::lower_bound(std::begin(rules), std::end(rules), type,
                         [](const profile_rule& rule, std::uint32_t value) { return rule.type < value; });
    return row != std::end(rules) && row->type == type ? row : nullptr;
}

}  // namespace vellum
