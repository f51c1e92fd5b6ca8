// The forms for collectors and spreadsheets.
#include <algorithm>

#include "core/times.h"
#include "report/fleet/fleet_forms.h"

namespace vellum::fleet {
namespace {

void begin_metric(const std::string& name, const char* help, std::string& out) {
    out += "# HELP " + name + ' ' + help + "\n# TYPE " + name + " gauge\n";
}

void append_metric(const std::string& name, const char* help, std::int64_t value, std::string& out) {
    begin_metric(name, help, out);
    out += name + ' ' + std::to_string(value) + '\n';
}

// A cell that begins like a formula, and quotes where the format asks for them.
std::string cell(const std::string& text) {
    constexpr std::string_view formulas = "=+-@\t\r";
    const bool is_formula = !text.empty() && formulas.find(text.front()) != std::string_view::npos;
    std::string out = is_formula ? "'" + text : text;
    if (out.find_first_of(",;\"\r\n") == std::string::npos) {
        return out;
    }
    for (std::size_t at = out.find('"'); at != std::string::npos; at = out.find('"', at + 2)) {
        out.insert(at, 1, '"');
    }
    return '"' + out + '"';
}

std::string time_cell(const statement& row, int column) {
    return row.is_null(column) ? "" : utc_iso_string(row.number(column)).value_or("");
}

constexpr const char* csv_columns =
    "device,source,verdict,verified,seen,cause,findings,product,serial,bios_version,os_version,seal_state,host,expires,"
    "unproved_verdict,unproved_seen,refused_seen\r\n";
constexpr const char* csv_rows =
    "SELECT d.name, d.source, o.verdict, s.verified, s.seen, o.cause, o.findings, f.product, r.serial, f.bios_version, "
    "f.os_version, f.seal_state, r.host, s.expires, coalesce(uo.verdict, ''), u.seen, e.seen "
    "FROM shown s JOIN devices d ON d.id = s.device JOIN runs r ON r.id = s.run JOIN outcomes o ON o.id = s.outcome "
    "JOIN facts f ON f.id = s.facts LEFT JOIN runs u ON u.id = s.unproved LEFT JOIN outcomes uo ON uo.id = u.outcome "
    "LEFT JOIN runs e ON e.id = s.refused ORDER BY s.device";

std::string csv_cell(const statement& row, int column) {
    switch (column) {
        case 3: return row.number(column) != 0 ? "true" : "false";
        case 4:
        case 13:
        case 15:
        case 16: return time_cell(row, column);
        default: return cell(row.text(column));
    }
}

}  // namespace

std::string metrics_form(const overview& fleet) {
    std::string out;
    const std::string devices = "vellum_fleet_devices";
    begin_metric(devices, "Devices by the verdict of the run that they are shown by.", out);
    for (const verdict_count& row : fleet.verdicts) {
        const std::string label = devices + "{verdict=\"" + row.verdict + "\",verified=\"";
        out += label + "true\"} " + std::to_string(row.verified) + '\n';
        out += label + "false\"} " + std::to_string(row.unverified) + '\n';
    }
    const std::string causes = "vellum_fleet_cause_devices";
    begin_metric(causes, "Devices by the cause of their verdict.", out);
    for (const auto& [cause, count] : fleet.causes) {
        out += causes + "{cause=\"" + cause + "\"} " + std::to_string(count) + '\n';
    }
    append_metric("vellum_fleet_runs", "Runs in the database.", fleet.runs, out);
    append_metric("vellum_fleet_groups", "Groups of devices that came to the same.", fleet.groups.all, out);
    append_metric("vellum_fleet_changed_devices", "Devices that came to something else than the run before.",
                  fleet.changed_devices, out);
    append_metric("vellum_fleet_refused_devices", "Devices whose evidence was refused since their verified run.",
                  fleet.refused.all, out);
    append_metric("vellum_fleet_unproved_devices", "Devices of which an unverified report says something else later.",
                  fleet.unproved.all, out);
    append_metric("vellum_fleet_doubtful_clock_devices", "Devices with a start that is far from its taking in.",
                  fleet.doubtful_clocks.all, out);
    append_metric("vellum_fleet_not_seen_devices", "Devices that were not seen lately.", fleet.not_seen.all, out);
    append_metric("vellum_fleet_expiring_devices", "Devices with what expires soon or has expired.",
                  fleet.expiring.all, out);
    append_metric("vellum_fleet_expired_devices", "Devices with what has expired.", fleet.expired, out);
    if (fleet.last_taken) {
        append_metric("vellum_fleet_last_taken_timestamp_seconds", "When a report was taken in last.",
                      *fleet.last_taken, out);
    }
    return out;
}

std::string csv_form(database& fleet) {
    std::string out = csv_columns;
    const auto columns = static_cast<int>(std::count(out.begin(), out.end(), ',')) + 1;
    statement rows(fleet, csv_rows);
    while (rows.step()) {
        for (int column = 0; column < columns; ++column) {
            out += (column > 0 ? "," : "") + csv_cell(rows, column);
        }
        out += "\r\n";
    }
    return out;
}

}  // namespace vellum::fleet
