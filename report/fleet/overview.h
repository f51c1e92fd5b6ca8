// What a fleet's database says of all devices at once, as one plain structure that every form of the overview is made
// of. Each list is bounded, and its full length stands beside it.
//
// A device is shown by its latest verified run; by its latest run of all only while it has no verified one. What an
// unverified run says after a verified one hides nothing: the device is shown as before, and is listed in `unproved`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/fleet/database.h"
#include "report/fleet/report_reading.h"

namespace vellum::fleet {

struct overview_settings {
    std::int64_t now = 0;  // seconds since 1970-01-01 UTC
    std::int64_t not_seen_days = 7;
    std::int64_t expiring_days = 30;
};

inline constexpr std::size_t most_rows = 100;   // of each list
inline constexpr std::size_t most_values = 10;  // of one version
inline constexpr std::int64_t few_devices = 3;  // that make an outlier, in a fleet that has many
inline constexpr std::int64_t many_devices = 20;

template <typename Row>
struct bounded_rows {
    std::vector<Row> rows;
    std::int64_t all = 0;
};

struct verdict_count {
    std::string verdict;
    std::int64_t verified = 0;
    std::int64_t unverified = 0;
};

// Devices that came to the same, the largest group first.
struct group_row {
    run_outcome outcome;
    std::int64_t devices = 0;
    std::int64_t verified = 0;
    std::int64_t first_taken = 0;  // of the first report that came to it, of any device
    std::int64_t first_seen = 0;   // of the runs that are shown
    std::int64_t last_seen = 0;
    std::vector<std::string> examples;  // devices
};

// Devices whose run before the one that is shown came to something else.
struct change_row {
    run_outcome before;
    run_outcome now;
    std::int64_t devices = 0;
    std::vector<std::string> examples;
};

struct unproved_row {
    std::string device;
    run_outcome verified;
    std::int64_t verified_seen = 0;
    run_outcome unverified;
    std::int64_t unverified_seen = 0;
};

struct device_time_row {
    std::string device;
    std::string verdict;
    bool verified = false;
    std::int64_t seen = 0;
    std::int64_t time = 0;  // of what the list is about
};

struct value_row {
    std::string value;
    std::int64_t devices = 0;
    std::vector<std::string> examples;  // of an outlier
};

struct version_row {
    std::string what;  // "bios_version"
    bounded_rows<value_row> values;
};

struct overview {
    overview_settings settings;
    std::int64_t devices = 0;
    std::int64_t verified_devices = 0;
    std::int64_t runs = 0;
    std::optional<std::int64_t> last_taken;
    std::vector<verdict_count> verdicts;
    bounded_rows<group_row> groups;
    bounded_rows<change_row> changes;
    std::int64_t changed_devices = 0;
    bounded_rows<unproved_row> unproved;  // whose unverified run came later and came to something else
    bounded_rows<device_time_row> not_seen;
    bounded_rows<device_time_row> expiring;
    std::int64_t expired = 0;          // of the expiring
    bounded_rows<group_row> outliers;  // groups of few devices
    std::vector<version_row> versions;
};

overview look_over(database& fleet, const overview_settings& settings);

// A device as it is named where no other has its Device ID by another source: the ID alone.
std::string device_label(const std::string& name, const std::string& source);

}  // namespace vellum::fleet
