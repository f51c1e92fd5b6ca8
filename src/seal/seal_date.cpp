#include "seal/seal_date.h"

#include <string>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/times.h"

namespace vellum {
namespace {

// Seconds.
constexpr std::int64_t clock_tolerance = 60;
constexpr std::int64_t end_of_32_bit_time = 0x80000000;

}  // namespace

bool lies_in_future(std::uint32_t timestamp, std::int64_t now) {
    return std::int64_t{timestamp} - clock_tolerance > now;
}

result check_seal_date(std::uint32_t timestamp, std::int64_t now) {
    const std::string seal_time = utc_time_string(timestamp).value_or("");
    log_at(log_level::debug, "Retrieved seal date UTC epoch is equal: %s", seal_time.c_str());
    if (lies_in_future(timestamp, now)) {
        report(
            "seal-date-in-future"_id,
            "The seal event timestamp reported in the seal signature is in the future. The Sealing has occurred at %s, while now is %s. Please check time settings on this machine and in the manufacturing environment.",
            seal_time.c_str(), utc_time_string(now).value_or("").c_str())
            .field("time", timestamp)
            .field("now", now);
        log_at(log_level::debug, "Seal date UTC epoch: 0x%lx. Current UTC epoch: 0x%llx.",
               static_cast<unsigned long>(timestamp), static_cast<unsigned long long>(now));
        return result::check_failed;
    }
    if (now >= end_of_32_bit_time) {
        report(
            "seal-date-counter-exceeded"_id,
            "Current date %s exceeds 32-bit time counter precision on which the seal date is saved. Comparison may no longer accurate.",
            utc_time_string(now).value_or("").c_str())
            .field("now", now)
            .field("limit", end_of_32_bit_time - 1);
        return result::check_failed;
    }
    return result::success;
}

}  // namespace vellum
