// One device of a fleet: its runs, and what changed between two of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/fleet/database.h"
#include "report/fleet/report_reading.h"

namespace vellum::fleet {

inline constexpr std::size_t most_runs = 500;  // that are listed

struct device_run {
    std::int64_t number = 0;  // names the run for ever, in this database
    bool verified = false;
    std::int64_t started = 0;  // as the report claims
    std::int64_t taken = 0;
    std::int64_t exit_code = 0;
    run_outcome outcome;
    platform_facts facts;
    std::optional<std::int64_t> pmf_expires;
    std::optional<std::int64_t> certificate_expires;
    std::string host;
    std::string serial;
    std::string key_name;
    std::vector<std::pair<std::string, std::string>> digests;  // "PCR 4" or "input pmf", and the value
};

struct device_history {
    std::string label;
    std::vector<device_run> runs;  // the latest first
    std::int64_t all = 0;
};

// The device by its name, or by "SOURCE:NAME" where several have it. Nothing, with the reason, when there is none or
// more than one.
std::optional<device_history> history_of(database& fleet, const std::string& device, std::string& why);

struct run_difference {
    std::string what;
    std::string before;  // empty: there was none
    std::string after;
};

// What differs: verdict, findings, versions, PCRs, inputs, expiry.
std::vector<run_difference> differences_between(const device_run& before, const device_run& after);

}  // namespace vellum::fleet
