// Reports into rows, rows into an overview: through the public functions, on databases in memory and on files.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <nlohmann/json.hpp>

#include <fstream>
#include <initializer_list>
#include <iterator>

#include "report/fleet/device_runs.h"
#include "report/fleet/fleet_forms.h"
#include "report/fleet/overview.h"
#include "report/fleet/report_reading.h"
#include "report/fleet/store.h"
#include "tests/support/temp_dir.h"

namespace vellum::fleet {
namespace {

using json = nlohmann::json;

constexpr std::int64_t noon = 1'772'452'800;  // 2026-03-02 12:00:00 UTC
constexpr std::int64_t hour = 60 * 60;
constexpr std::int64_t day = 24 * hour;
const std::string some_digest(64, 'a');

json passing_report() {
    return {
        {"schema", "vellum-report run"},
        {"schema_version", 1},
        {"tool_version", "1.0"},
        {"run",
         {{"mode", "validate"},
          {"host", "h1"},
          {"recorded_device", nullptr},
          {"started", "2026-03-02T10:00:00Z"},
          {"microseconds", 20}}},
        {"verdict", "passed"},
        {"exit_code", 0},
        {"cause", nullptr},
        {"device",
         {{"id", "D1"}, {"id_source", "UUID"}, {"serial", "S1"}, {"bios_version", "B1"}, {"os_version", "10.0.1"}}},
        {"stages",
         {{{"id", "device-id"}, {"state", "passed"}, {"findings", {{{"id", "device-id-compared"}}}}},
          {{"id", "pmf-trust"}, {"state", "passed"}, {"findings", json::array()}}}},
        {"other_findings", json::array()},
        {"cautions", json::array()},
        {"pcrs", {{{"pcr", 4}, {"tpm", some_digest}}, {{"pcr", 5}, {"tpm", nullptr}}}},
        {"pmf", {{"expires", "2026-04-01T00:00:00Z"}, {"signers", {{{"not_after", "2026-03-20T00:00:00Z"}}}}}},
        {"inputs", {{{"what", "pmf"}, {"sha256", some_digest}}}},
        {"evidence", nullptr}};
}

struct change {
    const char* where;  // a JSON pointer
    json value;
};

std::string report_with(std::initializer_list<change> changes) {
    json out = passing_report();
    for (const change& each : changes) {
        out[json::json_pointer(each.where)] = each.value;
    }
    return out.dump();
}

// Of a report that fails for another boot loader.
std::string failing_with(std::initializer_list<change> changes) {
    json out = json::parse(report_with(changes));
    out["verdict"] = "failed";
    out["exit_code"] = 5;
    out["cause"] = {{"id", "pcr-differs"}};
    out["stages"][1] = {{"id", "pcrs-match-pmf"},
                        {"state", "failed"},
                        {"findings", {{{"id", "pcr-differs"}, {"fields", {{"pcr", "4"}}}}}}};
    return out.dump();
}

const change accepted = {"/evidence", {{"accepted", true}, {"key_name", "000b01"}, {"findings", json::array()}}};
change started(const char* time) {
    return {"/run/started", time};
}

// Of a report whose evidence the verifier refused.
std::string refusing_with(std::initializer_list<change> changes) {
    json out = json::parse(report_with(changes));
    out.update({{"verdict", "refused"}, {"exit_code", 6}, {"stages", json::array()}, {"cautions", json::array()}});
    out["evidence"] = {{"accepted", false}, {"device_id", out["device"]["id"]}, {"device_id_source", "UUID"}};
    out["device"]["id"] = nullptr;
    return out.dump();
}

fleet_report read_whole(const std::string& report) {
    std::string text = report;
    fleet_report out;
    std::string why;
    EXPECT_TRUE(read_report(text, out, why)) << why;
    return out;
}

TEST(ReportReading, KeepsWhatCounts) {
    const fleet_report report = read_whole(failing_with({accepted}));
    EXPECT_EQ(report.device, "D1");
    EXPECT_EQ(report.started, noon - 2 * hour);
    EXPECT_EQ(report.evidence, evidence_state::accepted);
    EXPECT_EQ(report.outcome.findings, "pcr-differs/4");  // that of a passed stage speaks against nobody
    EXPECT_EQ(report.outcome.cause, "pcr-differs");
    EXPECT_EQ(report.facts.bios_version, "B1");
    EXPECT_EQ(report.pcrs[4].value().front(), 0xAA);
    EXPECT_FALSE(report.pcrs[5]);
    EXPECT_LT(report.certificate_expires.value(), report.pmf_expires.value());
    EXPECT_EQ(read_whole(refusing_with({})).evidence, evidence_state::refused);
}

struct naming_row {
    const char* name;
    std::initializer_list<change> changes;
    const char* device;
    const char* source;
};

// A host that judged a recording is not the device.
TEST(ReportReading, NamesTheDevice) {
    const naming_row rows[] = {
        {"Device ID", {{"/run/recorded_device", "rec"}}, "D1", "UUID"},
        {"recording", {{"/device/id", nullptr}, {"/run/recorded_device", "rec"}}, "rec", "recording"},
        {"host", {{"/device/id", nullptr}}, "h1", "host"},
        {"refused evidence",
         {{"/device/id", nullptr},
          {"/verdict", "refused"},
          {"/evidence", {{"accepted", false}, {"device_id", "D7"}, {"device_id_source", "SERIAL_NUMBER"}}}},
         "D7",
         "SERIAL_NUMBER"},
        {"controls", {{"/device/id", "a\x1b[2JbBYTE"}}, "a?[2Jb?", "UUID"},
    };
    for (const naming_row& row : rows) {
        json report = passing_report();
        for (const change& each : row.changes) {
            report[json::json_pointer(each.where)] = each.value;
        }
        std::string text = report.dump();
        if (const std::size_t at = text.find("BYTE"); at != std::string::npos) {
            text.replace(at, 4, "\xff");  // which is no UTF-8
        }
        fleet_report out;
        std::string why;
        ASSERT_TRUE(read_report(text, out, why)) << row.name << why;
        EXPECT_EQ(out.device, row.device) << row.name;
        EXPECT_EQ(out.source, row.source) << row.name;
    }
}

struct refused_row {
    const char* why;
    std::string text;
};

std::string repeated(const char* part, std::size_t times) {
    std::string out;
    for (std::size_t i = 0; i < times; ++i) {
        out += part;
    }
    return out;
}

json many_findings(std::size_t count) {
    json out = json::array();
    for (std::size_t i = 0; i < count; ++i) {
        out.push_back({{"id", "f-" + std::to_string(i)}});
    }
    return out;
}

TEST(ReportReading, RefusesByReason) {
    const std::string whole = report_with({});
    const refused_row rows[] = {
        {"it is no JSON", ""},
        {"it is no JSON", "{\"a\":[1,2"},
        {"it is no JSON", whole.substr(0, whole.size() - 1)},
        {"it is no JSON", whole + whole},
        {"a zero byte", whole + std::string(1, '\0') + "x"},
        {"content has another type", "[]"},
        {"content has another type", "7"},
        {"no report of a run", "{}"},
        {"no report of a run", report_with({{"/schema", "other"}})},
        {"schema_version", report_with({{"/schema_version", 2}})},
        {"schema_version has another type", report_with({{"/schema_version", "1"}})},
        {"schema_version has another type", report_with({{"/schema_version", 1.5}})},
        {"verdict has another type", report_with({{"/verdict", 1}})},
        {"no verdict", report_with({{"/verdict", "fine"}})},
        {"accepted has another type", report_with({{"/evidence", {{"accepted", "true"}}}})},
        {"evidence has another type", report_with({{"/evidence", json::array({true})}})},
        {"stages has another type", report_with({{"/stages", {{"id", "x"}}}})},
        {"when its run started", report_with({{"/run/started", nullptr}})},
        {"when its run started", report_with({started("2026-13-02T10:00:00Z")})},
        {"when its run started", report_with({started("2026-03-02 10:00:00Z")})},
        {"out of range", report_with({{"/exit_code", 256}})},
        {"out of range", report_with({{"/run/microseconds", -1}})},
        {"microseconds has another type", report_with({{"/run/microseconds", 18446744073709551615U}})},
        {"neither a Device ID nor a host", report_with({{"/device/id", nullptr}, {"/run/host", nullptr}})},
        {"no source", report_with({{"/device/id_source", "host"}})},
        {"id is too long", report_with({{"/device/id", std::string(longest_text + 1, 'x')}})},
        {"no identifier", report_with({{"/cautions", {{{"id", "<b>"}}}}})},
        {"no identifier", report_with({{"/cautions", {{{"id", "pcr-differs/4/<b>"}}}}})},
        {"cause has no identifier", report_with({{"/cause", {{"id", "a b"}}}})},
        {"too many findings", report_with({{"/other_findings", many_findings(most_findings + 1)}})},
        {"an input of it has no digest", report_with({{"/inputs/0/sha256", "zz"}})},
        {"an input of it has no name", report_with({{"/inputs/0/what", "p\"f"}})},
        {"a list of it is too long", report_with({{"/inputs", json::array_t(17, passing_report()["inputs"][0])}})},
        {"evidence stands there twice", R"({"evidence":{"accepted":true},"evidence":null})"},
        {"verdict stands there twice", R"({"verdict":"failed","verdict":"passed"})"},
        {"evidence has another type", report_with({{"/evidence", true}})},
        {"stages has another type", report_with({{"/stages", nullptr}})},
        {"content has another type", report_with({{"/stages/0", "passed"}})},
        {"verdict has another type", report_with({{"/verdict", nullptr}})},
        {"whether its evidence was accepted", report_with({{"/evidence", json::object()}})},
        {"contradict each other", report_with({{"/evidence", {{"accepted", false}}}})},
        {"contradict each other", report_with({accepted, {"/verdict", "refused"}, {"/exit_code", 6}})},
        {"contradict each other", report_with({{"/verdict", "refused"}, {"/exit_code", 6}})},
        {"contradicts its exit code", report_with({{"/exit_code", 5}})},
        {"contradicts its exit code or a stage", report_with({{"/stages/0/state", "failed"}})},
        {"no state that is known", report_with({{"/stages/0/state", "fine"}})},
        {"a PCR of it has no value", report_with({{"/pcrs/0/pcr", 24}})},
        {"expiry is no time", report_with({{"/pmf/expires", "soon"}})},
        {"end of a certificate", report_with({{"/pmf/signers/0/not_after", "soon"}})},
        {"too deep", repeated("{\"events\":", 100)},
        {"too deep", "{\"a\":" + repeated("[", 1'000'000)},
        {"too large", std::string(largest_report + 1, ' ')},
    };
    for (const refused_row& row : rows) {
        std::string text = row.text;
        fleet_report out;
        std::string why;
        EXPECT_FALSE(read_report(text, out, why)) << row.why << row.text.substr(0, 200);
        EXPECT_NE(why.find(row.why), std::string::npos) << "expected " << row.why << ", got " << why;
    }
}

// A database and what is put into it.
class FleetTest : public testing::Test {
  protected:
    FleetTest() { prepare_schema(fleet_, purpose::to_fill); }

    bool add(const std::string& report, std::int64_t taken = noon) {
        store into(fleet_);
        into.begin();
        const bool is_new = into.add(read_whole(report), taken);
        into.commit();
        EXPECT_TRUE(fleet_.ok()) << fleet_.problem();
        return is_new;
    }

    overview look(std::int64_t now = noon) {
        fleet_.run("DROP TABLE IF EXISTS temp.shown");
        fleet_.run("DROP TABLE IF EXISTS temp.groups");
        overview out = look_over(fleet_, {now, 7, 30});
        EXPECT_TRUE(fleet_.ok()) << fleet_.problem();
        return out;
    }

    database fleet_ = database(":memory:", database::opening::created_when_missing);
};

TEST_F(FleetTest, TakesEachReportOnce) {
    EXPECT_TRUE(add(report_with({})));
    EXPECT_FALSE(add(report_with({}), noon + day));
    EXPECT_FALSE(add(json::parse(report_with({})).dump(4)));  // however it is laid out
    // Whatever is kept makes it another run, so that none can stand in the way of another.
    const change others[] = {{"/run/microseconds", 21},
                             started("2026-03-02T10:00:01Z"),
                             {"/device/id", "D2"},
                             {"/pcrs/0/tpm", std::string(64, 'b')},
                             {"/inputs/0/what", "event_log"},
                             accepted,
                             {"/device/bios_version", "B2"},
                             {"/pmf/expires", nullptr},
                             {"/pmf/signers/0/not_after", nullptr}};
    for (const change& other : others) {
        EXPECT_TRUE(add(report_with({other}))) << other.where;
    }
    EXPECT_EQ(look().runs, 10);
    EXPECT_EQ(look().devices, 2);
}

// The heart of the matter: what nobody proves neither hides nor replaces what was proved.
TEST_F(FleetTest, ShowsTheVerifiedRun) {
    add(failing_with({accepted, started("2026-03-01T10:00:00Z")}));
    add(report_with({started("2026-03-02T10:00:00Z")}));
    overview seen = look();
    EXPECT_EQ(seen.verified_devices, 1);
    ASSERT_EQ(seen.groups.rows.size(), 1U);
    EXPECT_EQ(seen.groups.rows[0].outcome.verdict, "failed");
    ASSERT_EQ(seen.unproved.rows.size(), 1U);
    EXPECT_EQ(seen.unproved.rows[0].said.verdict, "passed");
    EXPECT_NE(html_form(seen).find("said something else later, without proof"), std::string::npos);
    add(report_with({accepted, started("2026-03-02T11:30:00Z")}));
    seen = look();
    EXPECT_EQ(seen.unproved.all, 0);
    EXPECT_EQ(seen.groups.rows[0].outcome.verdict, "passed");
    ASSERT_EQ(seen.changes.rows.size(), 1U);
    EXPECT_EQ(seen.changes.rows[0].before.cause, "pcr-differs");
}

struct said_once {
    std::string (*report)(std::initializer_list<change>);
    bool is_proved;
    const char* started;
    std::int64_t taken;
};

struct standing_row {
    const char* name;
    std::vector<said_once> said;
    const char* shown;
    int passed;
    int refused;
    int unproved;
    int clocks;
};

// What was refused or failed stays in sight, whatever anybody says after it and whatever a clock says.
TEST_F(FleetTest, LetsNothingBeTalkedAway) {
    constexpr const char* early = "2026-03-02T09:00:00Z";
    constexpr const char* late = "2026-03-02T11:00:00Z";
    constexpr const char* last = "2026-03-02T11:00:01Z";
    constexpr const char* set_back = "2020-01-01T00:00:00Z";
    const said_once proof = {report_with, true, early, noon};
    const said_once refusal = {refusing_with, false, late, noon};
    const said_once praise = {report_with, false, last, noon};
    const said_once blame = {failing_with, false, late, noon};
    const standing_row rows[] = {
        {"refused after a proof", {proof, refusal}, "passed", 0, 1, 0, 0},
        {"and talked away", {proof, refusal, praise}, "passed", 0, 1, 0, 0},
        {"proved anew", {proof, refusal, {report_with, true, last, noon + 1}}, "passed", 1, 0, 0, 0},
        {"refused without a proof",
         {refusal, praise, {report_with, false, late, noon + 2 * hour}},
         "refused",
         0,
         1,
         0,
         0},
        {"failed and talked away", {proof, blame, praise}, "passed", 1, 0, 1, 0},
        {"delivered late", {proof, {failing_with, false, "2026-03-02T08:00:00Z", noon + 1}}, "passed", 1, 0, 1, 0},
        {"proof with a clock set back", {proof, {failing_with, true, set_back, noon + hour}}, "failed", 0, 0, 0, 1},
        {"word with a clock set back", {praise, {failing_with, false, set_back, noon + hour}}, "failed", 0, 0, 0, 1},
        {"set back within the hour", {praise, {failing_with, false, set_back, noon + 1}}, "passed", 1, 0, 0, 1},
    };
    int number = 0;
    for (const standing_row& row : rows) {
        fleet_.run("DELETE FROM runs");
        fleet_.run("DELETE FROM devices");
        for (const said_once& each : row.said) {
            const change key = each.is_proved ? accepted : change{"/evidence", nullptr};
            add(each.report({started(each.started), key, {"/run/microseconds", ++number}}), each.taken);
        }
        const overview seen = look();
        ASSERT_EQ(seen.groups.rows.size(), 1U) << row.name;
        EXPECT_EQ(seen.groups.rows[0].outcome.verdict, row.shown) << row.name;
        EXPECT_EQ(seen.passed_devices, row.passed) << row.name;
        EXPECT_EQ(seen.refused.all, row.refused) << row.name;
        EXPECT_EQ(seen.unproved.all, row.unproved) << row.name;
        EXPECT_EQ(seen.doubtful_clocks.all, row.clocks) << row.name;
        const std::string refused = "vellum_fleet_refused_devices " + std::to_string(row.refused);
        EXPECT_NE(metrics_form(seen).find(refused), std::string::npos) << row.name;
        EXPECT_EQ(html_form(seen).find("<section id='verdict' class='verdict good") != std::string::npos,
                  row.passed == 1)
            << row.name;
    }
}

// A clock that is years ahead does not stay the latest, nor keep the device seen.
TEST_F(FleetTest, DoubtsTheFuture) {
    add(failing_with({started("2099-01-01T00:00:00Z")}), noon);
    add(report_with({started("2026-03-02T13:00:00Z")}), noon + hour);
    EXPECT_EQ(look().groups.rows[0].outcome.verdict, "passed");
    EXPECT_EQ(look(noon + 9 * day).not_seen.all, 1);
}

TEST_F(FleetTest, CountsTimesAtTheirLimits) {
    add(report_with({started("2026-03-02T10:00:00Z")}));
    const std::int64_t at = noon - 2 * hour;
    EXPECT_EQ(look(at + 7 * day).not_seen.all, 0);
    EXPECT_EQ(look(at + 7 * day + 1).not_seen.all, 1);
    const std::int64_t expires = noon + 17 * day + 12 * hour;  // the certificate's end, 2026-03-20 00:00:00
    EXPECT_EQ(look(expires - 30 * day).expiring.all, 0);
    EXPECT_EQ(look(expires - 30 * day + 1).expiring.all, 1);
    EXPECT_EQ(look(expires).expired, 0);
    EXPECT_EQ(look(expires + 1).expired, 1);
}

TEST_F(FleetTest, GroupsWhatIsEqual) {
    for (int i = 0; i < 40; ++i) {
        add(report_with({{"/device/id", "D" + std::to_string(i)}}));
        add(failing_with({{"/device/id", "F" + std::to_string(i)}, {"/device/bios_version", "B2"}}));
    }
    add(failing_with(
        {{"/device/id", "F0"}, {"/cautions", {{{"id", "seal-record-in-future"}}}}, started("2026-03-02T11:00:00Z")}));
    add(report_with({{"/device/id", "D99"}, {"/device/bios_version", "odd"}}));
    const overview seen = look();
    ASSERT_EQ(seen.groups.rows.size(), 3U);
    // What passed comes last, however many devices that are.
    EXPECT_EQ(seen.groups.rows[0].devices, 39);
    EXPECT_EQ(seen.groups.rows[0].examples.size(), 3U);
    EXPECT_EQ(seen.groups.rows[2].devices, 41);
    EXPECT_NE(metrics_form(seen).find("cause_devices{cause=\"pcr-differs\"} 40\n"), std::string::npos);
    ASSERT_EQ(seen.outliers.rows.size(), 1U);
    EXPECT_EQ(seen.outliers.rows[0].examples, std::vector<std::string>{"F0"});
    EXPECT_EQ(seen.changed_devices, 1);
    const value_row odd = seen.versions.at(0).values.rows.at(2);
    EXPECT_EQ(odd.value, "odd");
    EXPECT_EQ(odd.examples, std::vector<std::string>{"D99"});
    const json form = json::parse(json_form(seen));
    EXPECT_EQ(form["groups"]["rows"][0]["findings"][0]["pcr"].get<int>(), 4);
    EXPECT_EQ(form["groups"]["rows"][0]["cause_class"].get<std::string>(), "change");
}

TEST_F(FleetTest, TellsWhatChanged) {
    add(report_with({}));
    add(failing_with({accepted,
                      started("2026-03-02T11:00:00Z"),
                      {"/pcrs/0/tpm", std::string(64, 'b')},
                      {"/device/bios_version", "B2"},
                      {"/inputs/0/sha256", std::string(64, 'c')},
                      {"/pmf/expires", "2027-01-01T00:00:00Z"}}));
    std::string why;
    const auto device = history_of(fleet_, "UUID:D1", why);
    ASSERT_TRUE(device) << why;
    ASSERT_EQ(device->runs.size(), 2U);
    const std::string text = drift_form(device->runs[1], device->runs[0]);
    for (const char* part : {"passed, unverified", "failed, verified", "pcr-differs/4", "PCR 4:", "bbbbbb",
                             "bios_version:", "B2", "input pmf:", "cccccc", "PMF expires:", "2027-01-01", "000b01"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
    EXPECT_EQ(text.find("\nos_version"), std::string::npos);
    EXPECT_TRUE(differences_between(device->runs[0], device->runs[0]).empty());
    add(report_with({{"/device/id_source", "SERIAL_NUMBER"}}));
    EXPECT_FALSE(history_of(fleet_, "D1", why));
    EXPECT_NE(why.find("several"), std::string::npos);
    EXPECT_FALSE(history_of(fleet_, "D' OR 1=1 --", why));
    add(report_with({{"/device/id", nullptr}, {"/run/recorded_device", "UUID:D1"}}));
    EXPECT_TRUE(history_of(fleet_, "UUID:D1", why)) << why;
    EXPECT_EQ(history_of(fleet_, "UUID:D1", why)->label, "D1");
    EXPECT_EQ(history_of(fleet_, "D1 (SERIAL_NUMBER)", why)->label, "D1 (SERIAL_NUMBER)") << "as it is shown";
}

// However many reports come without a proof.
TEST_F(FleetTest, HeadsADeviceByItsProof) {
    add(failing_with({accepted}));
    for (int i = 0; i < 600; ++i) {
        add(report_with({{"/run/microseconds", i}, started("2026-03-02T11:00:00Z")}), noon + day);
    }
    std::string why;
    const auto device = history_of(fleet_, "D1", why);
    ASSERT_TRUE(device) << why;
    EXPECT_EQ(device->shown.outcome.verdict, "failed");
    EXPECT_EQ(device->all, 601);
    EXPECT_LE(device->runs.size(), most_runs);
    EXPECT_EQ(device->runs.back().number, device->shown.number);
    EXPECT_FALSE(device->before);
    EXPECT_EQ(run_numbered(fleet_, *device, 2).value().outcome.verdict, "passed");
    add(report_with({{"/device/id", "D2"}}));
    EXPECT_FALSE(run_numbered(fleet_, *device, 602));
    EXPECT_NE(html_form(*device).find("Shown by run 1"), std::string::npos);
}

// Texts of a device become neither markup, nor a formula, nor a label of their own.
TEST_F(FleetTest, EscapesWhatDevicesSay) {
    const std::string names[] = {"=cmd|'/c calc'!A1",         "+1",          "-1",   "@SUM(A1)", "a,b\"c",
                                 "<script>alert(1)</script>", "\" onload=x", "x\n=2"};
    for (const std::string& name : names) {
        add(failing_with({{"/device/id", name}, {"/device/product", name}, {"/device/serial", name}}));
    }
    const overview seen = look();
    const std::string csv = csv_form(fleet_);
    for (const char* part : {"\n'=cmd", "\n'+1,", "\n'-1,", "\n'@SUM", "\n\"a,b\"\"c\","}) {
        EXPECT_NE(csv.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(csv.find("\n="), std::string::npos);
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 9);
    std::string why;
    const std::string pages[] = {html_form(seen), html_form(*history_of(fleet_, names[5], why))};
    for (const std::string& page : pages) {
        EXPECT_EQ(page.find("<script"), std::string::npos);
        EXPECT_NE(page.find("&lt;script&gt;"), std::string::npos);
        EXPECT_EQ(page.find("\" onload"), std::string::npos);
    }
}

TEST_F(FleetTest, SaysLittleOfNothing) {
    const overview seen = look();
    EXPECT_EQ(summary_form(seen), "0 devices, 0 runs\n");
    EXPECT_EQ(json::parse(json_form(seen))["groups"]["all"].get<int>(), 0);
    EXPECT_NE(html_form(seen).find("0 of 0 devices passed"), std::string::npos);
}

std::string content_of(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// What is no database of a fleet is refused, and is what it was.
TEST(FleetSchema, RefusesOthers) {
    const struct {
        const char* name;
        const char* sql;
        const char* why;
    } rows[] = {
        {"of another program", "CREATE TABLE notes(text); INSERT INTO notes VALUES('mine')", "another program"},
        {"marked by another program", "PRAGMA application_id = 7", "another program"},
        {"with a version alone", "PRAGMA user_version = 1; CREATE TABLE runs(id)", "another program"},
        {"of a later version", "PRAGMA application_id = 1447841094; PRAGMA user_version = 2; CREATE TABLE runs(id)",
         "a later version"},
    };
    const test::temp_dir folder;
    for (const auto& row : rows) {
        const std::string path = folder.file(std::string("db ") + row.name);
        {
            database other(path, database::opening::created_when_missing);
            other.run(row.sql);
            ASSERT_TRUE(other.ok()) << other.problem();
        }
        const std::string before = content_of(path);
        for (const purpose what_for : {purpose::to_fill, purpose::to_read}) {
            database fleet(path, database::opening::existing);
            prepare_schema(fleet, what_for);
            EXPECT_NE(fleet.problem().find(row.why), std::string::npos) << row.name << ": " << fleet.problem();
        }
        EXPECT_EQ(content_of(path), before) << row.name;
    }
}

TEST(FleetSchema, IsReadAgain) {
    const test::temp_dir folder;
    const std::string path = folder.file("fleet.db");
    {
        database fleet(path, database::opening::created_when_missing);
        prepare_schema(fleet, purpose::to_fill);
        store into(fleet);
        into.begin();
        EXPECT_TRUE(into.add(read_whole(report_with({})), noon));
        into.commit();
        into.begin();  // what is not committed is not there
        EXPECT_TRUE(into.add(read_whole(report_with({{"/device/id", "D2"}})), noon));
    }
    database fleet(path, database::opening::existing);
    prepare_schema(fleet, purpose::to_read);
    EXPECT_EQ(look_over(fleet, {}).runs, 1);
    EXPECT_TRUE(fleet.ok()) << fleet.problem();
}

}  // namespace
}  // namespace vellum::fleet
