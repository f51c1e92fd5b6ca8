#include "report/fleet/feed_progress.h"

#include <cstdio>
#include <string>

namespace vellum::fleet {

void feed_progress::show(const feed_counts& counts, std::optional<std::uint64_t> total) {
    constexpr auto pause = std::chrono::milliseconds(200);
    const steady::time_point now = steady::now();
    if (!watched_ || now < next_) {
        return;
    }
    next_ = now + pause;
    const double seconds = std::chrono::duration<double>(now - began_).count();
    const double rate = static_cast<double>(counts.all()) / seconds;
    std::string line = std::to_string(counts.all()) + (total ? " of " + std::to_string(*total) : "") + " reports, " +
                       std::to_string(static_cast<std::uint64_t>(rate)) + " a second";
    if (total && rate >= 1 && *total >= counts.all()) {
        const auto left = static_cast<std::uint64_t>(static_cast<double>(*total - counts.all()) / rate);
        line += ", " + std::to_string(left / 60) + " min " + std::to_string(left % 60) + " s left";
    }
    std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
    shown_ = true;
}

void feed_progress::clear() {
    if (shown_) {
        std::fputs("\r\x1b[K", stderr);
        shown_ = false;
    }
}

}  // namespace vellum::fleet
