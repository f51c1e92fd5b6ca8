#include "pmf/dates.h"

#include "core/log.h"
#include "core/text.h"

namespace vellum {
namespace {

constexpr int first_year = 1900;
constexpr std::int64_t last_second_of_day = 24 * 60 * 60 - 1;

int two_digits(std::uint32_t bcd, int byte) {
    const std::uint32_t value = bcd >> (8 * byte) & 0xFF;
    return static_cast<int>(10 * (value >> 4) + (value & 0xF));
}

bool all_decimal(std::uint32_t bcd) {
    for (; bcd != 0; bcd >>= 4) {
        if ((bcd & 0xF) > 9) {
            return false;
        }
    }
    return true;
}

std::optional<std::int64_t> utc_midnight(std::uint32_t bcd) {
    const pmf_date date = decode_pmf_date(bcd);
    if (!all_decimal(bcd) || date.year < first_year) {
        return std::nullopt;
    }
    return utc_seconds_of_day(date.year, static_cast<unsigned>(date.month), static_cast<unsigned>(date.day));
}

}  // namespace

pmf_date decode_pmf_date(std::uint32_t bcd) {
    return {100 * two_digits(bcd, 3) + two_digits(bcd, 2), two_digits(bcd, 1), two_digits(bcd, 0)};
}

bool valid_pmf_date(std::uint32_t bcd) {
    return utc_midnight(bcd).has_value();
}

std::optional<std::int64_t> pmf_expiry_instant(std::uint32_t bcd) {
    const std::optional<std::int64_t> midnight = utc_midnight(bcd);
    if (!midnight) {
        return std::nullopt;
    }
    return *midnight + last_second_of_day - local_time_offset();
}

}  // namespace vellum
