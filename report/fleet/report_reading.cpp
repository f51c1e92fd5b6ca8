#include "report/fleet/report_reading.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"
#include "report/fleet/report_events.h"

namespace vellum::fleet {
namespace {

constexpr std::string_view verdicts[] = {"passed",      "failed",      "skipped", "unsealed",
                                         "ended_early", "interrupted", "refused"};
constexpr std::string_view input_names[] = {"configuration",        "pmf",       "tl3_identity",
                                            "external_certificate", "event_log", "reference_log"};

std::optional<sha256_value> digest_of(std::string_view text) {
    sha256_value out{};
    const auto bytes = parse_hex(text);
    const bool is_lower = text.find_first_of("ABCDEF") == std::string_view::npos;
    if (!bytes || bytes->size() != out.size() || !is_lower) {
        return std::nullopt;
    }
    std::copy(bytes->begin(), bytes->end(), out.begin());
    return out;
}

// "YYYY-MM-DDThh:mm:ssZ".
std::optional<std::int64_t> seconds_of(std::string_view text) {
    constexpr std::string_view form = "dddd-dd-ddTdd:dd:ddZ";
    const auto fits = [](char c, char wanted) { return wanted == 'd' ? c >= '0' && c <= '9' : c == wanted; };
    if (text.size() != form.size() || !std::equal(text.begin(), text.end(), form.begin(), fits)) {
        return std::nullopt;
    }
    const auto part = [text](std::size_t at, std::size_t size) {
        return parse_decimal<unsigned>(text.substr(at, size)).value_or(0);
    };
    const auto midnight = utc_seconds_of_day(static_cast<int>(part(0, 4)), part(5, 2), part(8, 2));
    if (!midnight || part(11, 2) > 23 || part(14, 2) > 59 || part(17, 2) > 60) {
        return std::nullopt;
    }
    return *midnight + std::int64_t{part(11, 2) * 60 + part(14, 2)} * 60 + part(17, 2);
}

bool is_id(std::string_view text) {
    constexpr std::size_t longest_id = 64;
    return !text.empty() && text.size() <= longest_id && std::all_of(text.begin(), text.end(), [](char c) {
        return (is_letter(c) && c >= 'a') || (c >= '0' && c <= '9') || c == '-';
    });
}

// Puts what was read into the report, and knows why it cannot.
class checking {
  public:
    checking(const read_values& values, fleet_report& out) : values_(values), out_(out) {}

    [[nodiscard]] bool check() {
        return check_kind() && check_run() && check_contradictions() && name_device() && check_lists();
    }
    const std::string& why() const { return why_; }

  private:
    [[nodiscard]] bool refuse(std::string why) {
        why_ = std::move(why);
        return false;
    }
    [[nodiscard]] bool check_kind();
    [[nodiscard]] bool check_run();
    [[nodiscard]] bool check_contradictions();
    [[nodiscard]] bool name_device();
    [[nodiscard]] bool check_lists();
    [[nodiscard]] bool join_findings();
    [[nodiscard]] bool take_expiry();

    const read_values& values_;
    fleet_report& out_;
    std::string why_;
};

bool checking::check_kind() {
    if (values_.schema != "vellum-report run") {
        return refuse("it is no report of a run");
    }
    if (values_.schema_version != 1) {
        return refuse("it has a schema_version that this program does not know");
    }
    return true;
}

bool checking::check_run() {
    constexpr std::int64_t greatest_exit_code = 255;
    const auto started = seconds_of(values_.started);
    if (!started) {
        return refuse("it does not say when its run started");
    }
    if (std::find(std::begin(verdicts), std::end(verdicts), values_.verdict) == std::end(verdicts)) {
        return refuse("it has no verdict that is known");
    }
    if (!values_.cause.empty() && !is_id(values_.cause)) {
        return refuse("its cause has no identifier");
    }
    if (values_.microseconds < 0 || values_.exit_code < 0 || values_.exit_code > greatest_exit_code) {
        return refuse("a number of it is out of range");
    }
    out_.started = *started;
    out_.microseconds = values_.microseconds;
    out_.exit_code = values_.exit_code;
    out_.outcome.verdict = values_.verdict;
    out_.outcome.cause = values_.cause;
    return true;
}

// What is said twice must be the same.
bool checking::check_contradictions() {
    if (values_.has_evidence && !values_.accepted) {
        return refuse("it does not say whether its evidence was accepted");
    }
    out_.evidence = !values_.accepted   ? evidence_state::none
                    : *values_.accepted ? evidence_state::accepted
                                        : evidence_state::refused;
    out_.key_name = out_.evidence == evidence_state::accepted ? shown_text(values_.key_name) : "";
    const std::string& verdict = values_.verdict;
    if ((verdict == "refused") != (out_.evidence == evidence_state::refused)) {
        return refuse("its verdict and its evidence contradict each other");
    }
    const bool is_good = verdict == "passed" || verdict == "unsealed" || verdict == "skipped";
    if (is_good && (values_.exit_code != 0 || (verdict == "passed" && values_.has_failed_stage))) {
        return refuse("its verdict contradicts its exit code or a stage");
    }
    return true;
}

// Where evidence was refused nothing was run, and the device is whose evidence it had to be. A host that judged a
// recording is not the device.
bool checking::name_device() {
    struct naming {
        const std::string& name;
        std::string source;
    };
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    for (const std::string* source : {&values_.id_source, &values_.expected_source}) {
        if (source->find_first_not_of(letters) != std::string::npos) {
            return refuse("its Device ID has no source that is known");
        }
    }
    const naming names[] = {{values_.device_id, shown_text(values_.id_source)},
                            {values_.expected_id, shown_text(values_.expected_source)},
                            {values_.recorded_device, "recording"},
                            {values_.host, "host"}};
    const auto* const named =
        std::find_if(std::begin(names), std::end(names), [](const naming& row) { return !row.name.empty(); });
    if (named == std::end(names)) {
        return refuse("it names neither a Device ID nor a host");
    }
    out_.device = shown_text(named->name);
    out_.source = named->source;
    out_.host = shown_text(values_.host);
    out_.serial = shown_text(values_.serial);
    return true;
}

bool checking::join_findings() {
    std::vector<std::string> ids = values_.findings;
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    for (const std::string& id : ids) {
        std::string_view pcr = id;
        const std::string_view name = take_until(pcr, '/');
        if (!is_id(name) || (id.size() > name.size() && !parse_decimal<std::uint8_t>(pcr))) {
            return refuse("a finding of it has no identifier");
        }
        out_.outcome.findings += (out_.outcome.findings.empty() ? "" : " ") + id;
    }
    return true;
}

bool checking::take_expiry() {
    out_.pmf_expires = seconds_of(values_.pmf_expires);
    if (!values_.pmf_expires.empty() && !out_.pmf_expires) {
        return refuse("the PMF's expiry is no time");
    }
    for (const std::string& text : values_.certificate_ends) {
        const auto end = seconds_of(text);
        if (!end) {
            return refuse("the end of a certificate is no time");
        }
        out_.certificate_expires = std::min(out_.certificate_expires.value_or(*end), *end);
    }
    return true;
}

bool checking::check_lists() {
    for (const auto& [what, hexadecimal] : values_.inputs) {
        const auto digest = digest_of(hexadecimal);
        if (std::find(std::begin(input_names), std::end(input_names), what) == std::end(input_names)) {
            return refuse("an input of it has no name that is known");
        }
        if (!digest) {
            return refuse("an input of it has no digest");
        }
        if (!out_.inputs.emplace(what, *digest).second) {
            return refuse("an input of it stands there twice");
        }
    }
    for (const auto& [pcr, hexadecimal] : values_.pcrs) {
        const auto digest = digest_of(hexadecimal);
        if (!digest || pcr < 0 || pcr >= static_cast<std::int64_t>(pcr_count)) {
            return refuse("a PCR of it has no value");
        }
        std::optional<sha256_value>& value = out_.pcrs[static_cast<std::size_t>(pcr)];
        if (value) {
            return refuse("a PCR of it stands there twice");
        }
        value = *digest;
    }
    return join_findings() && take_expiry();
}

void clean(platform_facts& facts) {
    for (const auto& [member, key] : fact_members) {
        facts.*member = shown_text(facts.*member);
    }
}

// Each part with its length before it, so that no two different reports spell the same.
std::string spelled(const fleet_report& report) {
    std::string out;
    const auto add = [&out](std::string_view part) {
        out.append(std::to_string(part.size())).append(":").append(part);
    };
    const auto add_number = [&add](std::int64_t value) { add(std::to_string(value)); };
    for (const std::string* text : {&report.device, &report.source, &report.host, &report.serial, &report.key_name,
                                    &report.outcome.verdict, &report.outcome.cause, &report.outcome.findings}) {
        add(*text);
    }
    for (const auto& [member, key] : fact_members) {
        add(report.facts.*member);
    }
    for (const std::int64_t number :
         {report.started, report.microseconds, report.exit_code, static_cast<std::int64_t>(report.evidence),
          report.pmf_expires.value_or(-1), report.certificate_expires.value_or(-1)}) {
        add_number(number);
    }
    const auto add_digest = [&add](const sha256_value& digest) {
        add({reinterpret_cast<const char*>(digest.data()), digest.size()});
    };
    for (const auto& [what, digest] : report.inputs) {
        add(what);
        add_digest(digest);
    }
    for (std::size_t pcr = 0; pcr < report.pcrs.size(); ++pcr) {
        if (report.pcrs[pcr]) {
            add_number(static_cast<std::int64_t>(pcr));
            add_digest(*report.pcrs[pcr]);
        }
    }
    return out;
}

[[nodiscard]] bool identify(fleet_report& report) {
    thread_local hasher sha256 = hasher::sha256();
    sha256_value digest{};
    if (!ok(sha256.hash({as_bytes(spelled(report))}, digest))) {
        return false;
    }
    std::copy_n(digest.begin(), report.identity.size(), report.identity.begin());
    return true;
}

}  // namespace

const char* evidence_text(evidence_state evidence) {
    switch (evidence) {
        case evidence_state::accepted: return "verified";
        case evidence_state::refused: return "by the verifier";
        case evidence_state::none: break;
    }
    return "unverified";
}

bool read_report(std::string& text, fleet_report& out, std::string& why) {
    out = {};
    read_values values;
    if (!read_events(text, values, why)) {
        return false;
    }
    checking checks(values, out);
    if (!checks.check()) {
        why = checks.why();
        return false;
    }
    out.facts = std::move(values.facts);
    clean(out.facts);
    if (!identify(out)) {
        why = "it cannot be hashed";
        return false;
    }
    return true;
}

}  // namespace vellum::fleet
