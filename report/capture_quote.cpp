// A quote over the PCRs by a key that is made for it and gone afterwards; the same TPM makes the same key each time.
#include "report/capture_service.h"
#include "tpm/attestation/evidence.h"
#include "tpm/attestation/tpm_numbers.h"

namespace vellum::reporting {
namespace {

// A measurement that comes between reading and quoting is rare, and no flood of them holds the capture up.
constexpr unsigned max_attempts = 5;

// Sends a command that has to succeed; false with the reason otherwise.
[[nodiscard]] bool ask(const tpm_service& tpm, byte_view command, std::vector<std::uint8_t>& response,
                       std::string& why) {
    const tbs::result_code sent = tpm.submit(command, response);
    const std::uint32_t code = sent == tbs::success ? response_code(response) : 0;
    if (sent != tbs::success) {
        why = service_answer(sent);
    } else if (code == tpm::rc_command_code) {
        why = "the TPM cannot quote: " + response_code_text(code) + ". A recorded one answers reads of its PCRs only";
    } else if (code != 0) {
        why = "the TPM refuses: " + response_code_text(code);
    }
    return sent == tbs::success && code == 0;
}

// A key in the TPM for as long as this lives.
class quoting_key {
  public:
    explicit quoting_key(const tpm_service& tpm) : tpm_(tpm) {}
    ~quoting_key() {
        std::vector<std::uint8_t> response;
        if (handle_ != none) {
            tpm_.submit(flush_command(handle_), response);
        }
    }
    quoting_key(const quoting_key&) = delete;
    quoting_key& operator=(const quoting_key&) = delete;

    // Of P-256, or of RSA where the TPM does not know that; false with the reason.
    [[nodiscard]] bool create(std::string& why);

    // The quote and its signature beside the public area of the key; false with the reason.
    [[nodiscard]] bool quote(byte_view nonce, evidence_files& out, std::string& why) const;

  private:
    const tpm_service& tpm_;
    static constexpr std::uint32_t none = 0;  // of an object in a TPM, whose handles begin with 0x80
    std::uint32_t handle_ = none;
    std::vector<std::uint8_t> public_area_;
};

bool quoting_key::create(std::string& why) {
    std::vector<std::uint8_t> response;
    if (!ask(tpm_, create_key_command(key_type::ecc_p256), response, why)) {
        const bool other = refuses_key_type(response_code(response));
        if (!other || !ask(tpm_, create_key_command(key_type::rsa_2048), response, why)) {
            return false;
        }
    }
    handle_ = created_handle(response).value_or(none);
    const std::optional<byte_view> area = created_public_area(response);
    if (handle_ == none || !area) {
        why = response_code_text(response_malformed);
        return false;
    }
    public_area_.assign(area->begin(), area->end());
    return true;
}

bool quoting_key::quote(byte_view nonce, evidence_files& out, std::string& why) const {
    std::vector<std::uint8_t> response;
    if (!ask(tpm_, quote_command(handle_, nonce), response, why)) {
        return false;
    }
    const std::optional<quote_response> read = read_quote_response(response);
    if (!read) {
        why = response_code_text(response_malformed);
        return false;
    }
    out.quote.emplace(read->quote.begin(), read->quote.end());
    out.signature.emplace(read->signature.begin(), read->signature.end());
    out.public_area = public_area_;
    return true;
}

bool is_of_other_pcrs(const evidence_judgement& judged) {
    return judged.findings.size() == 1 && judged.findings.front().id == "evidence-pcrs-differ";
}

struct measurements {
    evidence_files evidence;
    log_reading log;
};

// Reads values and log, and quotes until the quote is about these values: nothing was measured meanwhile, and the log
// belongs to what is signed.
[[nodiscard]] bool quote_what_is_read(const tpm_service& tpm, const quoting_key& key, byte_view nonce,
                                      measurements& out, std::string& why) {
    const evidence_expectation expected = {std::vector<std::uint8_t>(nonce.begin(), nonce.end()), std::nullopt, ""};
    for (unsigned attempt = 0; attempt < max_attempts; ++attempt) {
        pcr_value_list values{};
        if (!read_pcrs(tpm, values, why)) {
            return false;
        }
        out.log = read_log(tpm);
        if (!key.quote(nonce, out.evidence, why)) {
            return false;
        }
        out.evidence.pcrs = file_of_pcrs(values);
        const evidence_judgement judged = judge_evidence(out.evidence, expected);
        if (judged.findings.empty()) {
            return true;
        }
        why = judged.findings.front().lines.front();
        if (!is_of_other_pcrs(judged)) {
            return false;
        }
    }
    why = "the PCRs change while they are quoted";
    return false;
}

}  // namespace

bool capture_quote(const tpm_service& tpm, byte_view nonce, record_writer& out) {
    quoting_key key(tpm);
    measurements taken;
    std::string why;
    if (!key.create(why) || !quote_what_is_read(tpm, key, nonce, taken, why)) {
        out.problem(recorded_quote, why);
        return false;
    }
    const evidence_files& files = taken.evidence;
    out.write("tpm/pcrs.bin", *files.pcrs);
    out.write(recorded_quote, *files.quote);
    out.write(recorded_quote_signature, *files.signature);
    out.write(recorded_quote_key, *files.public_area);
    write_log(taken.log, out);
    return true;
}

}  // namespace vellum::reporting
