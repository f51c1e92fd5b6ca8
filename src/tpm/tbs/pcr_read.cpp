#include "tpm/tbs/pcr_read.h"

#include <algorithm>

namespace vellum {
namespace {

constexpr std::size_t select_offset = 17;  // bytes: where the bit map of the selected PCRs stands in the command

constexpr std::array<std::uint8_t, pcr_read_command_size> command_without_selection = {
    0x80, 0x01,              // tag TPM_ST_NO_SESSIONS
    0x00, 0x00, 0x00, 0x14,  // size of the command
    0x00, 0x00, 0x01, 0x7E,  // TPM_CC_PCR_Read
    0x00, 0x00, 0x00, 0x01,  // count of selections
    0x00, 0x0B,              // TPM_ALG_SHA256
    0x03,                    // bytes of the bit map
    0x00, 0x00, 0x00,        // bit map
};

constexpr std::size_t tag_size = 2;
// The PCR update counter, and one selection with a bit map of three bytes.
constexpr std::size_t counter_size = 4;
constexpr std::size_t selection_size = 10;

constexpr std::uint32_t response_success = 0;
constexpr std::size_t all_digests_size = pcr_count * sizeof(pcr_value);

// Leaves the reader behind the digest count.
hresult read_head(byte_reader& reader, std::size_t received, std::uint32_t& digest_count) {
    std::uint32_t size = 0;
    if (!reader.skip(tag_size) || !reader.u32_be(size)) {
        return hresult::invalid_argument;
    }
    if (size != received) {
        return hresult::failure;
    }
    std::uint32_t code = 0;
    if (!reader.u32_be(code)) {
        return hresult::invalid_argument;
    }
    if (code != response_success) {
        return hresult::failure;
    }
    const bool complete = reader.skip(counter_size) && reader.skip(selection_size) && reader.u32_be(digest_count);
    return complete ? hresult::success : hresult::invalid_argument;
}

hresult read_digest(byte_reader& reader, std::size_t pcr, std::size_t& copied, pcr_value_list& out) {
    std::uint16_t size = 0;
    byte_view digest;
    if (!reader.u16_be(size) || !reader.view(size, digest)) {
        return hresult::invalid_argument;
    }
    if (copied > all_digests_size || digest.size() > all_digests_size - copied) {
        return hresult::invalid_argument;
    }
    if (pcr >= out.size() || digest.size() > out[pcr].size()) {
        return hresult::failure;
    }
    std::copy(digest.begin(), digest.end(), out[pcr].begin());
    copied += digest.size();
    return hresult::success;
}

}  // namespace

std::array<std::uint8_t, pcr_read_command_size> pcr_read_command(std::size_t pass) {
    auto command = command_without_selection;
    command[select_offset + pass] = 0xFF;
    return command;
}

hresult read_pcr_response(byte_view response, std::size_t pass, std::size_t& copied, pcr_value_list& out) {
    byte_reader reader(response);
    std::uint32_t digest_count = 0;
    hresult read = read_head(reader, response.size(), digest_count);
    for (std::uint32_t i = 0; i < digest_count && read == hresult::success; ++i) {
        read = read_digest(reader, pcrs_per_read * pass + i, copied, out);
    }
    return read;
}

}  // namespace vellum
