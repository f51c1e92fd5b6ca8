// A report that is taken into the database of a fleet.
#include "fuzz/fuzz_session.h"
#include "report/fleet/device_runs.h"
#include "report/fleet/report_reading.h"
#include "report/fleet/store.h"

namespace vellum::fuzz {
namespace {

using namespace fleet;

bool is_plain(std::string_view text) {
    return text.size() <= 3 * longest_text && text.find_first_of(std::string_view("\n\r\t\x1b\0", 5)) == text.npos;
}

void check_values(const fleet_report& report) {
    demand(!report.device.empty(), "a report that is taken names its device");
    for (const std::string* text : {&report.device, &report.source, &report.host, &report.serial, &report.key_name,
                                    &report.facts.product, &report.facts.seal_state, &report.outcome.cause}) {
        demand(is_plain(*text), "what is kept is clean and bounded");
    }
    demand(report.outcome.findings.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-/ ") == std::string::npos,
           "findings are identifiers");
    demand(report.key_name.empty() || report.evidence == evidence_state::accepted,
           "a key is that of a verified report");
}

// In a database of its own, so that one input does not change what the next one finds.
void check_taking(const fleet_report& report) {
    database fleet(":memory:", database::opening::created_when_missing);
    prepare_schema(fleet, purpose::to_fill);
    store into(fleet);
    into.begin();
    demand(into.add(report, 0) && !into.add(report, 1), "a report is taken in once");
    into.commit();
    std::string why;
    const auto device = history_of(fleet, report.device, why);
    demand(fleet.ok() && device && device->runs.size() == 1, "the run of a report is found by its device");
    demand(device->runs[0].outcome.findings == report.outcome.findings, "what was found is what was taken in");
}

}  // namespace

void check(byte_view input) {
    const std::string given(input.begin(), input.end());
    fleet_report report;
    std::string why;
    std::string text = given;
    if (!read_report(text, report, why)) {
        demand(!why.empty(), "a refusal has a reason");
        return;
    }
    check_values(report);
    fleet_report again;
    text = given;
    demand(read_report(text, again, why) && again.identity == report.identity, "a report is read the same way twice");
    check_taking(report);
}

}  // namespace vellum::fuzz
