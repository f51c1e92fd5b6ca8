#include "lab/diff.h"

#include <algorithm>
#include <numeric>

#include "base/text.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"
#include "lab/diff_report.h"
#include "platform/mute_console.h"

namespace vellum::lab {
namespace {

// One line, without the end of its sentence.
std::string as_clause(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    while (text.ends_with('.') || text.ends_with(' ')) {
        text.pop_back();
    }
    return shown_text(text);
}

// Why the log cannot be compared, as a clause; empty: it can.
std::string read(const std::string& path, compared_log& out) {
    std::string reason;
    out.path = path;
    if (!ok(read_file(path, max_compared_log, out.bytes, reason))) {
        return as_clause(reason);
    }
    if (out.bytes.empty()) {
        return "the file is empty";
    }
    const bool opened = ok(read_events(out.bytes, out.sequence));
    const std::string finding = as_clause(take_messages(flush_order::oldest_first));
    if (!opened) {
        return finding.empty() ? out.sequence.why_cut : finding;
    }
    return out.sequence.events.empty() || !begins_like_a_log(out.bytes) ? "it does not begin as an event log does"
                                                                        : "";
}

std::string read_both(const diff_request& request, log_diff& out) {
    const auto problem_of = [](const std::string& path, compared_log& log) {
        const std::string why = read(path, log);
        return why.empty() ? "" : "cannot read the log \"" + shown_text(path) + "\": " + why;
    };
    std::string problem = problem_of(request.reference, out.reference);
    return problem.empty() ? problem_of(request.live, out.live) : problem;
}

void select(std::uint32_t pcrs, std::vector<pcr_alignment>& out) {
    if (pcrs != all_pcrs) {
        std::erase_if(out, [pcrs](const pcr_alignment& entry) {
            return entry.pcr >= pcr_count || (pcrs >> entry.pcr & 1U) == 0;
        });
    }
}

}  // namespace

step_counts counts_of(std::span<const alignment_step> steps) {
    step_counts counts{};
    for (const alignment_step& step : steps) {
        ++counts[static_cast<std::size_t>(step.kind)];
    }
    return counts;
}

bool is_same(const step_counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::size_t{0}) ==
           counts[static_cast<std::size_t>(step_kind::alike)];
}

bool is_same(const log_diff& diff) {
    const auto same = [](const pcr_alignment& entry) { return is_same(counts_of(entry.steps)); };
    return diff.causes.empty() && std::all_of(diff.pcrs.begin(), diff.pcrs.end(), same);
}

diff_outcome diff(const diff_request& request, platform services, page_writer& page, std::string& problem) {
    mute_console nowhere;
    log_start(nowhere, services.time, services.errors);
    log_diff found;
    problem = read_both(request, found);
    log_stop();
    if (!problem.empty()) {
        if (request.form == diff_form::json) {
            write_unreadable_json(problem, page);
        }
        return diff_outcome::unreadable;
    }
    found.pcrs = align_logs(found.reference.sequence, found.live.sequence);
    select(request.pcrs, found.pcrs);
    found.causes = probable_causes(found.reference.sequence, found.live.sequence, found.pcrs);
    if (request.form == diff_form::json) {
        write_json(found, page);
    } else {
        write_text(found, page);
    }
    return is_same(found) ? diff_outcome::same : diff_outcome::different;
}

}  // namespace vellum::lab
