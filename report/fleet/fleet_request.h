// What the command line of `fleet` asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "report/fleet/overview.h"
#include "tools/request_reading.h"

namespace vellum::fleet {

inline constexpr const char* standard_output = "-";

enum class form { html, csv, json, metrics };

struct form_order {
    form what = form::html;
    std::string path;  // standard_output for there
};

struct fleet_request {
    std::string database;
    std::vector<std::string> places;  // of reports
    std::vector<form_order> forms;
    std::optional<std::string> device;
    bool wants_drift = false;
    std::optional<std::string> forget;
    std::optional<std::int64_t> from;  // runs of the drift
    std::optional<std::int64_t> to;
    std::optional<std::int64_t> now;
    std::int64_t not_seen_days = overview_settings().not_seen_days;
    std::int64_t expiring_days = overview_settings().expiring_days;
};

// Says what is wrong, and prints help.
request_reading read_fleet_request(std::span<char* const> words, fleet_request& out);

}  // namespace vellum::fleet
