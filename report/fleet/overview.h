// What a fleet's database says of all devices at once, as one plain structure that every form of the overview is made
// of. Each list is bounded, and its full length stands beside it.
//
// A device is shown by its latest verified run. While it has none, it is shown by the latest refusal of its evidence,
// and by what it says itself only where there is none of either. What is said after a verified run hides nothing: the
// device is shown as before, and is listed in `refused` or in `unproved`, whatever else is said after that.
//
// The latest is the one that was taken in last, and of those of one hour the one that began last: a clock that was
// set back does not hide a run behind an older one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
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

// Devices that came to the same. Groups that did not pass come first, of each kind the largest.
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

// What a device is shown by, and what was said since.
struct said_row {
    std::string device;
    bool verified = false;
    run_outcome shown;
    std::int64_t shown_seen = 0;
    run_outcome said;
    std::int64_t said_seen = 0;
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
    std::int64_t passed_devices = 0;  // without those whose evidence was refused since
    std::int64_t runs = 0;
    std::optional<std::int64_t> last_taken;
    std::vector<verdict_count> verdicts;
    std::vector<std::pair<std::string, std::int64_t>> causes;  // with their devices, of all groups
    bounded_rows<group_row> groups;
    bounded_rows<change_row> changes;
    std::int64_t changed_devices = 0;
    bounded_rows<said_row> refused;   // whose evidence was refused since their verified run, if there is one
    bounded_rows<said_row> unproved;  // of which a report without evidence says something else since a verified one
    bounded_rows<device_time_row> doubtful_clocks;  // `time`: the start that is claimed; `seen`: when it was taken in
    bounded_rows<device_time_row> not_seen;
    bounded_rows<device_time_row> expiring;
    std::int64_t expired = 0;          // of the expiring
    bounded_rows<group_row> outliers;  // groups of few devices
    std::vector<version_row> versions;
};

// An SQL expression: the run that a device is shown by. `device`: the expression of its number.
std::string shown_run_of(const std::string& device);

overview look_over(database& fleet, const overview_settings& settings);

// A device as people name it: where its Device ID is a UUID the ID alone, else with its source.
std::string device_label(const std::string& name, const std::string& source);

}  // namespace vellum::fleet
