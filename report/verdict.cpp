#include "report/verdict.h"

#include <algorithm>
#include <iterator>

#include "base/result.h"
#include "base/text.h"
#include "report/evidence.h"

namespace vellum::reporting {
namespace {

// A cause that comes earlier is told before one that comes later: what an attacker did, before what a maker or an
// owner did, before what is in the way of knowing.
constexpr cause_class gravity[] = {
    cause_class::tampering, cause_class::change,        cause_class::firmware,
    cause_class::expiry,    cause_class::configuration, cause_class::environment,
};

std::size_t rank_of(const words& meaning) {
    return static_cast<std::size_t>(std::find(std::begin(gravity), std::end(gravity), meaning.cause) -
                                    std::begin(gravity));
}

// Findings that those beside them explain: headings of a comparison, and what differs in it.
constexpr std::string_view details[] = {
    "seal-config-against-ini",
    "seal-config-against-pmf",
    "seal-config-option-differs",
    "separator-digest-missing",
};

bool is_detail(const finding_record& finding) {
    return std::find(std::begin(details), std::end(details), finding.id) != std::end(details);
}

// A PCR that differs from the log speaks against the log, which its own words do not say.
bool speaks_for_itself(const stage_record& stage) {
    return std::string_view(stage.id) == "log-matches-pcrs" && !stage.findings.empty() &&
           std::string_view(stage.findings.front().id) == "pcr-differs";
}

std::string first_line(const finding_record& finding) {
    return finding.lines.empty() ? "" : std::string(trim(finding.lines.front()));
}

void blame_stage(const stage_record& stage, const words& meaning, run_record& record) {
    record.cause = &meaning;
    for (const finding_record& finding : stage.findings) {
        const bool told = finding.meaning == &meaning || meaning.kind == word_kind::stage;
        if (told && record.cause_says.empty()) {
            record.cause_says = first_line(finding);
        }
    }
    if (record.cause_says.empty()) {
        // The words of a stage say what it is when all is well.
        record.cause_says = meaning.kind == word_kind::stage ? "\"" + stage.title + "\" failed." : meaning.title;
    }
}

void find_cause(run_record& record) {
    const stage_record* worst = nullptr;
    const words* reason = nullptr;
    for (const stage_record& stage : record.stages) {
        const words* const candidate = stage.result == stage_result::failed ? cause_of(stage) : nullptr;
        if (candidate != nullptr && (reason == nullptr || rank_of(*candidate) < rank_of(*reason))) {
            worst = &stage;
            reason = candidate;
        }
    }
    if (worst != nullptr) {
        blame_stage(*worst, *reason, record);
    }
}

void blame(const char* id, run_record& record) {
    record.cause = words_of(id);
    record.cause_says = record.cause != nullptr ? record.cause->title : "";
}

// A run without stages: the last thing that it raised is why, the first of these is the cause.
void explain_end(run_record& record) {
    for (const finding_record& finding : record.other_findings) {
        if (finding.meaning != nullptr) {
            record.cause = finding.meaning;
            record.cause_says = finding.lines.empty() ? finding.meaning->title : first_line(finding);
            return;
        }
    }
    blame("run-ended-early", record);
}

}  // namespace

const words* cause_of(const stage_record& stage) {
    const words* const own = words_of(stage.id);
    if (speaks_for_itself(stage)) {
        return own;
    }
    const words* detail = nullptr;
    for (const finding_record& finding : stage.findings) {
        if (finding.meaning != nullptr && !is_detail(finding)) {
            return finding.meaning;
        }
        detail = detail != nullptr ? detail : finding.meaning;
    }
    return detail != nullptr ? detail : own;
}

void conclude_record(run_record& record, bool ran_stages, bool out_of_memory) {
    const bool good = record.exit_code == exit_code(result::success);
    if (out_of_memory) {
        record.verdict = run_verdict::ended_early;
        blame("out-of-memory", record);
        return;
    }
    if (record.mode == "unseal" && good) {
        record.verdict = run_verdict::unsealed;
        return;
    }
    if (!ran_stages) {
        // An unsealing has no stages to end before.
        record.verdict = record.mode == "unseal" ? run_verdict::failed : run_verdict::ended_early;
        explain_end(record);
        return;
    }
    mark_what_is_proved(record);
    const stage_counts counts = count_stages(record);
    record.verdict = !good ? run_verdict::failed : counts.passed == 0 ? run_verdict::skipped : run_verdict::passed;
    find_cause(record);
}

void refuse_record(run_record& record) {
    record.verdict = run_verdict::refused;
    record.exit_code = evidence_refused;
    for (const finding_record& finding : record.evidence->findings) {
        const words* const candidate = finding.meaning;
        if (candidate != nullptr && (record.cause == nullptr || rank_of(*candidate) < rank_of(*record.cause))) {
            record.cause = candidate;
            record.cause_says = first_line(finding);
        }
    }
}

const char* verdict_name(run_verdict verdict) {
    switch (verdict) {
        case run_verdict::passed: return "passed";
        case run_verdict::failed: return "failed";
        case run_verdict::skipped: return "skipped";
        case run_verdict::unsealed: return "unsealed";
        case run_verdict::ended_early: return "ended_early";
        case run_verdict::refused: return "refused";
        case run_verdict::interrupted: break;
    }
    return "interrupted";
}

const stage_record* stage_of_cause(const run_record& record) {
    for (const stage_record& stage : record.stages) {
        const bool blamed = stage.result == stage_result::failed && cause_of(stage) == record.cause;
        if (blamed && record.cause != nullptr) {
            return &stage;
        }
    }
    return nullptr;
}

stage_counts count_stages(const run_record& record) {
    stage_counts counts;
    for (const stage_record& stage : record.stages) {
        switch (stage.result) {
            case stage_result::warned: ++counts.warned; [[fallthrough]];
            case stage_result::hidden:
            case stage_result::passed: ++counts.passed; break;
            case stage_result::failed: ++counts.failed; break;
            case stage_result::skipped: ++counts.skipped; break;
            default: break;
        }
    }
    return counts;
}

}  // namespace vellum::reporting
