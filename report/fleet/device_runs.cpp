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
    "SELECT r.id, r.evidence, r.started, r.taken, r.exit_code, o.verdict, o.cause, o.findings, r.pmf_expires, "
    "r.certificate_expires, r.host, r.serial, r.key_name, f.product, f.sku, f.bios_version, f.os_version, "
    "f.orbis_version, f.firmware_version, f.driver_version, f.feature_state, f.seal_state, f.tool_version, f.mode "
    "FROM runs r JOIN outcomes o ON o.id = r.outcome JOIN facts f ON f.id = r.facts WHERE r.device = ?1 AND ";
constexpr const char* latest_first = " ORDER BY r.hour DESC, r.seen DESC, r.id DESC";

// What anybody can send in any number leaves room for what was judged.
constexpr std::size_t most_judged = 100;  // that are verified, and that are refused
constexpr std::size_t most_of_all = most_runs - 2 * most_judged;

// Numbers of a device's runs, the latest of one standing or of all.
std::string latest_runs(std::string_view standing, std::size_t most) {
    return "SELECT id FROM (SELECT r.id FROM runs r WHERE r.device = ?1" + std::string(standing) + latest_first +
           " LIMIT " + std::to_string(most) + ")";
}

std::string listed_runs() {
    return "r.id IN (" + latest_runs(" AND r.evidence = 1", most_judged) + " UNION " +
           latest_runs(" AND r.evidence = 2", most_judged) + " UNION " + latest_runs("", most_of_all) + ")" +
           latest_first;
}

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
    out.evidence = static_cast<evidence_state>(row.number(1));
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

// The condition, of `?2` for one, chooses runs of the device.
std::vector<device_run> runs_where(database& fleet, std::int64_t device, const std::string& condition,
                                   std::optional<std::int64_t> value = std::nullopt) {
    statement rows(fleet, (run_columns + condition).c_str());
    statement digests(fleet, digest_rows);
    rows.bind(device);
    if (value) {
        rows.bind(*value);
    }
    std::vector<device_run> out;
    while (rows.step()) {
        out.push_back(run_in(rows));
        add_digests(digests, out.back());
    }
    return out;
}

std::optional<device_run> first_of(std::vector<device_run> runs) {
    return runs.empty() ? std::nullopt : std::optional(std::move(runs.front()));
}

std::optional<device_run> run_before(database& fleet, const device_history& device) {
    const std::string earlier = "(r.hour, r.seen, r.id) < (SELECT hour, seen, id FROM runs WHERE id = ?2)" +
                                std::string(latest_first) + " LIMIT 1";
    const std::string alike = "r.evidence = (SELECT evidence FROM runs WHERE id = ?2) AND ";
    auto out = first_of(runs_where(fleet, device.number, alike + earlier, device.shown.number));
    return out ? out : first_of(runs_where(fleet, device.number, earlier, device.shown.number));
}

std::string verdict_text(const device_run& run) {
    return run.outcome.verdict + ", " + evidence_text(run.evidence);
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

std::vector<device_row> devices_in(statement& rows) {
    std::vector<device_row> out;
    while (rows.step()) {
        out.push_back({rows.number(0), device_label(rows.text(1), rows.text(2))});
    }
    return out;
}

std::vector<device_row> device_of_source(database& fleet, std::string_view source, std::string_view name) {
    statement rows(fleet, "SELECT id, name, source FROM devices WHERE source = ? AND name = ?");
    rows.bind(source).bind(name);
    return devices_in(rows);
}

// "SOURCE:NAME", and "NAME (SOURCE)" as it is shown, are that device, whatever others call themselves.
std::vector<device_row> devices_named(database& fleet, const std::string& device) {
    const std::string_view named = device;
    std::vector<device_row> exact;
    if (const std::size_t colon = named.find(':'); colon != std::string_view::npos) {
        exact = device_of_source(fleet, named.substr(0, colon), named.substr(colon + 1));
    }
    const std::size_t bracket = named.rfind(" (");
    if (exact.empty() && bracket != std::string_view::npos && named.ends_with(')')) {
        exact =
            device_of_source(fleet, named.substr(bracket + 2, named.size() - bracket - 3), named.substr(0, bracket));
    }
    if (!exact.empty()) {
        return exact;
    }
    statement rows(fleet, "SELECT id, name, source FROM devices WHERE name = ? LIMIT 2");
    rows.bind(device);
    return devices_in(rows);
}

std::optional<device_row> device_named(database& fleet, const std::string& device, std::string& why) {
    std::vector<device_row> found = devices_named(fleet, device);
    if (found.size() != 1) {
        why = found.empty() ? "the database knows no device " + shown_text(device)
                            : "several devices are named " + shown_text(device) + "; put \"SOURCE:\" before it";
        return std::nullopt;
    }
    return std::move(found[0]);
}

}  // namespace

std::optional<std::int64_t> device_number(database& fleet, const std::string& device, std::string& why) {
    const auto found = device_named(fleet, device, why);
    return found ? std::optional(found->number) : std::nullopt;
}

std::optional<device_history> history_of(database& fleet, const std::string& device, std::string& why) {
    const auto found = device_named(fleet, device, why);
    if (!found) {
        return std::nullopt;
    }
    device_history out = {found->number, found->label, {}, {}, {}, 0};
    statement all(fleet, "SELECT count(*) FROM runs WHERE device = ?");
    all.bind(out.number);
    out.all = all.step() ? all.number(0) : 0;
    auto shown = first_of(runs_where(fleet, out.number, "r.id = " + shown_run_of("?1")));
    if (!shown) {
        why = "the database has no run of " + out.label;
        return std::nullopt;
    }
    out.shown = std::move(*shown);
    out.before = run_before(fleet, out);
    out.runs = runs_where(fleet, out.number, listed_runs());
    return out;
}

std::optional<device_run> run_numbered(database& fleet, const device_history& device, std::int64_t number) {
    return first_of(runs_where(fleet, device.number, "r.id = ?2", number));
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
