#include "app/compared_pcrs.h"

#include <string>

#include "core/text.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

bool is_blank(char character) {
    return std::string_view(" \t\n\v\f\r").find(character) != std::string_view::npos;
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

}  // namespace

std::optional<std::uint32_t> parse_compared_pcrs(std::string_view text) {
    const std::string kept = without_blanks(text);
    std::uint32_t mask = 0;
    std::string_view rest = kept;
    while (true) {
        const std::size_t comma = rest.find(',');
        const std::optional<std::uint32_t> bit = pcr_bit(rest.substr(0, comma));
        if (!bit || (mask & *bit) != 0) {
            return std::nullopt;
        }
        mask |= *bit;
        if (comma == std::string_view::npos) {
            return mask;
        }
        rest.remove_prefix(comma + 1);
    }
}

}  // namespace vellum
