#include "report/fleet/fleet_html.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "report/words.h"

namespace vellum::fleet {
namespace {

using reporting::html_writer;
using reporting::look;

struct verdict_look {
    std::string_view verdict;
    look looks;
};

constexpr verdict_look verdict_looks[] = {
    {"passed", {"good", "passed", "passed"}},
    {"unsealed", {"good", "passed", "unsealed"}},
    {"failed", {"bad", "failed", "failed"}},
    {"refused", {"bad", "failed", "refused"}},
    {"skipped", {"none", "skipped", "nothing judged"}},
    {"ended_early", {"warn", "warned", "ended early"}},
    {"interrupted", {"warn", "warned", "interrupted"}},
};
constexpr look unknown_look = {"warn", "warned", "unknown"};

}  // namespace

const look& look_of(std::string_view verdict) {
    const auto* const row =
        std::find_if(std::begin(verdict_looks), std::end(verdict_looks),
                     [verdict](const verdict_look& candidate) { return candidate.verdict == verdict; });
    return row != std::end(verdict_looks) ? row->looks : unknown_look;
}

std::string finding_text(std::string_view finding) {
    std::string_view pcr = finding;
    const std::string_view id = take_until(pcr, '/');
    const words* const meaning = words_of(id);
    std::string out = meaning != nullptr ? meaning->title : std::string(id);
    return pcr.empty() ? out : out + " (PCR " + std::string(pcr) + ")";
}

std::string findings_text(const run_outcome& outcome) {
    std::string out;
    std::string_view rest = outcome.findings;
    while (!rest.empty()) {
        out += (out.empty() ? "" : "; ") + finding_text(take_until(rest, ' '));
    }
    return out;
}

std::string outcome_title(const run_outcome& outcome) {
    if (!outcome.cause.empty()) {
        return finding_text(outcome.cause);
    }
    const char* const nothing = outcome.verdict == "passed" ? "Nothing was found" : "No cause is told";
    return outcome.findings.empty() ? nothing : findings_text(outcome);
}

void write_verdict_badge(std::string_view verdict, html_writer& out) {
    reporting::write_badge(look_of(verdict), out);
}

void write_page_end(html_writer& out) {
    out.raw("</main>\n<footer>Made by vellum-report ").text(VELLUM_VERSION);
    out.raw(" without script; it loads nothing. Times are UTC.</footer>\n</div>\n</body>\n</html>\n");
}

}  // namespace vellum::fleet
