// The forms of one line and of lines: summary, metrics, JUnit.
#include "report/forms.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"
#include "core/times.h"
#include "report/verdict.h"

namespace vellum::reporting {
namespace {

// Ids of what failed, then of what warned, each once. What a passing stage only tells is left out.
std::vector<std::string_view> finding_ids(const run_record& record) {
    std::vector<std::string_view> ids;
    const auto take = [&ids](const std::vector<finding_record>& findings) {
        for (const finding_record& finding : findings) {
            if (!finding.id.empty() && std::find(ids.begin(), ids.end(), finding.id) == ids.end()) {
                ids.push_back(finding.id);
            }
        }
    };
    if (record.evidence) {
        take(record.evidence->findings);
    }
    for (const stage_result result : {stage_result::failed, stage_result::warned}) {
        for (const stage_record& stage : record.stages) {
            if (stage.result == result) {
                take(stage.findings);
            }
        }
    }
    take(record.other_findings);
    return ids;
}

// Adds what fits with room for what has to follow.
[[nodiscard]] bool append_within(std::string& out, std::string_view part, std::size_t limit) {
    const bool fits = part.size() <= limit && out.size() <= limit - part.size();
    if (fits) {
        out += part;
    }
    return fits;
}

// A text cut to so many bytes, at the end of a character.
std::string cut_text(std::string text, std::size_t most) {
    if (text.size() > most) {
        std::size_t end = most - 3;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
            --end;
        }
        text.resize(end);
        text += "...";
    }
    return text;
}

// XML 1.0 knows no U+FFFE and no U+FFFF, escaped or not.
std::string without_noncharacters(const std::string& text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const std::string_view three = std::string_view(text).substr(at, 3);
        const bool none = three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF";
        out += none ? '?' : text[at];
        at += none ? 3U : 1U;
    }
    return out;
}

std::string xml_text(std::string_view text) {
    std::string out;
    for (const char c : without_noncharacters(shown_text(text))) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string seconds_text(std::int64_t microseconds) {
    std::string digits = std::to_string(std::max<std::int64_t>(microseconds, 0));
    digits.insert(0, digits.size() < 7 ? 7 - digits.size() : 0, '0');
    return digits.insert(digits.size() - 6, ".");
}

cause_class class_of(const stage_record& stage) {
    const words* const meaning = cause_of(stage);
    return meaning != nullptr ? meaning->cause : cause_class::change;
}

bool is_error(cause_class cause) {
    return cause == cause_class::environment || cause == cause_class::configuration;
}

std::string lines_of(const std::vector<finding_record>& findings) {
    std::string out;
    for (const finding_record& finding : findings) {
        for (const std::string& line : finding.lines) {
            out += xml_text(without_line_end(line)) + '\n';
        }
        for (const finding_field& field : finding.fields) {
            out += xml_text(finding.id) + ": " + xml_text(field.name) + " = " + xml_text(field.value) + '\n';
        }
    }
    return out;
}

void append_property(const char* name, const std::string& value, std::string& out) {
    out += "<property name=\"" + std::string(name) + "\" value=\"" + xml_text(value) + "\"/>";
}

std::string evidence_properties(const run_record& record) {
    if (!record.evidence) {
        return "";
    }
    const evidence_record& evidence = *record.evidence;
    std::string out = "    <properties>";
    append_property("evidence_accepted", evidence.accepted ? "true" : "false", out);
    append_property("evidence_nonce", evidence.nonce, out);
    append_property("evidence_key_name", evidence.key_name, out);
    if (evidence.accepted && evidence.quote) {
        append_property("evidence_reset_count", std::to_string(evidence.quote->reset_count), out);
    }
    return out + "</properties>\n";
}

// Of a case, in front of how it ended; nothing for a stage without a mark.
std::string case_properties(const stage_record& stage) {
    if (stage.rests_on == nullptr) {
        return "";
    }
    std::string out = "<properties>";
    append_property("rests_on", stage.rests_on, out);
    return out + "</properties>";
}

void append_case(const stage_record& stage, std::string& out) {
    const std::string properties = case_properties(stage);
    out += "    <testcase classname=\"vellum." + xml_text(stage.id) + "\" name=\"" + xml_text(stage.title) +
           "\" time=\"" + seconds_text(stage.microseconds) + "\"";
    if (stage.result == stage_result::failed) {
        const char* const element = is_error(class_of(stage)) ? "error" : "failure";
        out += ">\n      " + properties + "<" + std::string(element) + " type=\"" +
               cause_class_name(class_of(stage)) + "\" message=\"" + xml_text(stage.title) + "\">" +
               lines_of(stage.findings) + "</" + element + ">\n    </testcase>\n";
    } else if (stage.result == stage_result::skipped || stage.result == stage_result::not_started ||
               stage.result == stage_result::not_applicable) {
        out += ">\n      <skipped message=\"" + xml_text(stage_result_name(stage.result)) + "\"/>\n    </testcase>\n";
    } else if (const std::string said = lines_of(stage.findings); !said.empty()) {
        out += ">\n      " + properties + "<system-out>" + said + "</system-out>\n    </testcase>\n";
    } else if (!properties.empty()) {
        out += ">\n      " + properties + "\n    </testcase>\n";
    } else {
        out += "/>\n";
    }
}

// Without a verdict, or, of an unsealing, refused.
bool goes_wrong_apart(const run_record& record, std::size_t failed_stages) {
    return record.verdict == run_verdict::ended_early || record.verdict == run_verdict::interrupted ||
           record.verdict == run_verdict::refused || (record.verdict == run_verdict::failed && failed_stages == 0);
}

// The escapes of a label's value.
std::string label_text(std::string_view text) {
    std::string out;
    for (const char c : shown_text(text)) {
        if (c == '\\' || c == '"') {
            out += '\\';
        }
        out += c;
    }
    return out;
}

struct metric {
    const char* name;
    const char* help;
};

void begin_metric(const metric& metric, std::string& out) {
    out += "# HELP " + std::string(metric.name) + ' ' + metric.help + "\n# TYPE " + metric.name + " gauge\n";
}

void append_metric(const metric& metric, std::int64_t value, std::string& out) {
    begin_metric(metric, out);
    out += std::string(metric.name) + ' ' + std::to_string(value) + '\n';
}

int state_value(stage_result result) {
    switch (result) {
        case stage_result::passed:
        case stage_result::hidden: return 0;
        case stage_result::warned: return 1;
        case stage_result::failed: return 2;
        default: return 3;
    }
}

void append_expiries(const run_record& record, std::string& out) {
    if (record.pmf.expires) {
        append_metric({"vellum_pmf_expiry_timestamp_seconds", "When the PMF expires."}, *record.pmf.expires, out);
    }
    const metric certificates = {"vellum_certificate_expiry_timestamp_seconds", "When a certificate expires."};
    if (!record.pmf.signers.empty()) {
        begin_metric(certificates, out);
    }
    for (const certificate_record& certificate : record.pmf.signers) {
        out += std::string(certificates.name) + "{role=\"" + certificate.role + "\",sha256=\"" + certificate.sha256 +
               "\"} " + std::to_string(certificate.not_after) + '\n';
    }
}

void append_evidence(const run_record& record, std::string& out) {
    if (!record.evidence) {
        return;
    }
    append_metric({"vellum_evidence_accepted", "1 when what the TPM signed was accepted, else 0."},
                  record.evidence->accepted ? 1 : 0, out);
    if (record.evidence->accepted && record.evidence->quote) {
        append_metric({"vellum_evidence_resets", "Resets of the TPM, as it signed them."},
                      record.evidence->quote->reset_count, out);
    }
}

}  // namespace

const char* stage_result_name(stage_result result) {
    switch (result) {
        case stage_result::not_started: return "not_started";
        case stage_result::not_applicable: return "not_applicable";
        case stage_result::hidden: return "hidden";
        case stage_result::passed: return "passed";
        case stage_result::warned: return "warned";
        case stage_result::skipped: return "skipped";
        case stage_result::failed: break;
    }
    return "failed";
}

std::string summary_form(const run_record& record) {
    constexpr std::size_t longest_cause = 400;
    constexpr std::size_t longest_remedy = 400;
    const stage_counts counts = count_stages(record);
    std::string out = "vellum: " + std::string(verdict_name(record.verdict)) + " (exit code " +
                      std::to_string(record.exit_code) + ")";
    out += ", failed " + std::to_string(counts.failed) + ", warned " + std::to_string(counts.warned) + ", skipped " +
           std::to_string(counts.skipped) + ", cautions " + std::to_string(record.cautions.size());
    if (record.evidence) {
        out += record.evidence->accepted ? ", evidence accepted" : ", evidence refused";
    }
    std::string end;
    if (record.cause != nullptr) {
        out += "; cause: " + cut_text(shown_text(record.cause_says), longest_cause);
        end = "; do: " + cut_text(std::string(first_sentence(record.cause->what_to_do.text)), longest_remedy);
    }
    const char* before = "; findings: ";
    for (const std::string_view id : finding_ids(record)) {
        if (!append_within(out, before + std::string(id), summary_limit - end.size() - 8)) {
            out += ", ...";
            break;
        }
        before = ", ";
    }
    return out + end + '\n';
}

std::string junit_form(const run_record& record) {
    std::size_t errors = 0;
    std::size_t failures = 0;
    std::size_t skipped = 0;
    std::string cases;
    for (const stage_record& stage : record.stages) {
        if (stage.result == stage_result::failed) {
            ++(is_error(class_of(stage)) ? errors : failures);
        }
        skipped += state_value(stage.result) == 3 ? 1 : 0;
        append_case(stage, cases);
    }
    // What goes wrong beside all stages is an error of its own.
    const bool apart = goes_wrong_apart(record, errors + failures);
    if (apart) {
        ++errors;
        const std::string refusal = record.evidence ? lines_of(record.evidence->findings) : "";
        cases += "    <testcase classname=\"vellum.run\" name=\"run\" time=\"" + seconds_text(record.microseconds) +
                 "\">\n      <error type=\"" + verdict_name(record.verdict) + "\" message=\"" +
                 xml_text(record.cause_says) + "\"";
        cases += (refusal.empty() ? "/>" : ">" + refusal + "</error>") + "\n    </testcase>\n";
    }
    const std::size_t tests = record.stages.size() + (apart ? 1 : 0);
    const std::string counts = " tests=\"" + std::to_string(tests) + "\" failures=\"" + std::to_string(failures) +
                               "\" errors=\"" + std::to_string(errors) + "\" skipped=\"" + std::to_string(skipped) +
                               "\" time=\"" + seconds_text(record.microseconds) + "\"";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" + counts + ">\n  <testsuite name=\"vellum " +
           xml_text(record.mode) + "\" hostname=\"" + xml_text(record.host) + "\" timestamp=\"" +
           utc_iso_string(record.started).value_or("") + "\"" + counts + ">\n" + evidence_properties(record) + cases +
           "  </testsuite>\n</testsuites>\n";
}

std::string metrics_form(const run_record& record) {
    const stage_counts counts = count_stages(record);
    // Where evidence was refused nothing was run, and the device is whose evidence it had to be.
    const std::string& device =
        record.verdict == run_verdict::refused ? record.evidence->device.id : record.device.id;
    std::string out;
    begin_metric({"vellum_info", "What was run, always 1."}, out);
    out += "vellum_info{version=\"" + label_text(record.tool_version) + "\",mode=\"" + label_text(record.mode) +
           "\",device_id=\"" + label_text(device) + "\",verdict=\"" + verdict_name(record.verdict) + "\"} 1\n";
    append_metric({"vellum_verdict", "1 when the validation passed, else 0."},
                  record.verdict == run_verdict::passed ? 1 : 0, out);
    append_metric({"vellum_exit_code", "The exit code of the run."}, record.exit_code, out);
    append_metric({"vellum_warnings", "Stages that passed with warnings."}, static_cast<std::int64_t>(counts.warned),
                  out);
    append_metric({"vellum_cautions", "Cautions about what passed."},
                  static_cast<std::int64_t>(record.cautions.size()), out);
    append_metric({"vellum_last_run_timestamp_seconds", "When the run started."}, record.started, out);
    const metric states = {"vellum_stage_state", "0 passed, 1 passed with warnings, 2 failed, 3 skipped or not run."};
    begin_metric(states, out);
    for (const stage_record& stage : record.stages) {
        out += std::string(states.name) + "{id=\"" + label_text(stage.id) + "\"} " +
               std::to_string(state_value(stage.result)) + '\n';
    }
    append_expiries(record, out);
    append_evidence(record, out);
    return out;
}

}  // namespace vellum::reporting
