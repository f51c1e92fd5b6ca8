#include "firmware/status.h"

#include <algorithm>
#include <optional>
#include <span>

#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

struct named_value {
    std::uint32_t value;
    const char* name;
};

constexpr named_value statuses[] = {
    {SKY_PORT_STATUS_SUCCESS, "SKY_PORT_STATUS_SUCCESS"},
    {1, "SKY_PORT_STATUS_WRONG_STATE"},
    {SKY_PORT_STATUS_INTERNAL_ERROR, "SKY_PORT_STATUS_INTERNAL_ERROR"},
    {3, "SKY_PORT_STATUS_BIOS_LOCK_OPTION_NOT_SUPPORTED"},
    {4, "SKY_PORT_STATUS_BOOT_OPTION_NOT_SUPPORTED"},
    {5, "SKY_PORT_STATUS_BIOS_CHASSIS_INT_NOT_SUPPORTED"},
    {6, "SKY_PORT_STATUS_UNSIGNED_SEAL_NOT_SUPPORTED"},
    {7, "SKY_PORT_STATUS_INVALID_PARAM"},
    {8, "SKY_PORT_STATUS_UNSIGNED_GMF_NOT_SUPPORTED"},
    {9, "SKY_PORT_STATUS_IRONWALL_DISABLED"},
    {65535, "SKY_PORT_STATUS_FAILURE"},
};

constexpr named_value feature_states[] = {
    {feature_state_inactive, "Inactive"},
    {feature_state_configured, "Configured"},
    {feature_state_active, "Active"},
};

constexpr named_value seal_states[] = {
    {seal_state_disabled, "Disabled"},
    {seal_state_intact, "Intact"},
    {seal_state_broken, "Broken"},
};

struct described_state {
    std::uint32_t feature_state;
    std::optional<std::uint32_t> seal_state;  // none: any
    const char* description;
};

// The first row that fits counts.
constexpr described_state described_states[] = {
    {feature_state_inactive, std::nullopt, "INACTIVE"},
    {feature_state_configured, std::nullopt, "CONFIGURED and the Seal is *not* active"},
    {feature_state_active, seal_state_disabled, "ACTIVE and the Seal is DISABLED"},
    {feature_state_active, seal_state_intact, "ACTIVE and the Seal is INTACT"},
    {feature_state_active, seal_state_broken, "ACTIVE and the Seal is BROKEN"},
    {feature_state_active, std::nullopt, "ACTIVE"},
};

const char* find_name(std::span<const named_value> table, std::uint32_t value, const char* none) {
    const auto row = std::ranges::find(table, value, &named_value::value);
    return row == table.end() ? none : row->name;
}

void report_no_status(const FirmwareCommandContext& context) {
    if (context.unexpected_command == 0) {
        report("firmware-operation-failed"_id, "%s has failed.", context.operation.c_str())
            .field("name", context.operation)
            .field("command", context.call);
        return;
    }
    report("firmware-answer-of-other-command"_id,
           "%s has failed. Failure reason: Orbis command returned a response with invalid command ID(%d).",
           context.operation.c_str(), static_cast<int>(context.unexpected_command))
        .field("name", context.operation)
        .field("command", context.call)
        .field("value", context.unexpected_command);
}

}  // namespace

const char* firmware_status_name(std::uint32_t status) {
    return find_name(statuses, status, "UNKNOWN_STATUS");
}

const char* feature_state_name(std::uint32_t state) {
    return find_name(feature_states, state, "Unknown");
}

const char* seal_state_name(std::uint32_t state) {
    return find_name(seal_states, state, "Unknown");
}

const char* combined_state_description(std::uint32_t feature_state, std::uint32_t seal_state) {
    const auto row = std::ranges::find_if(described_states, [&](const described_state& candidate) {
        return candidate.feature_state == feature_state && candidate.seal_state.value_or(seal_state) == seal_state;
    });
    return row == std::end(described_states) ? "UNKNOWN" : row->description;
}

void report_firmware_failure(const FirmwareCommandContext& context) {
    if (context.status == SKY_PORT_STATUS_SUCCESS) {
        report_no_status(context);
        return;
    }
    const char* const operation = context.operation.c_str();
    const char* const status = firmware_status_name(context.status);
    finding_lines raised;
    if (context.status == SKY_PORT_STATUS_INTERNAL_ERROR) {
        raised = report("firmware-internal-error"_id,
                        "%s has failed. Failure reason: The firmware API for %s has returned an error %s(0x%02x).",
                        operation, context.call, status, context.status)
                     .field("name", context.operation)
                     .field("command", context.call)
                     .field("status", context.status)
                     .field("value", status);
    } else {
        raised =
            report(
                "firmware-refused"_id,
                "%s has failed. Failure reason: The firmware API for %s has returned an error %s(0x%02x). The KVR Feature is now: %s.",
                operation, context.call, status, context.status,
                combined_state_description(context.feature_state, context.seal_state))
                .field("name", context.operation)
                .field("command", context.call)
                .field("status", context.status)
                .field("value", status)
                .field("feature_state", context.feature_state)
                .field("seal_state", context.seal_state);
    }
    if (!context.common_error_reasons.empty()) {
        raised.line("Most common error reason(s):\n%s", context.common_error_reasons.c_str());
    }
}

}  // namespace vellum
