// The values of a report that are kept, as they stand in its JSON: the events of the reader are walked by a table of
// places and keys.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "report/fleet/report_reading.h"

namespace vellum::fleet {

struct read_values {
    std::string schema;
    std::int64_t schema_version = 0;
    std::string verdict;
    std::int64_t exit_code = -1;
    std::string cause;
    std::string host;
    std::string recorded_device;
    std::string started;
    std::int64_t microseconds = -1;
    std::string device_id;
    std::string id_source;
    std::string serial;
    platform_facts facts;
    bool has_evidence = false;
    std::optional<bool> accepted;
    std::string key_name;
    std::string expected_id;  // of the device that the evidence had to be of
    std::string expected_source;
    std::string pmf_expires;
    bool has_failed_stage = false;
    std::vector<std::string> findings;  // that speak against the device, with those that are repeated
    std::vector<std::string> certificate_ends;
    std::vector<std::pair<std::string, std::string>> inputs;
    std::vector<std::pair<std::int64_t, std::string>> pcrs;
};

// The members that make up what many devices have in common, by their names in the database.
struct fact_member {
    std::string platform_facts::*member;
    const char* name;
};
inline constexpr fact_member fact_members[] = {
    {&platform_facts::product, "product"},
    {&platform_facts::sku, "sku"},
    {&platform_facts::bios_version, "bios_version"},
    {&platform_facts::os_version, "os_version"},
    {&platform_facts::orbis_version, "orbis_version"},
    {&platform_facts::firmware_version, "firmware_version"},
    {&platform_facts::driver_version, "driver_version"},
    {&platform_facts::feature_state, "feature_state"},
    {&platform_facts::seal_state, "seal_state"},
    {&platform_facts::tool_version, "tool_version"},
    {&platform_facts::mode, "mode"},
};

// Reads the text in its place. False, with the reason, when it is no JSON, too large, too deep or too long, or when a
// value that is kept has another type.
[[nodiscard]] bool read_events(std::string& text, read_values& out, std::string& why);

}  // namespace vellum::fleet
