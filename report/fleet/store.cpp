#include "report/fleet/store.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "report/fleet/report_events.h"

namespace vellum::fleet {
namespace {

constexpr std::int64_t application = 0x564C'4D46;  // "VLMF"

// A text that is absent is empty, so that rows with equal columns are equal.
constexpr const char* schema = R"(
CREATE TABLE devices(
    id INTEGER PRIMARY KEY,
    source TEXT NOT NULL,
    name TEXT NOT NULL,
    UNIQUE(name, source)) STRICT;
CREATE TABLE outcomes(
    id INTEGER PRIMARY KEY,
    verdict TEXT NOT NULL,
    cause TEXT NOT NULL,
    findings TEXT NOT NULL,
    first_taken INTEGER NOT NULL,
    UNIQUE(findings, cause, verdict)) STRICT;
CREATE TABLE facts(
    id INTEGER PRIMARY KEY,
    product TEXT NOT NULL, sku TEXT NOT NULL, bios_version TEXT NOT NULL, os_version TEXT NOT NULL,
    orbis_version TEXT NOT NULL, firmware_version TEXT NOT NULL, driver_version TEXT NOT NULL,
    feature_state TEXT NOT NULL, seal_state TEXT NOT NULL, tool_version TEXT NOT NULL, mode TEXT NOT NULL,
    UNIQUE(bios_version, os_version, orbis_version, product, sku, firmware_version, driver_version, feature_state,
           seal_state, tool_version, mode)) STRICT;
CREATE TABLE digests(
    id INTEGER PRIMARY KEY,
    value BLOB NOT NULL UNIQUE) STRICT;
CREATE TABLE runs(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    identity BLOB NOT NULL UNIQUE,
    device INTEGER NOT NULL REFERENCES devices(id),
    evidence INTEGER NOT NULL,
    hour INTEGER NOT NULL,
    seen INTEGER NOT NULL,
    started INTEGER NOT NULL,
    taken INTEGER NOT NULL,
    microseconds INTEGER NOT NULL,
    exit_code INTEGER NOT NULL,
    outcome INTEGER NOT NULL REFERENCES outcomes(id),
    facts INTEGER NOT NULL REFERENCES facts(id),
    pmf_expires INTEGER,
    certificate_expires INTEGER,
    host TEXT NOT NULL,
    serial TEXT NOT NULL,
    key_name TEXT NOT NULL,
    inputs TEXT NOT NULL,
    pcrs TEXT NOT NULL) STRICT;
CREATE INDEX runs_of_a_device ON runs(device, evidence, hour, seen);
)";

// Another process may be at the same, and the library answers that it is busy without being patient.
void write_ahead(database& fleet) {
    constexpr int pause_milliseconds = 10;
    for (int waited = 0; fleet.ok() && waited < database::patience_milliseconds; waited += pause_milliseconds) {
        const int code = sqlite3_exec(fleet.handle(), "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
        if (code == SQLITE_OK) {
            return;
        }
        if ((code & 0xFF) != SQLITE_BUSY) {
            break;
        }
        sqlite3_sleep(pause_milliseconds);
    }
    fleet.fail(sqlite3_errmsg(fleet.handle()));
}

bool is_empty(database& fleet) {
    return fleet.number("PRAGMA application_id") == 0 && fleet.number("PRAGMA user_version") == 0 &&
           fleet.number("SELECT count(*) FROM sqlite_schema") == 0;
}

void make_tables(database& fleet) {
    fleet.run(schema);
    fleet.run(("PRAGMA application_id = " + std::to_string(application)).c_str());
    fleet.run(("PRAGMA user_version = " + std::to_string(schema_version)).c_str());
}

void check_schema(database& fleet) {
    const std::int64_t version = fleet.number("PRAGMA user_version");
    if (fleet.number("PRAGMA application_id") != application) {
        fleet.fail("it is the database of another program");
    } else if (version > schema_version) {
        fleet.fail("a later version of this program has made it (schema " + std::to_string(version) +
                   ", this one knows " + std::to_string(schema_version) + ")");
    }
}

constexpr std::string_view unit = "\x1f";  // no text that is clean holds it

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string out;
    for (const std::string_view part : parts) {
        out.append(part).append(unit);
    }
    return out;
}

// Rows that one feed needs again and again are few; beyond, it looks them up.
constexpr std::size_t most_known = 8192;
constexpr std::size_t most_known_bytes = std::size_t{1024} * 1024;

}  // namespace

void prepare_schema(database& fleet, purpose what_for) {
    if (what_for == purpose::to_fill && is_empty(fleet)) {
        write_ahead(fleet);
        fleet.run("BEGIN IMMEDIATE");
        // Who came first has made them.
        if (is_empty(fleet)) {
            make_tables(fleet);
        }
        fleet.run("COMMIT");
    }
    if (what_for == purpose::to_read && is_empty(fleet)) {
        fleet.fail("it is empty; it is filled when reports are given");
        return;
    }
    check_schema(fleet);
}

std::int64_t forget_device(database& fleet, std::int64_t device) {
    fleet.run("BEGIN IMMEDIATE");
    const std::int64_t before = fleet.total_changes();
    statement runs(fleet, "DELETE FROM runs WHERE device = ?");
    runs.bind(device).run();
    const std::int64_t forgotten = fleet.total_changes() - before;
    statement row(fleet, "DELETE FROM devices WHERE id = ?");
    row.bind(device).run();
    fleet.run("COMMIT");
    return forgotten;
}

store::store(database& fleet)
    : fleet_(fleet),
      begin_(fleet, "BEGIN IMMEDIATE"),
      commit_(fleet, "COMMIT"),
      find_device_(fleet, "SELECT id FROM devices WHERE name = ? AND source = ?"),
      insert_device_(fleet, "INSERT INTO devices(name, source) VALUES(?, ?)"),
      find_outcome_(fleet, "SELECT id FROM outcomes WHERE verdict = ? AND cause = ? AND findings = ?"),
      insert_outcome_(fleet, "INSERT INTO outcomes(verdict, cause, findings, first_taken) VALUES(?, ?, ?, ?)"),
      find_facts_(fleet,
                  "SELECT id FROM facts WHERE product = ? AND sku = ? AND bios_version = ? AND os_version = ? AND "
                  "orbis_version = ? AND firmware_version = ? AND driver_version = ? AND feature_state = ? AND "
                  "seal_state = ? AND tool_version = ? AND mode = ?"),
      insert_facts_(fleet,
                    "INSERT INTO facts(product, sku, bios_version, os_version, orbis_version, firmware_version, "
                    "driver_version, feature_state, seal_state, tool_version, mode) "
                    "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
      find_digest_(fleet, "SELECT id FROM digests WHERE value = ?"),
      insert_digest_(fleet, "INSERT INTO digests(value) VALUES(?)"),
      insert_run_(
          fleet,
          "INSERT INTO runs(identity, device, evidence, hour, seen, started, taken, microseconds, exit_code, outcome, "
          "facts, host, serial, key_name, inputs, pcrs, pmf_expires, certificate_expires) "
          "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT(identity) DO NOTHING") {}

void store::begin() {
    begin_.run();
}

void store::commit() {
    commit_.run();
}

// Both statements are bound.
std::int64_t store::number_of(statement& find, statement& insert) {
    const bool there = find.step();
    std::int64_t number = there ? find.number(0) : 0;
    find.reset();
    if (!there) {
        insert.run();
        number = sqlite3_last_insert_rowid(fleet_.handle());
    }
    insert.reset();
    return number;
}

std::int64_t store::remember(known_rows& known, const std::string& key, std::int64_t number) {
    if (known.numbers.size() >= most_known || known.bytes + key.size() > most_known_bytes) {
        known = {};
    }
    known.numbers.emplace(key, number);
    known.bytes += key.size();
    return number;
}

std::int64_t store::device_of(const fleet_report& report) {
    find_device_.bind(report.device).bind(report.source);
    insert_device_.bind(report.device).bind(report.source);
    return number_of(find_device_, insert_device_);
}

std::int64_t store::outcome_of(const run_outcome& outcome, std::int64_t taken) {
    const std::string key = joined({outcome.verdict, outcome.cause, outcome.findings});
    if (const auto known = outcomes_.numbers.find(key); known != outcomes_.numbers.end()) {
        return known->second;
    }
    find_outcome_.bind(outcome.verdict).bind(outcome.cause).bind(outcome.findings);
    insert_outcome_.bind(outcome.verdict).bind(outcome.cause).bind(outcome.findings).bind(taken);
    return remember(outcomes_, key, number_of(find_outcome_, insert_outcome_));
}

std::int64_t store::facts_of(const platform_facts& facts) {
    std::string key;
    for (const auto& [member, name] : fact_members) {
        key.append(facts.*member).append(unit);
    }
    if (const auto known = facts_.numbers.find(key); known != facts_.numbers.end()) {
        return known->second;
    }
    for (const auto& [member, name] : fact_members) {
        find_facts_.bind(facts.*member);
        insert_facts_.bind(facts.*member);
    }
    return remember(facts_, key, number_of(find_facts_, insert_facts_));
}

std::int64_t store::digest_of(const sha256_value& digest) {
    const std::string_view key(reinterpret_cast<const char*>(digest.data()), digest.size());
    if (const auto known = digests_.numbers.find(key); known != digests_.numbers.end()) {
        return known->second;
    }
    find_digest_.bind(byte_view(digest));
    insert_digest_.bind(byte_view(digest));
    return remember(digests_, std::string(key), number_of(find_digest_, insert_digest_));
}

// JSON objects whose values are rows of `digests`.
std::string store::pcrs_of(const fleet_report& report) {
    std::string out = "{";
    for (std::size_t pcr = 0; pcr < report.pcrs.size(); ++pcr) {
        if (report.pcrs[pcr]) {
            out += (out.size() > 1 ? ",\"" : "\"") + std::to_string(pcr) +
                   "\":" + std::to_string(digest_of(*report.pcrs[pcr]));
        }
    }
    return out + "}";
}

std::string store::inputs_of(const fleet_report& report) {
    std::string out = "{";
    for (const auto& [what, digest] : report.inputs) {
        out += (out.size() > 1 ? ",\"" : "\"") + what + "\":" + std::to_string(digest_of(digest));
    }
    return out + "}";
}

// Runs of one device are in the order of the hours in which they were taken in, and of one hour in that of their
// starts.
bool store::add(const fleet_report& report, std::int64_t taken) {
    const std::string inputs = inputs_of(report);
    const std::string pcrs = pcrs_of(report);
    const std::int64_t device = device_of(report);
    constexpr std::int64_t seconds_of_an_hour = std::int64_t{60} * 60;
    // A clock that is ahead does not make a report the latest for ever.
    const std::int64_t seen = std::min(report.started, taken);
    insert_run_.bind(byte_view(report.identity)).bind(device).bind(static_cast<std::int64_t>(report.evidence));
    insert_run_.bind(taken / seconds_of_an_hour)
        .bind(seen)
        .bind(report.started)
        .bind(taken)
        .bind(report.microseconds)
        .bind(report.exit_code);
    insert_run_.bind(outcome_of(report.outcome, taken)).bind(facts_of(report.facts));
    insert_run_.bind(report.host).bind(report.serial).bind(report.key_name).bind(inputs).bind(pcrs);
    for (const auto& expires : {report.pmf_expires, report.certificate_expires}) {
        if (expires) {
            insert_run_.bind(*expires);
        } else {
            insert_run_.bind_null();
        }
    }
    const std::int64_t before = fleet_.total_changes();
    insert_run_.run();
    return fleet_.total_changes() > before;
}

}  // namespace vellum::fleet
