#include "core/pcr.h"

namespace vellum {

std::string pcr_mask_text(std::uint32_t mask, std::string_view separator) {
    std::string text;
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        if ((mask >> pcr & 1U) != 0) {
            text += text.empty() ? "" : separator;
            text += std::to_string(pcr);
        }
    }
    return text;
}

}  // namespace vellum
