#include "platform/recorded/pcr_read_answer.h"

namespace vellum {
namespace {

constexpr std::uint16_t tag_no_sessions = 0x8001;
constexpr std::uint16_t tag_sessions = 0x8002;
constexpr std::uint32_t command_pcr_read = 0x17E;
constexpr std::uint16_t algorithm_sha256 = 0x0B;
constexpr std::size_t select_size = 3;  // bytes
constexpr std::size_t max_digests = 8;

enum tpm_response_code : std::uint32_t {
    TPM_RC_SUCCESS = 0x000,
    TPM_RC_BAD_TAG = 0x01E,
    TPM_RC_VALUE = 0x084,
    TPM_RC_COMMAND_SIZE = 0x142,
    TPM_RC_COMMAND_CODE = 0x143,
};

using pcr_selection = std::array<std::uint8_t, select_size>;  // bit i % 8 of byte i / 8 selects PCR i

tpm_response_code parse(byte_view command, pcr_selection& selection) {
    byte_reader reader(command);
    std::uint16_t tag = 0;
    std::uint32_t size = 0;
    std::uint32_t code = 0;
    std::uint32_t selections = 0;
    std::uint16_t algorithm = 0;
    std::uint8_t bytes = 0;
    if (!reader.u16_be(tag) || !reader.u32_be(size) || !reader.u32_be(code) || size != command.size()) {
        return TPM_RC_COMMAND_SIZE;
    }
    if (tag == tag_sessions && code != command_pcr_read) {
        return TPM_RC_COMMAND_CODE;
    }
    if (tag != tag_no_sessions) {
        return TPM_RC_BAD_TAG;
    }
    if (code != command_pcr_read) {
        return TPM_RC_COMMAND_CODE;
    }
    if (!reader.u32_be(selections) || !reader.u16_be(algorithm) || !reader.u8(bytes) || !reader.copy(selection) ||
        !reader.at_end()) {
        return TPM_RC_COMMAND_SIZE;
    }
    return selections == 1 && algorithm == algorithm_sha256 && bytes == select_size ? TPM_RC_SUCCESS : TPM_RC_VALUE;
}

// Big-endian.
template <typename Unsigned>
void append(std::vector<std::uint8_t>& out, Unsigned value) {
    for (std::size_t shift = 8 * sizeof(value); shift != 0; shift -= 8) {
        out.push_back(static_cast<std::uint8_t>(value >> (shift - 8)));
    }
}

void append(std::vector<std::uint8_t>& out, byte_view bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

// Drops what exceeds the digests of one answer, and returns the PCRs that are left.
std::vector<std::size_t> limit(pcr_selection& selection) {
    std::vector<std::size_t> selected;
    for (std::size_t pcr = 0; pcr < 8 * select_size; ++pcr) {
        const auto bit = static_cast<std::uint8_t>(1U << pcr % 8);
        if ((selection[pcr / 8] & bit) == 0) {
            continue;
        }
        if (selected.size() < max_digests) {
            selected.push_back(pcr);
        } else {
            selection[pcr / 8] = static_cast<std::uint8_t>(selection[pcr / 8] & ~bit);
        }
    }
    return selected;
}

std::vector<std::uint8_t> digests(pcr_selection selection, const recorded_pcrs& pcrs) {
    const std::vector<std::size_t> selected = limit(selection);
    std::vector<std::uint8_t> body;
    append(body, std::uint32_t{0});  // the update counter
    append(body, std::uint32_t{1});
    append(body, algorithm_sha256);
    body.push_back(select_size);
    append(body, byte_view(selection));
    append(body, static_cast<std::uint32_t>(selected.size()));
    for (const std::size_t pcr : selected) {
        append(body, static_cast<std::uint16_t>(pcrs[pcr].size()));
        append(body, byte_view(pcrs[pcr]));
    }
    return body;
}

}  // namespace

std::vector<std::uint8_t> answer_pcr_read(byte_view command, const recorded_pcrs& pcrs) {
    constexpr std::uint32_t head_size = 10;  // bytes: tag, size, response code
    pcr_selection selection{};
    const tpm_response_code code = parse(command, selection);
    std::vector<std::uint8_t> body;
    if (code == TPM_RC_SUCCESS) {
        body = digests(selection, pcrs);
    }
    std::vector<std::uint8_t> out;
    append(out, tag_no_sessions);
    append(out, head_size + static_cast<std::uint32_t>(body.size()));
    append(out, static_cast<std::uint32_t>(code));
    append(out, byte_view(body));
    return out;
}

}  // namespace vellum
