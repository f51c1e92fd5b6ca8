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
    evidence_state evidence = evidence_state::none;
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
    std::int64_t number = 0;
    std::string label;
    device_run shown;                  // by which the overview shows it
    std::optional<device_run> before;  // the one before that with the same standing; else the one before of all
    std::vector<device_run> runs;      // the latest first, and with them the latest that are verified or refused
    std::int64_t all = 0;
};

// The device by its name, or by "SOURCE:NAME" where several have it. Nothing, with the reason, when there is none or
// more than one.
std::optional<device_history> history_of(database& fleet, const std::string& device, std::string& why);

// Any run of the device by its number, listed or not.
std::optional<device_run> run_numbered(database& fleet, const device_history& device, std::int64_t number);

// Its row in the database, as history_of() finds it.
std::optional<std::int64_t> device_number(database& fleet, const std::string& device, std::string& why);

struct run_difference {
    std::string what;
    std::string before;  // empty: there was none
    std::string after;
};

// What differs: verdict, findings, versions, PCRs, inputs, expiry.
std::vector<run_difference> differences_between(const device_run& before, const device_run& after);

}  // namespace vellum::fleet
