// What the checks find in a PMF.
#include <algorithm>

#include "core/text.h"
#include "lab/inspect_report.h"
#include "pmf/certificate.h"
#include "pmf/certificate_chain.h"
#include "pmf/layout.h"
#include "pmf/parser.h"
#include "pmf/pcr_set.h"
#include "pmf/rules.h"
#include "pmf/signature.h"
#include "pmf/trust_steps.h"

namespace vellum::lab {
namespace {

// The certificate that the PMF carries; null when it carries none or one that does not decode.
certificate_handle carried_certificate(const PmfDocument& document, bool& carried) {
    const auto is_certificate = [](const pmf_extension& extension) {
        return extension.type == static_cast<std::uint32_t>(PmfExtensionType::certificate);
    };
    certificate_handle certificate;
    const auto found = std::find_if(document.extensions.begin(), document.extensions.end(), is_certificate);
    const byte_view der = found != document.extensions.end() ? pmf_extension_content(*found) : byte_view();
    carried = !der.empty();
    if (carried) {
        static_cast<void>(decode_certificate(der, certificate));
    }
    return certificate;
}

report describe(X509& certificate, const PmfDocument& document) {
    certificate_times times;
    std::vector<std::uint8_t> fingerprint;
    bool self_signed = false;
    const bool dated = ok(read_certificate_times(certificate, times));
    static_cast<void>(certificate_fingerprint(certificate, fingerprint));
    static_cast<void>(is_self_signed(certificate, self_signed));
    return {{"subject", subject_text(certificate)},
            {"issuer", issuer_text(certificate)},
            {"valid_from", dated ? report(utc_time_string(times.not_before).value_or("")) : report()},
            {"valid_to", dated ? report(utc_time_string(times.not_after).value_or("")) : report()},
            {"sha256_fingerprint", upper_hex(fingerprint)},
            {"self_signed", self_signed},
            {"certifies_header_key", ok(check_header_key(document, {&certificate, "certificate"}))}};
}

report describe_signature(const PmfDocument& document, finding_console& findings) {
    bool verified = false;
    const bool valid = ok(verify_pmf_signature(document, verified)) && verified;
    return {{"valid", valid}, {"findings", findings.take()}};
}

report describe_certificate(const inspect_request& request, const PmfDocument& document,
                            directory_listing& directories, finding_console& findings) {
    bool carried = false;
    const certificate_handle certificate = carried_certificate(document, carried);
    report out = {{"carried", carried}};
    if (certificate) {
        out.update(describe(*certificate, document));
    }
    if (certificate && !request.trusted_dir.empty()) {
        bool trusted = false;
        const result tried = verify_certificate_chain(*certificate, request.trusted_dir, request.intermediate_dir,
                                                      directories, trusted);
        out["trusted"] = ok(tried) && trusted;
    }
    out["findings"] = findings.take();
    return out;
}

report describe_rules(const PmfDocument& document, finding_console& findings) {
    PMF::PCRMetadataFileExtension pcrs;
    report out;
    out["strict_rules_hold"] = ok(run_strict_rules(document));
    out["strict_findings"] = findings.take();
    out["mandatory_pcrs_present"] = ok(get_pmf_extension(document, pcrs)) && ok(check_pmf_pcr_set(pcrs));
    out["pcr_findings"] = findings.take();
    return out;
}

}  // namespace

bool describe_pmf(const inspect_request& request, directory_listing& directories, finding_console& findings,
                  report& out) {
    out["file"] = shown_text(request.path);
    std::vector<std::uint8_t> bytes;
    std::optional<PmfDocument> document;
    sha384_value digest{};
    const bool well_formed =
        ok(load_pmf_file(request.path, bytes)) && ok(parse_pmf(bytes, document)) && ok(pmf_digest(bytes, digest));
    out["well_formed"] = well_formed;
    out["findings"] = findings.take();
    if (!well_formed) {
        return false;
    }
    out["size"] = bytes.size();
    out["sha384"] = lower_hex(digest);
    out["signature"] = describe_signature(*document, findings);
    out["certificate"] = describe_certificate(request, *document, directories, findings);
    out["rules"] = describe_rules(*document, findings);
    out["marker"] = pmf_text(byte_view(bytes).first(pmf_marker_size));
    describe_fields(*document, out);
    return true;
}

}  // namespace vellum::lab
