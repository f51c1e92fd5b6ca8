// A quote, its signature, the key and the values of PCRs, held against one another and against the sample's identity;
// and what a TPM answers on the way to them.
#include "tpm/attestation/quote.h"
#include "base/text.h"
#include "fuzz/fuzz_session.h"
#include "lab/quote_builder.h"
#include "lab/sample_keys.h"
#include "tpm/attestation/quote_commands.h"

namespace vellum::fuzz {
namespace {

lab::quote_plan sample_plan() {
    lab::quote_plan plan;
    plan.key = lab::sample_key(lab::sample_key_name::attestation);
    plan.nonce = {1, 2, 3, 4};
    return plan;
}

struct sample {
    evidence_files files = lab::build(sample_plan());
    evidence_expectation expected;

    sample() {
        const auto key = read_attestation_key(*files.public_area);
        demand(key.has_value(), "the sample has a key");
        expected = {sample_plan().nonce, lower_hex(key->name), public_key_pem(*key)};
        demand(judge_evidence(files, expected).findings.empty(), "the sample is accepted");
    }
};

void check_response(byte_view response) {
    any_outcome(response_code_text(response_code(response)));
    any_outcome(refuses_key_type(response_code(response)));
    const auto area = created_public_area(response);
    demand(!area || created_handle(response).has_value(), "who takes a key knows its handle");
    if (const auto read = read_quote_response(response)) {
        demand(read->quote.size() + read->signature.size() < response.size(), "a response holds what it gives");
        any_outcome(read_quote(read->quote));
        any_outcome(read_quote_signature(read->signature));
    }
}

}  // namespace

void check(byte_view input) {
    static const sample whole;
    byte_reader reader(input);
    evidence_files files;
    files.quote = take_part(reader);
    files.signature = take_part(reader);
    files.public_area = take_part(reader);
    files.pcrs = take_part(reader);
    check_response(reader.rest());
    any_outcome(judge_evidence(files, {}));
    const evidence_judgement judged = judge_evidence(files, whole.expected);
    const bool same = files.quote == whole.files.quote && files.signature == whole.files.signature &&
                      files.public_area == whole.files.public_area && files.pcrs == whole.files.pcrs;
    demand(judged.findings.empty() == same, "what was signed is accepted, and nothing else");
}

}  // namespace vellum::fuzz
