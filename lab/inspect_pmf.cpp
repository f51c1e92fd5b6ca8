// Gets a PMF from a file, and describes and judges it.
#include "base/path.h"
#include "base/text.h"
#include "config/kxl_config.h"
#include "config/path_tokens.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/times.h"
#include "firmware/commands.h"
#include "firmware/firmware_link.h"
#include "lab/inspect_pmf_verdict.h"
#include "lab/inspect_text.h"
#include "pmf/certificate.h"
#include "pmf/dates.h"
#include "pmf/parser.h"

namespace vellum::lab {
namespace {

result unwrap_pmf(byte_view response, std::vector<std::uint8_t>& pmf) {
    FirmwareCommandContext context;
    const result read = read_pmf_response(context, response, pmf);
    if (context.status != SKY_PORT_STATUS_SUCCESS) {
        vellum::report("inspect-firmware-error"_id, "The firmware answered with the error %s(0x%02x).",
                       firmware_status_name(context.status), context.status);
    } else if (!ok(read) && context.unexpected_command != 0) {
        vellum::report("inspect-other-response"_id, "It is the response to another command (%u).",
                       context.unexpected_command);
    }
    return read;
}

// The PMF itself, which may lie in a firmware response. What fails is a reason and the verdict.
[[nodiscard]] bool read_pmf(const inspect_request& request, finding_console& findings, report& out,
                            std::vector<std::uint8_t>& pmf) {
    std::vector<std::uint8_t> content;
    std::string reason;
    const bool readable = ok(read_file(request.path, peli_longest_message, content, reason));
    const bool wrapped = readable && is_response(content);
    const result read = wrapped ? unwrap_pmf(content, pmf) : load_pmf_file(request.path, pmf);
    if (ok(read) && ok(pmf_marker_check(pmf))) {
        out["container"] = wrapped ? "firmware response" : "bare file";
        return true;
    }
    out["verdict"] = readable ? "no PMF" : "unreadable";
    add_reason(out, readable ? "no-pmf" : "unreadable",
               readable ? "The file holds no PMF." : "The file cannot be read.", findings.take());
    return false;
}

// Device IDs in the path of the external certificate are those of a machine that is not at hand.
result translate_certificate_path(std::string& path) {
    if (needs_platform_identity(path)) {
        vellum::report("inspect-certificate-of-device"_id,
                       "The path of the PMF external certificate depends on a device.");
        return result::invalid;
    }
    const std::string configured = path;
    return translate_path_tokens(configured, nullptr, nullptr, path);
}

result read_yardstick(const inspect_request& request, pmf_yardstick& out) {
    KxlConfig config;
    config.seal.flags.pmf_signing = 1;
    if (request.config_file) {
        config = KxlConfig();
        RETURN_IF_FAILED(load_config(*request.config_file, config));
        RETURN_IF_FAILED(translate_certificate_path(config.pmf_external_certificate_path));
        for (std::string* path :
             {&config.trusted_ca_dir, &config.intermediate_ca_dir, &config.pmf_external_certificate_path}) {
            *path = path_beside(*request.config_file, *path);
        }
    }
    out.settings = {
        .signing_enabled = config.seal.flags.pmf_signing != 0,
        .trusted_ca_dir = request.trusted_dir.value_or(config.trusted_ca_dir),
        .intermediate_ca_dir = request.intermediate_dir.value_or(config.intermediate_ca_dir),
        .external_certificate_path = config.pmf_external_certificate_path,
    };
    out.names_authorities = request.config_file || request.trusted_dir;
    return result::success;
}

report path_or_none(const std::string& path) {
    return path.empty() ? report() : report(shown_text(path));
}

report describe(const inspect_request& request, const pmf_trust_settings& settings, clock& time) {
    return {{"at", utc_iso_string(time.now()).value_or("")},
            {"configuration", path_or_none(request.config_file.value_or(""))},
            {"pmf_signing_demanded", settings.signing_enabled},
            {"trusted", path_or_none(settings.trusted_ca_dir)},
            {"intermediate", path_or_none(settings.intermediate_ca_dir)},
            {"external_certificate", path_or_none(settings.external_certificate_path)}};
}

report time_text(std::int64_t seconds) {
    return utc_time_string(seconds).value_or("");
}

report describe_certificate(const trust_case& it) {
    X509* const certificate = it.manufacturer().certificate;
    if (certificate == nullptr) {
        return {};
    }
    certificate_times times;
    std::vector<std::uint8_t> fingerprint;
    bool self_signed = false;
    const bool dated = ok(read_certificate_times(*certificate, times));
    const bool hashed = ok(certificate_fingerprint(*certificate, fingerprint));
    const bool known = ok(is_self_signed(*certificate, self_signed));
    return {{"source", it.embedded ? "PMF" : "external file"},
            {"subject", shown_text(subject_text(*certificate))},
            {"issuer", shown_text(issuer_text(*certificate))},
            {"valid_from", dated ? time_text(times.not_before) : report()},
            {"valid_to", dated ? time_text(times.not_after) : report()},
            {"sha256_fingerprint", hashed ? lower_hex(fingerprint) : ""},
            {"self_signed", known && self_signed}};
}

inspect_outcome describe_document(const PmfDocument& document, const pmf_yardstick& yardstick,
                                  directory_listing& directories, clock& time, finding_console& findings,
                                  report& out) {
    const auto expiry = pmf_expiry_instant(document.header.expire_date, time);
    out["expires"] = expiry ? time_text(*expiry) : report();
    trust_case it = {document, yardstick.settings, directories, time};
    judge_pmf(it, yardstick, findings, out);
    out["certificate"] = describe_certificate(it);
    findings.take();
    describe_fields(document, out);
    const bool fit = out["reasons"].empty();
    out["verdict"] = fit ? "fit" : "not fit";
    return fit ? inspect_outcome::good : inspect_outcome::bad;
}

}  // namespace

inspect_outcome describe_pmf(const inspect_request& request, directory_listing& directories, clock& time,
                             finding_console& findings, report& out) {
    pmf_yardstick yardstick;
    if (!ok(read_yardstick(request, yardstick))) {
        add_reason(out, "configuration", "The configuration cannot be used.", findings.take());
        out["verdict"] = "unjudged";
        return inspect_outcome::unreadable;
    }
    std::vector<std::uint8_t> pmf;
    if (!read_pmf(request, findings, out, pmf)) {
        return inspect_outcome::unreadable;
    }
    out["judged_by"] = describe(request, yardstick.settings, time);
    out["size"] = pmf.size();
    sha384_value digest{};
    std::optional<PmfDocument> document;
    if (!ok(parse_pmf(pmf, document)) || !ok(pmf_digest(pmf, digest))) {
        add_reason(out, "structure", "Its structure is invalid.", validation_effect::fails, findings.take());
        out["verdict"] = "not fit";
        return inspect_outcome::bad;
    }
    out["sha384"] = lower_hex(digest);
    return describe_document(*document, yardstick, directories, time, findings, out);
}

std::string page_of(const report& description, inspect_extent extent) {
    text_page page(extent);
    page.fields(head_of(description), 0);
    page.verdict(description);
    return page.take();
}

}  // namespace vellum::lab
