// The TPM's response to TPM2_PCR_Read, and the recorded TPM that answers it.
#include <algorithm>

#include "fuzz/fuzz_session.h"
#include "platform/recorded/pcr_read_answer.h"
#include "tpm/tbs/pcr_read.h"

namespace vellum::fuzz {
namespace {

void check_response(byte_view response, std::size_t pass) {
    pcr_value_list values{};
    for (pcr_value& value : values) {
        value.fill(0xAA);
    }
    const pcr_value_list before = values;
    std::size_t copied = 0;
    any_outcome(read_pcr_response(response, pass, copied, values));
    demand(copied <= response.size() && copied <= sizeof(values), "no digest is made up");
    demand(std::equal(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(pcrs_per_read * pass),
                      before.begin()),
           "a pass leaves the PCRs before it alone");
}

// Whatever the command, the recorded TPM answers with a whole message; one that is right is read back.
void check_answer(byte_view command, std::size_t pass) {
    recorded_pcrs pcrs{};
    for (std::size_t i = 0; i < pcrs.size(); ++i) {
        pcrs[i].fill(static_cast<std::uint8_t>(i + 1));
    }
    const std::vector<std::uint8_t> reply = answer_pcr_read(command, pcrs);
    byte_reader head(reply);
    std::uint16_t tag = 0;
    std::uint32_t size = 0;
    demand(head.u16_be(tag) && head.u32_be(size) && size == reply.size(), "the recorded TPM answers whole messages");
    const std::vector<std::uint8_t> answer = answer_pcr_read(pcr_read_command(pass), pcrs);
    pcr_value_list values{};
    std::size_t copied = 0;
    demand(read_pcr_response(answer, pass, copied, values) == hresult::success, "the recorded TPM answers right");
    for (std::size_t pcr = pcrs_per_read * pass; pcr < pcrs_per_read * (pass + 1); ++pcr) {
        demand(values[pcr] == pcrs[pcr], "the recorded values are read");
    }
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    std::uint8_t pass = 0;
    if (reader.u8(pass)) {
        check_response(reader.rest(), pass % pcr_read_passes);
        check_answer(reader.rest(), pass % pcr_read_passes);
    }
}

}  // namespace vellum::fuzz
