#include "app/compared_pcrs.h"

#include <string>

#include "app/stages.h"
#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

bool is_blank(char character) {
    return blanks.find(character) != std::string_view::npos;
}

// Drops blanks, except one that stands directly before a character of a number: "1, 4" keeps it, and so does "1 4",
// which is then no number.
std::string without_blanks(std::string_view text) {
    std::string kept;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool before_number = i + 1 < text.size() && !is_blank(text[i + 1]) && text[i + 1] != ',';
        if (!is_blank(text[i]) || before_number) {
            kept.push_back(text[i]);
        }
    }
    return kept;
}

std::optional<std::uint32_t> pcr_bit(std::string_view piece) {
    while (!piece.empty() && is_blank(piece.front())) {
        piece.remove_prefix(1);
    }
    const std::optional<std::uint64_t> pcr = parse_decimal(piece);
    if (!pcr || *pcr >= pcr_count) {
        return std::nullopt;
    }
    return 1U << *pcr;
}

bool refuse_repeated(std::uint32_t repeated) {
    if (repeated != 0) {
        report("compared-pcrs-repeated"_id,
               "Following PCRs: [%s] are defined more than once in config Manufacturing Test section.",
               pcr_mask_text(repeated, ",").c_str())
            .field("value", pcr_mask_text(repeated, ","));
    }
    return repeated != 0;
}

}  // namespace

std::optional<std::uint32_t> parse_compared_pcrs(std::string_view text) {
    const std::string kept = without_blanks(text);
    std::uint32_t mask = 0;
    std::uint32_t repeated = 0;
    std::string_view rest = kept;
    while (true) {
        const std::size_t comma = rest.find(',');
        const std::optional<std::uint32_t> bit = pcr_bit(rest.substr(0, comma));
        if (!bit) {
            return std::nullopt;
        }
        repeated |= mask & *bit;
        mask |= *bit;
        if (comma == std::string_view::npos) {
            return refuse_repeated(repeated) ? std::nullopt : std::optional(mask);
        }
        rest.remove_prefix(comma + 1);
    }
}

std::uint32_t selected_pcrs(const validation_state& state) {
    if (state.compared_pcrs) {
        return *state.compared_pcrs;
    }
    return state.stages.passed(SLOT_RETRIEVE_PMF) ? state.pmf_pcrs.mask : all_pcrs;
}

}  // namespace vellum
