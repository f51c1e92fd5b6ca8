#include "report/fleet/fleet_forms.h"

#include <nlohmann/json.hpp>

#include "base/text.h"
#include "core/times.h"
#include "report/fleet/fleet_html.h"
#include "report/words.h"

namespace vellum::fleet {
namespace {

using json = nlohmann::ordered_json;

constexpr int json_schema_version = 1;

json time_json(std::int64_t seconds) {
    const auto text = utc_iso_string(seconds);
    return text ? json(*text) : json();
}

json findings_json(std::string_view findings) {
    json out = json::array();
    while (!findings.empty()) {
        std::string_view pcr = take_until(findings, ' ');
        const std::string_view id = take_until(pcr, '/');
        out.push_back({{"id", id}, {"pcr", pcr.empty() ? json() : json(parse_decimal<unsigned>(pcr).value_or(0))}});
    }
    return out;
}

json outcome_json(const run_outcome& outcome) {
    const words* const meaning = words_of(outcome.cause);
    json out = {{"verdict", outcome.verdict},
                {"cause", outcome.cause.empty() ? json() : json(outcome.cause)},
                {"findings", findings_json(outcome.findings)}};
    out["cause_class"] = meaning != nullptr ? json(cause_class_name(meaning->cause)) : json();
    out["remedy"] = meaning != nullptr ? json(first_sentence(meaning->what_to_do.text)) : json();
    return out;
}

template <typename Row, typename Form>
json list_json(const bounded_rows<Row>& list, Form form) {
    json rows = json::array();
    for (const Row& row : list.rows) {
        rows.push_back(form(row));
    }
    return {{"all", list.all}, {"rows", std::move(rows)}};
}

json group_json(const group_row& row) {
    json out = outcome_json(row.outcome);
    out.update({{"devices", row.devices},
                {"verified", row.verified},
                {"first_taken", time_json(row.first_taken)},
                {"first_seen", time_json(row.first_seen)},
                {"last_seen", time_json(row.last_seen)},
                {"examples", row.examples}});
    return out;
}

json change_json(const change_row& row) {
    return {{"before", outcome_json(row.before)},
            {"now", outcome_json(row.now)},
            {"devices", row.devices},
            {"examples", row.examples}};
}

json refused_json(const said_row& row) {
    return {{"device", row.device},
            {"verified", row.verified},
            {"shown", outcome_json(row.shown)},
            {"shown_seen", time_json(row.shown_seen)},
            {"refused", outcome_json(row.said)},
            {"refused_seen", time_json(row.said_seen)}};
}

json unproved_json(const said_row& row) {
    return {{"device", row.device},
            {"verified", outcome_json(row.shown)},
            {"verified_seen", time_json(row.shown_seen)},
            {"unverified", outcome_json(row.said)},
            {"unverified_seen", time_json(row.said_seen)}};
}

json device_json(const device_time_row& row) {
    return {{"device", row.device},
            {"verdict", row.verdict},
            {"verified", row.verified},
            {"seen", time_json(row.seen)},
            {"time", time_json(row.time)}};
}

json versions_json(const overview& fleet) {
    json out = json::object();
    for (const version_row& version : fleet.versions) {
        out[version.what] = list_json(version.values, [](const value_row& row) {
            return json{{"value", row.value}, {"devices", row.devices}, {"examples", row.examples}};
        });
    }
    return out;
}

json verdicts_json(const overview& fleet) {
    json out = json::array();
    for (const verdict_count& row : fleet.verdicts) {
        out.push_back({{"verdict", row.verdict}, {"verified", row.verified}, {"unverified", row.unverified}});
    }
    return out;
}

std::string row_text(const device_run& run) {
    const std::string number = std::to_string(run.number);
    std::string out = "run " + number + std::string(number.size() < 8 ? 8 - number.size() : 1, ' ');
    out += utc_time_string(run.started).value_or("an unknown time") + "  " + run.outcome.verdict;
    out += std::string(", ") + evidence_text(run.evidence);
    return run.outcome.findings.empty() ? out : out + "  " + run.outcome.findings;
}

}  // namespace

std::string json_form(const overview& fleet) {
    const json out = {{"schema", "vellum-report fleet"},
                      {"schema_version", json_schema_version},
                      {"tool_version", VELLUM_VERSION},
                      {"now", time_json(fleet.settings.now)},
                      {"not_seen_days", fleet.settings.not_seen_days},
                      {"expiring_days", fleet.settings.expiring_days},
                      {"devices", fleet.devices},
                      {"verified_devices", fleet.verified_devices},
                      {"passed_devices", fleet.passed_devices},
                      {"runs", fleet.runs},
                      {"last_taken", fleet.last_taken ? time_json(*fleet.last_taken) : json()},
                      {"verdicts", verdicts_json(fleet)},
                      {"changed_devices", fleet.changed_devices},
                      {"expired_devices", fleet.expired},
                      {"refused", list_json(fleet.refused, refused_json)},
                      {"unproved", list_json(fleet.unproved, unproved_json)},
                      {"groups", list_json(fleet.groups, group_json)},
                      {"changes", list_json(fleet.changes, change_json)},
                      {"doubtful_clocks", list_json(fleet.doubtful_clocks, device_json)},
                      {"not_seen", list_json(fleet.not_seen, device_json)},
                      {"expiring", list_json(fleet.expiring, device_json)},
                      {"outliers", list_json(fleet.outliers, group_json)},
                      {"versions", versions_json(fleet)}};
    return out.dump(2, ' ', false, json::error_handler_t::replace) + '\n';
}

std::string summary_form(const overview& fleet) {
    std::string out = counted(static_cast<std::size_t>(fleet.devices), "device") + ", " +
                      counted(static_cast<std::size_t>(fleet.runs), "run");
    for (const verdict_count& row : fleet.verdicts) {
        out += "; " + row.verdict + " " + std::to_string(row.verified + row.unverified) + " (" +
               std::to_string(row.verified) + " verified)";
    }
    if (fleet.refused.all > 0) {
        out += "; evidence refused since of " + counted(static_cast<std::size_t>(fleet.refused.all), "device");
    }
    return out + '\n';
}

std::string listing_form(const device_history& device) {
    std::string out = device.label + ", " + counted(static_cast<std::size_t>(device.all), "run") + ", shown by run " +
                      std::to_string(device.shown.number) + '\n';
    for (const device_run& run : device.runs) {
        out += row_text(run) + '\n';
    }
    return out;
}

std::string drift_form(const device_run& before, const device_run& after) {
    std::string out = "from " + row_text(before) + "\nto   " + row_text(after) + '\n';
    const std::vector<run_difference> differences = differences_between(before, after);
    for (const run_difference& row : differences) {
        out += row.what + ":\n    before  " + (row.before.empty() ? "-" : row.before) + "\n    after   " +
               (row.after.empty() ? "-" : row.after) + '\n';
    }
    return differences.empty() ? out + "nothing changed\n" : out;
}

}  // namespace vellum::fleet
