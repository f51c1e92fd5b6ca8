// Takes reports into the database: two threads read them, one writes. Memory does not grow with their number.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "platform/clock.h"
#include "report/fleet/database.h"

namespace vellum::fleet {

struct feed_counts {
    std::uint64_t taken = 0;    // new in the database
    std::uint64_t known = 0;    // there already
    std::uint64_t refused = 0;  // no report that could be taken

    std::uint64_t all() const { return taken + known + refused; }
};

// What somebody is told while reports are taken in.
struct feed_listener {
    std::function<void(const std::string& name, const std::string& why)> refused;
    std::function<void(const feed_counts& counts, std::optional<std::uint64_t> total)> progress;
};

// Commits at least once a second, and where the reports that have come are many. A failure stays with the database.
feed_counts feed(database& fleet, std::span<const std::string> places, clock& time, const feed_listener& listener);

}  // namespace vellum::fleet
