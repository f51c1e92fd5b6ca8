#include "tpm/attestation/evidence.h"

#include <utility>

#include "base/text.h"
#include "tpm/attestation/quote.h"

namespace vellum {
namespace {

using bytes = std::vector<std::uint8_t>;

// Before the functions: a compiler loses what is computed when it compiles among arguments that have destructors.
constexpr finding_id device_id_differs = "evidence-device-id-differs"_id;
constexpr finding_id recording_unreadable = "evidence-recording-unreadable"_id;
constexpr finding_id missing = "evidence-missing"_id;
constexpr finding_id malformed = "evidence-malformed"_id;
constexpr finding_id names_tpm = "evidence-names-tpm"_id;
constexpr finding_id pcrs_missing = "evidence-pcrs-missing"_id;
constexpr finding_id key_unsuitable = "evidence-key-unsuitable"_id;
constexpr finding_id key_differs = "evidence-key-differs"_id;
constexpr finding_id signer_differs = "evidence-signer-differs"_id;
constexpr finding_id pcrs_not_covered = "evidence-pcrs-not-covered"_id;
constexpr finding_id pcrs_differ = "evidence-pcrs-differ"_id;
constexpr finding_id nonce_differs = "evidence-nonce-differs"_id;
constexpr finding_id not_quoted = "evidence-not-quoted"_id;
constexpr finding_id signature_invalid = "evidence-signature-invalid"_id;

// Beside a difference: what was expected, and what there is.
std::vector<finding_field> difference(const std::string& expected, const std::string& actual) {
    return {{"expected", expected}, {"actual", actual}};
}

class judge {
  public:
    judge(const evidence_files& files, const evidence_expectation& expected, evidence_judgement& out)
        : files_(files), expected_(expected), out_(out) {}

    void run();

  private:
    void raise(finding_id id, std::string line, std::vector<finding_field> fields = {}) {
        out_.findings.push_back({id.name(), {std::move(line)}, std::move(fields)});
    }

    template <typename Read>
    auto read(const std::optional<bytes>& file, const char* name, Read how) -> decltype(how(byte_view()));

    void read_pcrs();
    void judge_key(const attestation_key& key);
    void judge_statement(const quote& statement);
    void judge_signer(const quote& statement);
    void judge_pcrs(const quote& statement);

    const evidence_files& files_;
    const evidence_expectation& expected_;
    evidence_judgement& out_;
    bool has_pcrs_ = false;
};

template <typename Read>
auto judge::read(const std::optional<bytes>& file, const char* name, Read how) -> decltype(how(byte_view())) {
    if (!file) {
        raise(missing, std::string("There is no ") + name + ".", {{"file", name}});
        return std::nullopt;
    }
    auto out = how(*file);
    if (!out) {
        raise(malformed, std::string(name) + " does not hold what it should.", {{"file", name}});
    }
    return out;
}

void judge::read_pcrs() {
    if (files_.names_tpm) {
        raise(names_tpm, "tpm/tcti names a TPM in place of the values of PCRs.", {{"file", "tpm/tcti"}});
    }
    has_pcrs_ = files_.pcrs && files_.pcrs->size() == sizeof(out_.pcrs);
    if (!has_pcrs_) {
        raise(pcrs_missing, "tpm/pcrs.bin does not hold the values of 24 PCRs.", {{"file", "tpm/pcrs.bin"}});
        return;
    }
    byte_reader reader(*files_.pcrs);
    for (pcr_value& value : out_.pcrs) {
        has_pcrs_ = reader.copy(value) && has_pcrs_;
    }
}

void judge::judge_key(const attestation_key& key) {
    if (!key.of_template || !key.key) {
        raise(key_unsuitable, "The key is not one that signs nothing but what its TPM says.",
              {{"attributes", std::to_string(key.attributes)}});
    }
    if (!expected_.name) {
        return;
    }
    const std::string name = lower_hex(key.name);
    if (name != *expected_.name || (key.key && public_key_pem(key) != expected_.public_key)) {
        raise(key_differs, "The key is not that of the identity.", difference(*expected_.name, name));
    }
}

void judge::judge_signer(const quote& statement) {
    const std::optional<key_name> signer = out_.key ? qualified_name(out_.key->name) : std::nullopt;
    if (signer && !equal_bytes(*signer, statement.signer)) {
        raise(signer_differs, "The quote names another signer than the key.",
              difference(lower_hex(*signer), lower_hex(statement.signer)));
    }
}

void judge::judge_pcrs(const quote& statement) {
    if (!statement.all_pcrs) {
        raise(pcrs_not_covered, "The quote is not about PCRs 0 to 23 of the SHA-256 bank.");
        return;
    }
    const std::optional<sha256_value> digest = has_pcrs_ ? digest_of_pcrs(out_.pcrs) : std::nullopt;
    if (has_pcrs_ && (!digest || !equal_bytes(*digest, statement.pcr_digest))) {
        raise(pcrs_differ, "The values of the PCRs are not those of the quote.",
              difference(lower_hex(statement.pcr_digest), digest ? lower_hex(*digest) : ""));
    }
}

void judge::judge_statement(const quote& statement) {
    out_.facts = {statement.clock, statement.reset_count, statement.restart_count, statement.safe,
                  statement.firmware_version};
    if (expected_.nonce && !equal_bytes(*expected_.nonce, statement.nonce)) {
        raise(nonce_differs, "The quote answers another nonce.",
              difference(lower_hex(*expected_.nonce), lower_hex(statement.nonce)));
    }
    judge_signer(statement);
    if (!statement.by_tpm || !statement.is_quote) {
        raise(not_quoted, "What is signed is not what a TPM says of its PCRs.");
    }
    if (statement.is_quote) {
        judge_pcrs(statement);
    }
}

void judge::run() {
    read_pcrs();
    out_.key = read(files_.public_area, "tpm/ak.pub", read_attestation_key);
    if (out_.key) {
        judge_key(*out_.key);
    }
    const std::optional<quote> statement = read(files_.quote, "tpm/quote.bin", read_quote);
    if (statement) {
        judge_statement(*statement);
    }
    const std::optional<quote_signature> signature = read(files_.signature, "tpm/quote.sig", read_quote_signature);
    if (signature && out_.key && files_.quote && !signature_holds(*out_.key, *signature, *files_.quote)) {
        raise(signature_invalid, "The key did not sign this quote.");
    }
}

}  // namespace

evidence_judgement judge_evidence(const evidence_files& files, const evidence_expectation& expected) {
    evidence_judgement out;
    judge(files, expected, out).run();
    return out;
}

finding unreadable_recording(const std::string& why) {
    return {recording_unreadable.name(), {"The recording cannot be read: " + why + "."}, {{"problem", why}}};
}

std::optional<finding> judge_device_id(const evidence_device_id& expected, const evidence_device_id& actual) {
    if (actual.source == expected.source && actual.id == expected.id) {
        return std::nullopt;
    }
    return finding{device_id_differs.name(),
                   {actual.id.empty() ? "The seal log names no Device ID." : "The seal log names another Device ID."},
                   {{"expected", expected.id},
                    {"actual", actual.id},
                    {"expected_source", expected.source},
                    {"actual_source", actual.source}}};
}

}  // namespace vellum
