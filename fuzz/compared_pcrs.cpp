// The value of --compared_pcrs. Its first bytes are also tried as a mask.
#include "app/compared_pcrs.h"

#include "core/pcr.h"
#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {
namespace {

void check_mask(std::uint32_t mask) {
    const std::optional<std::uint32_t> parsed = parse_compared_pcrs(pcr_mask_text(mask, ","));
    demand(parsed == (mask == 0 ? std::nullopt : std::optional(mask)), "a mask prints and is read as the same");
}

}  // namespace

void check(byte_view input) {
    const std::string text(input.begin(), input.end());
    if (const auto mask = parse_compared_pcrs(text)) {
        demand(*mask != 0 && (*mask & ~all_pcrs) == 0, "at least one PCR is chosen, and each exists");
        check_mask(*mask);
    }
    std::uint32_t mask = 0;
    if (byte_reader(input).u32_le(mask)) {
        check_mask(mask & all_pcrs);
    }
}

}  // namespace vellum::fuzz
