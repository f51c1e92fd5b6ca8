#include "report/fleet/overview.h"

namespace vellum::fleet {
namespace {

constexpr std::int64_t day = std::int64_t{24} * 60 * 60;
constexpr std::size_t most_examples = 3;

// A start that is so far from the taking in makes somebody look at the device's clock.
constexpr std::int64_t far_from_taking = day;

// The run by which each device is shown, the one before it, and what came since: a refusal of evidence, the worst
// that a report without evidence says, a start that is far from its taking in. Since: by either order, so that
// neither a clock nor a late delivery hides it.
std::string showing_devices() {
    return R"(
CREATE TEMP TABLE shown AS
WITH picked AS (SELECT id AS device, )" +
           shown_run_of("devices.id") + R"( AS run FROM devices)
SELECT r.device, r.id AS run, r.evidence = 1 AS verified, r.seen, r.outcome, r.facts,
    CASE WHEN r.pmf_expires IS NULL THEN r.certificate_expires WHEN r.certificate_expires IS NULL THEN r.pmf_expires
        ELSE min(r.pmf_expires, r.certificate_expires) END AS expires,
    (SELECT b.outcome FROM runs b WHERE b.device = r.device AND b.evidence = r.evidence AND
        (b.hour, b.seen, b.id) < (r.hour, r.seen, r.id) ORDER BY b.hour DESC, b.seen DESC, b.id DESC LIMIT 1) AS before,
    (SELECT u.id FROM runs u WHERE u.device = r.device AND u.evidence = 2 AND (u.taken > r.taken OR u.seen >= r.seen)
        ORDER BY u.hour DESC, u.seen DESC, u.id DESC LIMIT 1) AS refused,
    CASE WHEN r.evidence = 1 THEN (SELECT u.id FROM runs u JOIN outcomes o ON o.id = u.outcome
        WHERE u.device = r.device AND u.evidence = 0 AND (u.taken > r.taken OR u.seen >= r.seen) AND
            u.outcome <> r.outcome
        ORDER BY o.verdict = 'passed', u.hour DESC, u.seen DESC, u.id DESC LIMIT 1) END AS unproved,
    (SELECT u.id FROM runs u WHERE u.device = r.device AND u.evidence IN (0, 1, 2) AND u.hour >= r.hour AND
        abs(u.started - u.taken) > )" +
           std::to_string(far_from_taking) + R"( ORDER BY u.id DESC LIMIT 1) AS clock
FROM picked JOIN runs r ON r.id = picked.run;
CREATE INDEX temp.shown_outcome ON shown(outcome);
CREATE INDEX temp.shown_facts ON shown(facts);
CREATE TEMP TABLE groups AS
SELECT outcome, count(*) AS devices, sum(verified) AS verified, min(seen) AS first_seen, max(seen) AS last_seen
FROM shown GROUP BY outcome;
)";
}

class looking {
  public:
    looking(database& fleet, const overview_settings& settings) : fleet_(fleet) { out_.settings = settings; }

    overview look();

  private:
    void count();
    void count_verdicts();
    void count_causes();
    void list_groups(const char* which, bounded_rows<group_row>& out);
    void list_changes();
    void list_said(const std::string& column, bounded_rows<said_row>& out);
    void list_clocks();
    void list_not_seen();
    void list_expiring();
    void list_versions();
    void list_values(const char* column, bounded_rows<value_row>& out);
    std::vector<std::string> examples(statement& of);
    run_outcome outcome(std::int64_t number);
    std::int64_t count_where(const std::string& condition);
    void list_times(const char* sql, std::int64_t limit, bounded_rows<device_time_row>& out);

    database& fleet_;
    overview out_;
};

overview looking::look() {
    fleet_.run("BEGIN");  // one state of the database, whoever writes meanwhile
    fleet_.run(showing_devices().c_str());
    count();
    count_verdicts();
    count_causes();
    list_groups(
        "SELECT outcome, devices, verified, first_seen, last_seen FROM groups g JOIN outcomes o ON o.id = g.outcome "
        "ORDER BY o.verdict IN ('passed', 'unsealed'), devices DESC, outcome LIMIT ?",
        out_.groups);
    out_.groups.all = fleet_.number("SELECT count(*) FROM groups");
    list_changes();
    list_said("refused", out_.refused);
    list_said("unproved", out_.unproved);
    list_clocks();
    list_not_seen();
    list_expiring();
    if (out_.devices >= many_devices) {
        const std::string few = " FROM groups WHERE devices <= " + std::to_string(few_devices);
        list_groups(
            ("SELECT outcome, devices, verified, first_seen, last_seen" + few + " ORDER BY devices, outcome LIMIT ?")
                .c_str(),
            out_.outliers);
        out_.outliers.all = fleet_.number(("SELECT count(*)" + few).c_str());
    }
    list_versions();
    fleet_.run("COMMIT");
    return std::move(out_);
}

void looking::count() {
    out_.devices = fleet_.number("SELECT count(*) FROM shown");
    out_.verified_devices = fleet_.number("SELECT count(*) FROM shown WHERE verified = 1");
    out_.passed_devices = fleet_.number(
        "SELECT count(*) FROM shown s JOIN outcomes o ON o.id = s.outcome "
        "WHERE o.verdict = 'passed' AND s.refused IS NULL");
    out_.runs = fleet_.number("SELECT count(*) FROM runs");
    statement last(fleet_, "SELECT taken FROM runs ORDER BY id DESC LIMIT 1");
    if (last.step()) {
        out_.last_taken = last.number(0);
    }
}

std::int64_t looking::count_where(const std::string& condition) {
    return fleet_.number(("SELECT count(*) FROM shown WHERE " + condition).c_str());
}

void looking::count_verdicts() {
    statement rows(fleet_,
                   "SELECT o.verdict, sum(g.verified), sum(g.devices - g.verified) FROM groups g JOIN outcomes o "
                   "ON o.id = g.outcome GROUP BY o.verdict ORDER BY sum(g.devices) DESC, o.verdict");
    while (rows.step()) {
        out_.verdicts.push_back({rows.text(0), rows.number(1), rows.number(2)});
    }
}

void looking::count_causes() {
    statement rows(fleet_,
                   "SELECT o.cause, sum(g.devices) FROM groups g JOIN outcomes o ON o.id = g.outcome "
                   "WHERE o.cause <> '' GROUP BY o.cause ORDER BY sum(g.devices) DESC, o.cause LIMIT ?");
    rows.bind(static_cast<std::int64_t>(most_rows));
    while (rows.step()) {
        out_.causes.emplace_back(rows.text(0), rows.number(1));
    }
}

run_outcome looking::outcome(std::int64_t number) {
    statement row(fleet_, "SELECT verdict, cause, findings FROM outcomes WHERE id = ?");
    row.bind(number);
    return row.step() ? run_outcome{row.text(0), row.text(1), row.text(2)} : run_outcome{};
}

// A statement whose rows are a name and a source.
std::vector<std::string> looking::examples(statement& of) {
    std::vector<std::string> out;
    while (out.size() < most_examples && of.step()) {
        out.push_back(device_label(of.text(0), of.text(1)));
    }
    of.reset();
    return out;
}

void looking::list_groups(const char* which, bounded_rows<group_row>& out) {
    statement rows(fleet_, which);
    statement of(
        fleet_, "SELECT d.name, d.source FROM shown s JOIN devices d ON d.id = s.device WHERE s.outcome = ? LIMIT 3");
    statement first(fleet_, "SELECT first_taken FROM outcomes WHERE id = ?");
    rows.bind(static_cast<std::int64_t>(most_rows));
    while (rows.step()) {
        const std::int64_t number = rows.number(0);
        first.bind(number);
        const std::int64_t first_taken = first.step() ? first.number(0) : 0;
        first.reset();
        out.rows.push_back({outcome(number), rows.number(1), rows.number(2), first_taken, rows.number(3),
                            rows.number(4), examples(of.bind(number))});
    }
}

void looking::list_changes() {
    statement rows(fleet_,
                   "SELECT before, outcome, count(*) FROM shown WHERE before IS NOT NULL AND before <> outcome "
                   "GROUP BY before, outcome ORDER BY count(*) DESC, before, outcome LIMIT ?");
    statement of(fleet_,
                 "SELECT d.name, d.source FROM shown s JOIN devices d ON d.id = s.device "
                 "WHERE s.outcome = ? AND s.before = ? LIMIT 3");
    rows.bind(static_cast<std::int64_t>(most_rows));
    while (rows.step()) {
        of.bind(rows.number(1)).bind(rows.number(0));
        out_.changes.rows.push_back({outcome(rows.number(0)), outcome(rows.number(1)), rows.number(2), examples(of)});
    }
    out_.changed_devices = count_where("before IS NOT NULL AND before <> outcome");
    out_.changes.all = fleet_.number(
        "SELECT count(*) FROM "
        "(SELECT 1 FROM shown WHERE before IS NOT NULL AND before <> outcome GROUP BY before, outcome)");
}

// `column`: of the run that said something.
void looking::list_said(const std::string& column, bounded_rows<said_row>& out) {
    statement rows(fleet_,
                   ("SELECT d.name, d.source, s.verified, s.outcome, s.seen, u.outcome, u.seen FROM shown s "
                    "JOIN runs u ON u.id = s." +
                    column + " JOIN devices d ON d.id = s.device ORDER BY u.hour DESC, u.seen DESC, s.device LIMIT ?")
                       .c_str());
    rows.bind(static_cast<std::int64_t>(most_rows));
    while (rows.step()) {
        out.rows.push_back({device_label(rows.text(0), rows.text(1)), rows.number(2) != 0, outcome(rows.number(3)),
                            rows.number(4), outcome(rows.number(5)), rows.number(6)});
    }
    out.all = count_where(column + " IS NOT NULL");
}

void looking::list_clocks() {
    list_times(
        "SELECT d.name, d.source, o.verdict, u.evidence = 1, u.taken, u.started FROM shown s "
        "JOIN runs u ON u.id = s.clock JOIN devices d ON d.id = s.device JOIN outcomes o ON o.id = u.outcome "
        "ORDER BY u.id DESC LIMIT ?2",
        0, out_.doubtful_clocks);
    out_.doubtful_clocks.all = count_where("clock IS NOT NULL");
}

// The statement takes a limit, where it wants one, and most_rows; its rows are a device, a verdict, whether it is
// verified and two times.
void looking::list_times(const char* sql, std::int64_t limit, bounded_rows<device_time_row>& out) {
    statement rows(fleet_, sql);
    rows.bind(limit).bind(static_cast<std::int64_t>(most_rows));
    while (rows.step()) {
        out.rows.push_back({device_label(rows.text(0), rows.text(1)), rows.text(2), rows.number(3) != 0,
                            rows.number(4), rows.number(5)});
    }
}

void looking::list_not_seen() {
    const std::int64_t limit = out_.settings.now - out_.settings.not_seen_days * day;
    list_times(
        "SELECT d.name, d.source, o.verdict, s.verified, s.seen, s.seen FROM shown s JOIN devices d ON d.id = s.device "
        "JOIN outcomes o ON o.id = s.outcome WHERE s.seen < ? ORDER BY s.seen, s.device LIMIT ?",
        limit, out_.not_seen);
    out_.not_seen.all = count_where("seen < " + std::to_string(limit));
}

void looking::list_expiring() {
    const std::int64_t limit = out_.settings.now + out_.settings.expiring_days * day;
    list_times(
        "SELECT d.name, d.source, o.verdict, s.verified, s.seen, s.expires FROM shown s "
        "JOIN devices d ON d.id = s.device JOIN outcomes o ON o.id = s.outcome "
        "WHERE s.expires < ? ORDER BY s.expires, s.device LIMIT ?",
        limit, out_.expiring);
    out_.expiring.all = count_where("expires < " + std::to_string(limit));
    out_.expired = count_where("expires < " + std::to_string(out_.settings.now));
}

void looking::list_values(const char* column, bounded_rows<value_row>& out) {
    const std::string name = column;
    const std::string counted = "(SELECT f." + name +
                                " AS value, sum(c.devices) AS devices FROM (SELECT facts, count(*) AS "
                                "devices FROM shown GROUP BY facts) c JOIN facts f ON f.id = c.facts WHERE f." +
                                name + " <> '' GROUP BY f." + name + ")";
    statement rows(fleet_,
                   ("SELECT value, devices FROM " + counted + " ORDER BY devices DESC, value LIMIT ?").c_str());
    statement of(fleet_, ("SELECT d.name, d.source FROM facts f JOIN shown s ON s.facts = f.id JOIN devices d ON "
                          "d.id = s.device WHERE f." +
                          name + " = ? LIMIT 3")
                             .c_str());
    rows.bind(static_cast<std::int64_t>(most_values));
    while (rows.step()) {
        value_row row = {rows.text(0), rows.number(1), {}};
        if (row.devices <= few_devices && out_.devices >= many_devices) {
            row.examples = examples(of.bind(row.value));
        }
        out.rows.push_back(std::move(row));
    }
    out.all = fleet_.number(("SELECT count(*) FROM " + counted).c_str());
}

void looking::list_versions() {
    constexpr const char* columns[] = {"product",          "bios_version",   "os_version", "orbis_version",
                                       "firmware_version", "driver_version", "seal_state", "tool_version"};
    for (const char* const column : columns) {
        version_row row = {column, {}};
        list_values(column, row.values);
        if (!row.values.rows.empty()) {
            out_.versions.push_back(std::move(row));
        }
    }
}

}  // namespace

std::string shown_run_of(const std::string& device) {
    std::string out = "coalesce(";
    for (const evidence_state evidence : {evidence_state::accepted, evidence_state::refused, evidence_state::none}) {
        out += (evidence == evidence_state::accepted ? "" : ", ") +
               ("(SELECT id FROM runs WHERE device = " + device) +
               " AND evidence = " + std::to_string(static_cast<int>(evidence)) +
               " ORDER BY hour DESC, seen DESC, id DESC LIMIT 1)";
    }
    return out + ")";
}

std::string device_label(const std::string& name, const std::string& source) {
    return source == "UUID" ? name : name + " (" + (source.empty() ? "no source" : source) + ")";
}

overview look_over(database& fleet, const overview_settings& settings) {
    return looking(fleet, settings).look();
}

}  // namespace vellum::fleet
