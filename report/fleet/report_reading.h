// Reads a report in JSON, as `run` and `verify` write it, into what a fleet's database keeps of it.
//
// A report is hostile: its size, its depth and its texts are bounded, what is kept has the type and the form that
// docs/report.schema.json promises, and what is not kept is passed over. Reads by events, so that memory does not
// grow with a report.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/digest.h"
#include "core/pcr.h"

namespace vellum::fleet {

inline constexpr std::size_t largest_report = std::size_t{8} * 1024 * 1024;  // bytes
inline constexpr std::size_t longest_text = 1024;                            // bytes of a text that is kept
inline constexpr std::size_t most_findings = 256;
inline constexpr std::size_t most_inputs = 16;

// What many devices have in common.
struct platform_facts {
    std::string product;
    std::string sku;
    std::string bios_version;
    std::string os_version;
    std::string orbis_version;
    std::string firmware_version;
    std::string driver_version;
    std::string feature_state;
    std::string seal_state;
    std::string tool_version;
    std::string mode;
};

// What a run came to. Equal outcomes are one group of the overview.
struct run_outcome {
    std::string verdict;
    std::string cause;     // id; empty when there is none
    std::string findings;  // ids in their order, each once, between blanks; "pcr-differs/4" where one names a PCR
};

// What the report says of its evidence: that it had none, or what the verifier came to. As numbers in the database.
enum class evidence_state : std::uint8_t { none = 0, accepted = 1, refused = 2 };

// "verified", "unverified" or "by the verifier", which is who refused.
const char* evidence_text(evidence_state evidence);

// Texts are clean (shown_text); an empty one was absent.
struct fleet_report {
    std::string device;  // Device ID; without one the recording or the host
    std::string source;  // of the Device ID; "recording" or "host" without one
    std::string host;
    std::string serial;
    std::int64_t started = 0;  // seconds since 1970-01-01 UTC, as the report claims
    std::int64_t microseconds = 0;
    std::int64_t exit_code = 0;
    evidence_state evidence = evidence_state::none;
    std::string key_name;  // of the key that signed what was accepted
    run_outcome outcome;
    platform_facts facts;
    std::optional<std::int64_t> pmf_expires;
    std::optional<std::int64_t> certificate_expires;  // the earliest
    std::map<std::string, sha256_value> inputs;       // by what they are
    std::array<std::optional<sha256_value>, pcr_count> pcrs{};
    std::array<std::uint8_t, 16> identity{};  // a digest of all that is kept: equal reports are one
};

// Reads the text, which it takes apart. False, with the reason, when it is not such a report.
[[nodiscard]] bool read_report(std::string& text, fleet_report& out, std::string& why);

}  // namespace vellum::fleet
