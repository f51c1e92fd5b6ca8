#include "pmf/dates.h"

#include "core/log.h"

namespace vellum {
namespace {

constexpr int first_year = 1900;

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

}  // namespace

pmf_date decode_pmf_date(std::uint32_t bcd) {
    return {100 * two_digits(bcd, 3) + two_digits(bcd, 2), two_digits(bcd, 1), two_digits(bcd, 0)};
}

bool valid_pmf_date(std::uint32_t bcd) {
    const pmf_date date = decode_pmf_date(bcd);
    return all_decimal(bcd) && date.year >= first_year && end_of_day_at(0, date).has_value();
}

std::optional<std::int64_t> pmf_expiry_instant(std::uint32_t bcd, clock& time) {
    return valid_pmf_date(bcd) ? time.end_of_day(decode_pmf_date(bcd)) : std::nullopt;
}

}  // namespace vellum
