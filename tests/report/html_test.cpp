// The page of a report, by its text: what a browser makes of it is looked at by scripts/check-pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

#include "app/run.h"
#include "lab/device.h"
#include "lab/faults.h"
#include "report/forms.h"
#include "report/html_writer.h"
#include "report/recorder.h"
#include "tests/app/recorded_run.h"
#include "tests/support/temp_dir.h"

namespace vellum::reporting {
namespace {

std::size_t count_of(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

// Takes a page apart as a reader of XML would: it is stricter than HTML asks for.
class page_reader {
  public:
    explicit page_reader(std::string_view page) : rest_(page) {}

    // What is wrong, or nothing.
    std::string problem() {
        while (problem_.empty() && !rest_.empty()) {
            rest_.remove_prefix(std::min(rest_.find('<'), rest_.size()));
            if (!rest_.empty()) {
                read_tag();
            }
        }
        if (problem_.empty() && !open_.empty()) {
            problem_ = open_.back() + " is not closed";
        }
        return problem_;
    }

  private:
    // Up to the ">" that no quotes hold.
    std::string_view take_tag() {
        char quote = 0;
        for (std::size_t i = 1; i < rest_.size(); ++i) {
            const char c = rest_[i];
            if (quote == 0 && (c == '>' || c == '<')) {
                const std::string_view tag = rest_.substr(1, i - 1);
                problem_ = c == '<' ? "\"<\" in " + std::string(tag) : "";
                rest_.remove_prefix(i + 1);
                return tag;
            }
            quote = quote == c ? '\0' : quote == 0 && (c == '"' || c == '\'') ? c : quote;
        }
        problem_ = "a tag does not end";
        return {};
    }

    void read_tag() {
        std::string_view tag = take_tag();
        const std::string name(tag.substr(0, tag.find_first_of(" \n/", 1)));
        if (name.starts_with('!') || name == "meta" || tag.ends_with('/') || !problem_.empty()) {
        } else if (name.starts_with('/')) {
            if (open_.empty() || open_.back() != name.substr(1)) {
                problem_ = name + " closes " + (open_.empty() ? "nothing" : open_.back());
                return;
            }
            open_.pop_back();
        } else {
            open_.push_back(name);
        }
        note_id(tag);
        if (name == "style") {
            rest_.remove_prefix(std::min(rest_.find("</style>"), rest_.size()));
        }
    }

    void note_id(std::string_view tag) {
        const std::size_t at = tag.find(" id='");
        if (at != std::string_view::npos) {
            std::string_view id = tag.substr(at + 5);
            id = id.substr(0, id.find('\''));
            if (!ids_.emplace(id).second) {
                problem_ = "the id " + std::string(id) + " is there twice";
            }
        }
    }

    std::string_view rest_;
    std::vector<std::string> open_;
    std::set<std::string> ids_;
    std::string problem_;
};

std::string problem_of(std::string_view page) {
    return page_reader(page).problem();
}

TEST(HtmlPage, TheReaderOfTheseTestsSeesWhatIsWrong) {
    EXPECT_EQ(problem_of("<p class='a>b'>x<br/></p>"), "");
    for (const char* wrong :
         {"<p>", "</p>", "<p><b></p></b>", "<p <b>", "<p id='a'></p><p id='a'></p>", "<p class='"}) {
        EXPECT_NE(problem_of(wrong), "") << wrong;
    }
}

// A record with something in every place.
run_record full_record() {
    run_record record;
    record.verdict = run_verdict::failed;
    record.cause = words_of("pcr-differs");
    record.cause_says = "PCR[04] does not match.";
    record.arguments = {"vellum"};
    stage_record& stage = record.stages.emplace_back();
    stage.id = "pcrs-match-pmf";
    stage.result = stage_result::failed;
    stage.findings.push_back({"pcr-differs", {"line"}, {{"pcr", "4"}}, record.cause});
    record.other_findings.push_back({"", {"line"}, {}, nullptr});
    record.cautions.push_back({words_of("signing-off"), "says", {}});
    record.inputs.push_back({"pmf", "path", 3, "00"});
    record.device.history.push_back({"Seal Enabled", 1, "says", {}, {}});
    record.events.push_back({1, 4, "EV_IPL", "says", "proved", true});
    record.log_health.push_back({"id", "damage", "says"});
    record.differences.push_back({4, "changed", 1, 1, "EV_IPL", "before", "after", {"change"}});
    record.probable_causes.push_back({"id", "says", "act"});
    record.measured_partitions.push_back({"type", "name", "", 1, 2, 0});
    record.pmf.partitions.push_back({"type", "other", "", 1, 2, 0});
    record.pmf.signers.push_back({"manufacturer", "subject", "issuer", "1", "00", 0, 1});
    return record;
}

struct place {
    const char* name;
    std::string& (*text)(run_record&);
};

constexpr place places[] = {
    {"version", [](run_record& r) -> std::string& { return r.tool_version; }},
    {"mode", [](run_record& r) -> std::string& { return r.mode; }},
    {"argument", [](run_record& r) -> std::string& { return r.arguments[0]; }},
    {"host", [](run_record& r) -> std::string& { return r.host; }},
    {"folder", [](run_record& r) -> std::string& { return r.device_folder; }},
    {"signal", [](run_record& r) -> std::string& { return r.signal; }},
    {"cause", [](run_record& r) -> std::string& { return r.cause_says; }},
    {"input", [](run_record& r) -> std::string& { return r.inputs[0].path; }},
    {"digest", [](run_record& r) -> std::string& { return r.inputs[0].sha256; }},
    {"id source", [](run_record& r) -> std::string& { return r.device.id_source; }},
    {"id", [](run_record& r) -> std::string& { return r.device.id; }},
    {"product", [](run_record& r) -> std::string& { return r.device.product; }},
    {"sku", [](run_record& r) -> std::string& { return r.device.sku; }},
    {"serial", [](run_record& r) -> std::string& { return r.device.serial; }},
    {"uuid", [](run_record& r) -> std::string& { return r.device.uuid; }},
    {"bios", [](run_record& r) -> std::string& { return r.device.bios_version; }},
    {"os", [](run_record& r) -> std::string& { return r.device.os_version; }},
    {"orbis", [](run_record& r) -> std::string& { return r.device.orbis_version; }},
    {"firmware", [](run_record& r) -> std::string& { return r.device.firmware_version; }},
    {"driver", [](run_record& r) -> std::string& { return r.device.driver_version; }},
    {"feature", [](run_record& r) -> std::string& { return r.device.feature_state; }},
    {"seal", [](run_record& r) -> std::string& { return r.device.seal_state; }},
    {"history", [](run_record& r) -> std::string& { return r.device.history[0].name; }},
    {"history says", [](run_record& r) -> std::string& { return r.device.history[0].says; }},
    {"stage", [](run_record& r) -> std::string& { return r.stages[0].title; }},
    {"note", [](run_record& r) -> std::string& { return r.stages[0].note; }},
    {"finding", [](run_record& r) -> std::string& { return r.stages[0].findings[0].id; }},
    {"line", [](run_record& r) -> std::string& { return r.stages[0].findings[0].lines[0]; }},
    {"field", [](run_record& r) -> std::string& { return r.stages[0].findings[0].fields[0].value; }},
    {"other line", [](run_record& r) -> std::string& { return r.other_findings[0].lines[0]; }},
    {"caution", [](run_record& r) -> std::string& { return r.cautions[0].says; }},
    {"event type", [](run_record& r) -> std::string& { return r.events[0].type; }},
    {"event", [](run_record& r) -> std::string& { return r.events[0].says; }},
    {"health", [](run_record& r) -> std::string& { return r.log_health[0].says; }},
    {"health id", [](run_record& r) -> std::string& { return r.log_health[0].id; }},
    {"severity", [](run_record& r) -> std::string& { return r.log_health[0].severity; }},
    {"difference type", [](run_record& r) -> std::string& { return r.differences[0].type; }},
    {"before", [](run_record& r) -> std::string& { return r.differences[0].reference_says; }},
    {"after", [](run_record& r) -> std::string& { return r.differences[0].live_says; }},
    {"change", [](run_record& r) -> std::string& { return r.differences[0].changes[0]; }},
    {"probable cause", [](run_record& r) -> std::string& { return r.probable_causes[0].says; }},
    {"who acts", [](run_record& r) -> std::string& { return r.probable_causes[0].act; }},
    {"partition", [](run_record& r) -> std::string& { return r.measured_partitions[0].name; }},
    {"partition type", [](run_record& r) -> std::string& { return r.measured_partitions[0].type; }},
    {"PMF partition", [](run_record& r) -> std::string& { return r.pmf.partitions[0].name; }},
    {"subject", [](run_record& r) -> std::string& { return r.pmf.signers[0].subject; }},
    {"issuer", [](run_record& r) -> std::string& { return r.pmf.signers[0].issuer; }},
    {"certificate serial", [](run_record& r) -> std::string& { return r.pmf.signers[0].serial; }},
    {"certificate digest", [](run_record& r) -> std::string& { return r.pmf.signers[0].sha256; }},
};

TEST(HtmlPage, ShowsEveryTextAndTakesNoneForMarkup) {
    const std::string hostile = "<b x='1' y=\"2\">&amp;\x1b[2J\x7f\xe2\x80\xae\xff</b>";
    const std::string shown = "&lt;b x=&#39;1&#39; y=&quot;2&quot;&gt;&amp;amp;?[2J???&lt;/b&gt;";
    for (const place& row : places) {
        run_record record = full_record();
        row.text(record) = hostile;
        const std::string page = html_form(record);
        EXPECT_NE(page.find(shown), std::string::npos) << row.name;
        EXPECT_EQ(page.find("<b x"), std::string::npos) << row.name;
        EXPECT_EQ(page.find_first_of("\x1b\x7f\xff"), std::string::npos) << row.name;
        EXPECT_EQ(page.find("\xe2\x80\xae"), std::string::npos) << row.name;
        EXPECT_EQ(problem_of(page), "") << row.name;
    }
}

TEST(HtmlPage, AllowsItsOwnStyleAndNothingElse) {
    const std::string page = html_form(full_record());
    const std::size_t begin = page.find("<style>") + 7;
    sha256_value digest{};
    ASSERT_EQ(sha256(as_bytes(page.substr(begin, page.find("</style>") - begin)), digest), result::success);
    const std::size_t at = page.find("style-src 'sha256-") + 18;
    std::string decoded;
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 43; ++i) {
        constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        bits = bits << 6 | static_cast<std::uint32_t>(digits.find(page[at + i]));
        if (i % 4 != 0) {
            decoded += static_cast<char>(bits >> (6 - 2 * (i % 4)) & 0xFF);
        }
    }
    EXPECT_TRUE(equal_bytes(as_bytes(decoded), digest));
    EXPECT_EQ(page[at + 43], '=');
    EXPECT_NE(page.find("content=\"default-src 'none'; base-uri 'none'; form-action 'none'; style-src"),
              std::string::npos);
    for (const char* foreign : {"<script", "http:", "https:", "url(", "@import", " style=", " src=", "<link"}) {
        EXPECT_EQ(page.find(foreign), std::string::npos) << foreign;
    }
}

// Of `count` events in all PCRs and some that are none, each with something to say.
run_record long_record(std::size_t count, std::string_view says) {
    run_record record = full_record();
    record.events.clear();
    for (std::size_t i = 0; i < count; ++i) {
        const auto position = static_cast<std::uint32_t>(i + 1);
        record.events.push_back({position, static_cast<std::uint32_t>(i % 26), "EV_EFI_VARIABLE_DRIVER_CONFIG",
                                 std::string(says), i % 3 == 0 ? "contradicted" : "proved", i % 2 == 0});
        record.differences.push_back({4, "changed", i, i, "EV_IPL", std::string(says), std::string(says), {}});
    }
    return record;
}

TEST(HtmlPage, StaysSmallHoweverManyEventsThereAre) {
    const std::string event = "boot application \\EFI\\BOOT\\BOOTX64.EFI, 1536 KiB, image at 0x7c3a0018";
    const std::string page = html_form(long_record(1000, event));
    EXPECT_LT(page.size(), std::size_t{1024} * 1024);
    EXPECT_EQ(problem_of(page), "");
    EXPECT_NE(page.find("... and 600 events more."), std::string::npos);
    EXPECT_NE(page.find("... and 801 differences more."), std::string::npos);
    // The picture does not grow.
    constexpr std::size_t most_marks = 96U * 25U + 6U;
    EXPECT_LE(count_of(page, "class='mark"), most_marks);
    EXPECT_LE(count_of(html_form(long_record(5000, event)), "class='mark"), most_marks);
}

// A table of the events lists those in doubt before others.
TEST(HtmlPage, LeavesOutNoEventInDoubtForOneThatIsNot) {
    run_record record = long_record(1000, "usual");
    for (event_record& event : record.events) {
        event.suspect = event.position > 900;
        event.proof = "proved";
        event.says = event.suspect ? "strange" : "usual";
    }
    record.differences.clear();
    EXPECT_EQ(count_of(html_form(record), "<td>strange<"), 100U);
    EXPECT_EQ(count_of(html_form(record), "<td>usual<"), 300U);
}

// Whatever a device makes the checks find, a page can be opened and read.
TEST(HtmlPage, StaysBoundedForTheWorstFindings) {
    run_record record = long_record(2000, std::string(2000, '<'));
    finding_record finding = record.stages[0].findings[0];
    finding.lines.assign(100, std::string(500, '\''));
    finding.fields.assign(100, {"name", std::string(500, '&')});
    record.stages[0].findings.assign(100, finding);
    record.stages.resize(3, record.stages[0]);
    record.other_findings.assign(100, finding);
    record.measured_partitions.assign(10'000, {"type", "name", "", UINT64_MAX, 0, 0});
    record.pmf.partitions.assign(5000, {"type", "name", "", 0, UINT64_MAX, 0});
    record.pmf.signers.assign(300, record.pmf.signers[0]);
    record.device.history.assign(5000, {std::string(2000, '>'), INT64_MAX, "", 1, 2});
    record.cautions.assign(5000, record.cautions[0]);
    record.inputs.assign(5000, record.inputs[0]);
    EXPECT_LT(html_form(record).size(), std::size_t{8} * 1024 * 1024);
}

struct partition_case {
    const char* name;
    std::vector<partition_record> listed;
    std::vector<partition_record> measured;
    std::vector<const char*> says;
};

TEST(HtmlPage, SaysOfEachPartitionWhetherItHasALikeOne) {
    const partition_record a = {"A", "first", "", 10, 19, 0};
    const partition_record b = {"B", "second", "", 20, 999, 0};
    partition_record longer = b;
    longer.last_lba = 2000;
    const partition_case cases[] = {
        {"same", {a, b}, {a, b}, {">same<", ">same<"}},
        {"order", {a, b}, {b, a}, {">other place in the table<", ">other place in the table<"}},
        {"longer", {a, b}, {a, longer}, {">same<", "this boot: 20&ndash;2000", ">differs<"}},
        {"gone", {a, b}, {a}, {">same<", ">only in the PMF<"}},
        {"new", {a}, {a, b}, {">same<", ">only in this boot<"}},
        {"no log", {a}, {}, {"This boot's event log tells of no partition."}},
        {"no PMF", {}, {a}, {"There is no PMF to hold them against."}},
    };
    for (const partition_case& row : cases) {
        run_record record;
        record.pmf.partitions = row.listed;
        record.measured_partitions = row.measured;
        const std::string page = html_form(record);
        std::size_t at = 0;
        for (const char* text : row.says) {
            at = page.find(text, at + 1);
            EXPECT_NE(at, std::string::npos) << row.name << ": " << text;
        }
        EXPECT_EQ(count_of(page, "<use href='#diamond' class='mark suspect'") > 0,
                  page.find("class='badge bad'") != std::string::npos)
            << row.name;
    }
}

TEST(HtmlPage, SaysOfEachPcrWhoPartsFromWhom) {
    pcr_value one{};
    one[0] = 1;
    pcr_value two{};
    two[0] = 2;
    pcr_value ones;
    ones.fill(0xFF);
    struct pcr_case {
        pcr_record pcr;
        const char* says;
        const char* sources;
    };
    const char* const other_tpm =
        "<li class='other'>TPM<span class='unseen'>: another value</span></li><li class='same'>log";
    const pcr_case cases[] = {
        {{one, one, one, 1}, ">agree<", "<li class='same'>TPM"},
        {{one, two, two, 1}, ">differ<", other_tpm},
        {{one, two, {}, 1},
         ">differ<",
         "<li class='other'>TPM<span class='unseen'>: another value</span></li><li class='other'>log"},
        {{one, {}, {}, 0}, ">one source<", "<li class='absent'>log"},
        {{ones, pcr_value{}, {}, 0}, ">unused<", ""},
        {{ones, pcr_value{}, one, 0}, ">differ<", "<li class='other'>PMF"},
    };
    for (const pcr_case& row : cases) {
        run_record record;
        record.pcrs[1] = {one, one, {}, 1};
        record.pcrs[17] = row.pcr;
        const std::string page = html_form(record);
        const std::size_t at = page.find("</span>17</b>");
        ASSERT_NE(at, std::string::npos);
        const std::string tile = page.substr(at, page.find("<div class='head'>", at) - at);
        EXPECT_NE(tile.find(row.says), std::string::npos) << tile;
        EXPECT_NE(tile.find(row.sources), std::string::npos) << tile;
    }
}

// Pages of what really happens
// ---------------------------------------------------------------------------------------

std::string page_of(const std::string& directory, std::vector<std::string> words) {
    native_platform native;
    test::fake_console console;
    const platform real = native.services();
    recorded_platform device({console, real.time, real.errors, real.firmware, real.tpm, real.tables, real.os,
                              real.directories, real.boot_disk});
    EXPECT_EQ(device.load(directory), result::success);
    const platform machine = device.services();
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    run_record record = begin_record(argv, machine);
    recorder watcher(machine, record);
    run(static_cast<int>(argv.size()), argv.data(), machine, &watcher);
    return html_form(record);
}

std::string page_of_fault(const lab::fault& fault) {
    lab::device_plan plan;
    lab::device made;
    if (fault.plan != nullptr) {
        fault.plan(plan);
    }
    EXPECT_EQ(lab::make_device(plan, made), result::success);
    if (fault.since != nullptr) {
        fault.since(made);
    }
    const test::temp_dir dir;
    EXPECT_EQ(lab::write_device(made, dir.path().string()), result::success);
    return page_of(dir.path().string(), {"vellum", "--validate", "-c", dir.file("kxl.ini"), "-v", "0", "-l", "0"});
}

TEST(HtmlPage, IsWholeForEveryFault) {
    const std::vector<const lab::fault*> faults = lab::all_faults();
    ASSERT_GT(faults.size(), 100U);
    for (const lab::fault* fault : faults) {
        const std::string page = page_of_fault(*fault);
        EXPECT_EQ(problem_of(page), "") << fault->name;
        const bool failed = page.find("<span>Validation failed</span></h1>") != std::string::npos;
        EXPECT_NE(failed, page.find("<span>Validation passed</span></h1>") != std::string::npos) << fault->name;
        EXPECT_EQ(failed, page.find("<h2>What to do now</h2>") != std::string::npos) << fault->name;
        EXPECT_EQ(failed, page.find("<details class='stage bad' open>") != std::string::npos) << fault->name;
        EXPECT_EQ(count_of(page, "<details class='stage "), 27U) << fault->name;
    }
}

TEST(HtmlPage, HasNoEmptyPicturesWhereNothingWasJudged) {
    run_record record;
    for (const run_verdict verdict : {run_verdict::ended_early, run_verdict::interrupted, run_verdict::unsealed}) {
        record.verdict = verdict;
        record.mode = verdict == run_verdict::unsealed ? "unseal" : "validate";
        const std::string page = html_form(record);
        EXPECT_EQ(problem_of(page), "");
        EXPECT_EQ(count_of(page, "role='img'"), 0U);
        EXPECT_EQ(count_of(page, "<table"), 0U);
        EXPECT_EQ(count_of(page, "<section"), 2U) << "the verdict and the run";
    }
}

TEST(HtmlWriter, ShowsSpansAndTimesForPeople) {
    EXPECT_EQ(span_text(0), "0 seconds");
    EXPECT_EQ(span_text(-60), "1 minute");
    EXPECT_EQ(span_text(3 * 86'400), "3 days");
    EXPECT_EQ(span_text(INT64_MIN), "292471208677 years");
    EXPECT_EQ(duration_text(-1), "less than 0.1 ms");
    EXPECT_EQ(duration_text(1'250), "1.2 ms");
    EXPECT_EQ(duration_text(12'345), "12 ms");
    EXPECT_EQ(duration_text(12'345'678), "12 s");
    EXPECT_EQ(html_writer().percent(5).raw(" ").percent(1234).raw(" ").percent(20'000).take(),
              "0.05% 12.34% 100.00%");
    EXPECT_EQ(html_writer().text("\xc3\xa4\xc3\xa4", 3).take(), "\xc3\xa4...");
    EXPECT_EQ(html_writer().prose("Name `a<b` or `c -d e").take(),
              "Name <code>a&lt;b</code> or <code>c <span>-d</span> e</code>");
    EXPECT_EQ(html_writer().time(0).take(), "<time datetime='1970-01-01T00:00:00Z'>1970-01-01 00:00:00 UTC</time>");
}

}  // namespace
}  // namespace vellum::reporting
