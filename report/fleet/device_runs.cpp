#include "report/fleet/device_runs.h"

#include <algorithm>
#include <map>

#include "base/text.h"
#include "core/times.h"
#include "report/fleet/overview.h"
#include "report/fleet/report_events.h"

namespace vellum::fleet {
namespace {

constexpr const char* run_columns =
    "SELECT r.id, r.verified, r.started, r.taken, r.exit_code, o.verdict, o.cause, o.findings, r.pmf_expires, "
    "r.certificate_expires, r.host, r.serial, r.key_name, f.product, f.sku, f.bios_version, f.os_version, "
    "f.orbis_version, f.firmware_version, f.driver_version, f.feature_state, f.seal_state, f.tool_version, f.mode "
    "FROM runs r JOIN outcomes o ON o.id = r.outcome JOIN facts f ON f.id = r.facts "
    "WHERE r.device = ? ORDER BY r.seen DESC, r.id DESC LIMIT ?";
constexpr int first_fact_column = 13;

// Rows of a run's digests: kind, key, value.
constexpr const char* digest_rows =
    "SELECT 'PCR ' || j.key, d.value FROM runs r, json_each(r.pcrs) j JOIN digests d ON d.id = j.value WHERE r.id = ?1 "
    "UNION ALL "
    "SELECT 'input ' || j.key, d.value FROM runs r, json_each(r.inputs) j JOIN digests d ON d.id = j.value "
    "WHERE r.id = ?1";

std::optional<std::int64_t> time_in(const statement& row, int column) {
    return row.is_null(column) ? std::nullopt : std::optional(row.number(column));
}

device_run run_in(const statement& row) {
    device_run out;
    out.number = row.number(0);
    out.verified = row.number(1) != 0;
    out.started = row.number(2);
    out.taken = row.number(3);
    out.exit_code = row.number(4);
    out.outcome = {row.text(5), row.text(6), row.text(7)};
    out.pmf_expires = time_in(row, 8);
    out.certificate_expires = time_in(row, 9);
    out.host = row.text(10);
    out.serial = row.text(11);
    out.key_name = row.text(12);
    int column = first_fact_column;
    for (const auto& [member, name] : fact_members) {
        out.facts.*member = row.text(column++);
    }
    return out;
}

void add_digests(statement& rows, device_run& run) {
    rows.bind(run.number);
    while (rows.step()) {
        const std::string value = rows.text(1);
        run.digests.emplace_back(rows.text(0), lower_hex(as_bytes(value)));
    }
    rows.reset();
}

std::string verdict_text(const device_run& run) {
    return run.outcome.verdict + (run.verified ? ", verified" : ", unverified");
}

std::string time_text(const std::optional<std::int64_t>& time) {
    return time ? utc_time_string(*time).value_or("an unknown time") : "";
}

using named_values = std::map<std::string, std::string>;

named_values values_of(const device_run& run) {
    named_values out(run.digests.begin(), run.digests.end());
    for (const auto& [member, name] : fact_members) {
        out.emplace(name, run.facts.*member);
    }
    out.emplace("PMF expires", time_text(run.pmf_expires));
    out.emplace("first certificate expires", time_text(run.certificate_expires));
    out.emplace("serial", run.serial);
    out.emplace("host", run.host);
    out.emplace("attestation key", run.key_name);
    return out;
}

std::vector<std::string> words_in(std::string_view text) {
    std::vector<std::string> out;
    while (!text.empty()) {
        out.emplace_back(take_until(text, ' '));
    }
    return out;
}

void compare_findings(const run_outcome& before, const run_outcome& after, std::vector<run_difference>& out) {
    const std::vector<std::string> old_ids = words_in(before.findings);
    const std::vector<std::string> new_ids = words_in(after.findings);
    const auto holds = [](const std::vector<std::string>& ids, const std::string& id) {
        return std::find(ids.begin(), ids.end(), id) != ids.end();
    };
    for (const std::string& id : old_ids) {
        if (!holds(new_ids, id)) {
            out.push_back({"finding", id, ""});
        }
    }
    for (const std::string& id : new_ids) {
        if (!holds(old_ids, id)) {
            out.push_back({"finding", "", id});
        }
    }
}

void add_when_different(const std::string& what, const std::string& before, const std::string& after,
                        std::vector<run_difference>& out) {
    if (before != after) {
        out.push_back({what, before, after});
    }
}

struct device_row {
    std::int64_t number = 0;
    std::string label;
};

std::vector<device_row> devices_named(database& fleet, const std::string& device) {
    statement rows(fleet,
                   "SELECT id, name, source FROM devices WHERE name = ?1 OR source || ':' || name = ?1 LIMIT 9");
    rows.bind(device);
    std::vector<device_row> out;
    while (rows.step()) {
        out.push_back({rows.number(0), device_label(rows.text(1), rows.text(2))});
    }
    return out;
}

}  // namespace

std::optional<device_history> history_of(database& fleet, const std::string& device, std::string& why) {
    const std::vector<device_row> found = devices_named(fleet, device);
    if (found.size() != 1) {
        why = found.empty() ? "the database knows no device " + shown_text(device)
                            : "several devices are named " + shown_text(device) + "; put \"SOURCE:\" before it";
        return std::nullopt;
    }
    device_history out = {found[0].label, {}, 0};
    statement all(fleet, "SELECT count(*) FROM runs WHERE device = ?");
    all.bind(found[0].number);
    out.all = all.step() ? all.number(0) : 0;
    statement rows(fleet, run_columns);
    statement digests(fleet, digest_rows);
    rows.bind(found[0].number).bind(static_cast<std::int64_t>(most_runs));
    while (rows.step()) {
        out.runs.push_back(run_in(rows));
        add_digests(digests, out.runs.back());
    }
    return out;
}

std::vector<run_difference> differences_between(const device_run& before, const device_run& after) {
    std::vector<run_difference> out;
    add_when_different("verdict", verdict_text(before), verdict_text(after), out);
    add_when_different("cause", before.outcome.cause, after.outcome.cause, out);
    compare_findings(before.outcome, after.outcome, out);
    named_values old_values = values_of(before);
    const named_values new_values = values_of(after);
    for (const auto& [what, value] : new_values) {
        add_when_different(what, old_values[what], value, out);
        old_values.erase(what);
    }
    for (const auto& [what, value] : old_values) {
        add_when_different(what, value, "", out);
    }
    return out;
}

}  // namespace vellum::fleet
