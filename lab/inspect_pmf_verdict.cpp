#include "lab/inspect_pmf_verdict.h"

#include <openssl/rsa.h>

#include <array>

#include "core/pcr.h"
#include "pmf/pcr_set.h"
#include "pmf/rules.h"
#include "pmf/signature.h"

namespace vellum::lab {
namespace {

struct flaw_name {
    const char* code;
    const char* says;
};

// The signature is explained by what it holds instead.
constexpr flaw_name name_of(trust_question question) {
    switch (question) {
        case trust_question::expiry: return {"expired", "It has expired."};
        case trust_question::embedded_certificate:
            return {"unreadable-certificate", "Its certificate is missing or cannot be read."};
        case trust_question::signature: return {"invalid-signature", ""};
        case trust_question::header_key:
            return {"foreign-certificate", "Its certificate is not for the key that signed it."};
        case trust_question::external_certificate:
            return {"external-certificate", "The external certificate cannot be used with it."};
        case trust_question::signing_mode: return {"pseudo-signed", "It is only pseudo-signed."};
        case trust_question::manufacturer:
            return {"no-certificate", "It comes without a certificate: nobody vouches for the key that signed it."};
        case trust_question::certificate_dates:
            return {"certificate-dates", "Its certificate is not valid at this time."};
        case trust_question::chain: return {"untrusted", "Its certificate is not trusted."};
        case trust_question::certificate_outlives:
            return {"certificate-expires-first", "Its certificate expires before it does."};
        case trust_question::signer: break;
    }
    return {"signer", "Its signature is of another kind than the configuration expects."};
}

// Whether the signature, opened with the key of the header, is one over some SHA-256 digest.
bool is_by_header_key(const PmfDocument& document) {
    rsa_key key;
    auto signature = document.header.signature;
    std::reverse(signature.begin(), signature.end());
    const key_handle wrapped(EVP_PKEY_new());
    if (!ok(manifest_public_key(document, key)) || !wrapped || EVP_PKEY_set1_RSA(wrapped.get(), key.get()) != 1) {
        return false;
    }
    const key_context context(EVP_PKEY_CTX_new(wrapped.get(), nullptr));
    std::array<std::uint8_t, sizeof(document.header.signature)> opened{};
    std::size_t size = opened.size();
    return context && EVP_PKEY_verify_recover_init(context.get()) == 1 &&
           EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
           EVP_PKEY_CTX_set_signature_md(context.get(), EVP_sha256()) == 1 &&
           EVP_PKEY_verify_recover(context.get(), opened.data(), &size, signature.data(), signature.size()) == 1;
}

flaw_name explain_signature(const PmfDocument& document) {
    rsa_key key;
    if (all_zero(document.header.signature)) {
        return {"unsigned", "It is not signed: its signature is all zeros."};
    }
    if (!ok(manifest_public_key(document, key))) {
        return {"invalid-signature", "The key in its header is none that can verify its signature."};
    }
    return is_by_header_key(document)
               ? flaw_name{"invalid-signature",
                           "It was changed after it was signed: its signature is over another content."}
               : flaw_name{"invalid-signature", "Its signature is not by the key in its header."};
}

const char* chain_status(const trust_case& it, const pmf_yardstick& yardstick, bool failed) {
    if (!it.settings.signing_enabled) {
        return "not demanded";
    }
    if (it.manufacturer().certificate == nullptr) {
        return "no certificate";
    }
    return !yardstick.names_authorities ? "unjudged" : failed ? "untrusted" : "trusted";
}

void judge_chain(trust_case& it, const trust_step& step, const pmf_yardstick& yardstick, finding_console& findings,
                 report& out) {
    const bool failed = yardstick.names_authorities && !ok(step.ask(it));
    const report details = findings.take();
    out["chain"] = chain_status(it, yardstick, failed);
    if (failed) {
        add_reason(out, "untrusted", name_of(step.question).says, validation_effect::fails, details);
    } else if (out["chain"] == "unjudged") {
        add_reason(out, "chain-unjudged",
                   "The chain of its certificate is unjudged: no trusted authority is named (-c or --trusted).",
                   validation_effect::fails, report::array());
    }
}

// Asked whether or not validation would, as it comes to pass all the same.
void judge_outliving(const trust_case& it, finding_console& findings, report& out) {
    const named_certificate manufacturer = it.manufacturer();
    if (manufacturer.certificate != nullptr && !certificate_outlives_pmf(it.document, manufacturer, it.time)) {
        const flaw_name name = name_of(trust_question::certificate_outlives);
        add_reason(out, name.code, name.says,
                   it.settings.signing_enabled ? validation_effect::ignores : validation_effect::warns,
                   findings.take());
    }
}

void judge_step(trust_case& it, const trust_step& step, finding_console& findings, report& out) {
    it.warned = false;
    const bool held = ok(step.ask(it));
    const report details = findings.take();
    if (step.question == trust_question::signature) {
        out["signature"] = held ? "valid" : "invalid";
    }
    if (held && !it.warned) {
        return;
    }
    const flaw_name name =
        step.question == trust_question::signature ? explain_signature(it.document) : name_of(step.question);
    findings.take();
    if (held) {
        add_caution(out, name.code, name.says, details);
    } else {
        add_reason(out, name.code, name.says, validation_effect::fails, details);
    }
}

void judge_trust(trust_case& it, const pmf_yardstick& yardstick, finding_console& findings, report& out) {
    for (const trust_step& step : pmf_trust_steps()) {
        switch (step.question) {
            case trust_question::chain: judge_chain(it, step, yardstick, findings, out); break;
            case trust_question::certificate_outlives: judge_outliving(it, findings, out); break;
            default: judge_step(it, step, findings, out); break;
        }
    }
}

struct telling_pcr {
    unsigned pcr;
    const char* what;
};

constexpr unsigned seal_log_pcr = 5;

// The PCRs that a PMF may leave out, and what then changes unseen.
constexpr telling_pcr telling_pcrs[] = {{4, "boot loader"}, {7, "Secure Boot state"}, {11, "operating system start"}};

void judge_pcrs(const PmfDocument& document, finding_console& findings, report& out) {
    PMF::PCRMetadataFileExtension extension;
    pmf_pcr_set listed;
    const bool known = ok(get_pmf_extension(document, extension)) && ok(read_pmf_pcrs(document, listed));
    const bool complete = known && ok(check_pmf_pcr_set(extension));
    report details = findings.take();
    if (listed.mask == 0) {
        add_reason(out, "no-pcrs", "It lists no PCR.", validation_effect::fails, std::move(details));
    } else if (!complete) {
        add_reason(out, "mandatory-pcrs", "It does not list the mandatory PCRs.", validation_effect::warns,
                   std::move(details));
    } else if (!details.empty()) {
        add_caution(out, "pcr-list", "It lists PCRs that it should not, or some twice.", std::move(details));
    }
    if ((listed.mask & 1U << seal_log_pcr) != 0) {
        add_reason(
            out, "seal-log-pcr",
            "It lists PCR 5, into which the seal log with the hash of the PMF itself is measured: no device can match it.",
            validation_effect::fails, report::array());
    }
    for (const telling_pcr& row : telling_pcrs) {
        if ((listed.mask & 1U << row.pcr) == 0) {
            add_caution(out, "pcr-not-listed",
                        "PCR " + std::to_string(row.pcr) + " is not listed: a changed " + row.what + " would pass.",
                        report::array());
        }
    }
}

}  // namespace

void judge_pmf(trust_case& it, const pmf_yardstick& yardstick, finding_console& findings, report& out) {
    judge_trust(it, yardstick, findings, out);
    if (!ok(run_strict_rules(it.document))) {
        add_reason(out, "strict-rules", "It breaks strict rules.", validation_effect::warns, findings.take());
    }
    judge_pcrs(it.document, findings, out);
}

}  // namespace vellum::lab
