// Tells somebody at a terminal how far the taking in has come, once it lasts.
#pragma once

#include <chrono>
#include <optional>

#include "report/fleet/feed.h"

namespace vellum::fleet {

class feed_progress {
  public:
    // Nothing is shown unless somebody watches.
    explicit feed_progress(bool watched) : watched_(watched) {}

    // The rate, and the time that remains where the total is known; a few times a second, and from two seconds on.
    void show(const feed_counts& counts, std::optional<std::uint64_t> total);

    // Removes what is shown, so that a message can stand there.
    void clear();

  private:
    using steady = std::chrono::steady_clock;

    bool watched_;
    bool shown_ = false;
    steady::time_point began_ = steady::now();
    steady::time_point next_ = began_ + std::chrono::seconds(2);
};

}  // namespace vellum::fleet
