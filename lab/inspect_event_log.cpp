#include "lab/inspect_event_log.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "core/file.h"
#include "core/findings.h"
#include "lab/given_pcrs.h"
#include "platform/tbs.h"
#include "tpm/event_details/event_sequence.h"
#include "tpm/event_details/event_text.h"
#include "tpm/event_details/known_names.h"
#include "tpm/event_log.h"
#include "tpm/event_log_reader.h"

namespace vellum::lab {
namespace {

bool is_shown(const inspect_request& request, const logged_event& event) {
    const bool right_pcr =
        request.pcrs == all_pcrs || (event.pcr < pcr_count && (request.pcrs >> event.pcr & 1U) != 0);
    return right_pcr && (!request.type || *request.type == event.type);
}

const char* list_of(remark_severity severity) {
    switch (severity) {
        case remark_severity::damage: return "reasons";
        case remark_severity::caution: return "cautions";
        case remark_severity::note: break;
    }
    return "notes";
}

report pcr_list(std::uint32_t mask) {
    report out = report::array();
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        if ((mask >> pcr & 1U) != 0) {
            out.push_back(pcr);
        }
    }
    return out;
}

void add_remark(report& out, const remark& made) {
    out[list_of(made.severity)].push_back({{"code", made.id},
                                           {"says", shown_text(made.says)},
                                           {"details", report::array()},
                                           {"pcrs", pcr_list(made.pcrs)},
                                           {"event", made.event == 0 ? report() : report(made.event)}});
}

bool has_reason(const report& fields, std::initializer_list<std::string_view> codes) {
    const report& reasons = fields["reasons"];
    return std::any_of(reasons.begin(), reasons.end(), [&](const report& reason) {
        const auto code = reason["code"].get<std::string>();
        return std::find(codes.begin(), codes.end(), code) != codes.end();
    });
}

// The worst that can be said.
const char* verdict_on(const report& fields) {
    if (has_reason(fields, {"refused"})) {
        return "refused";
    }
    if (has_reason(fields, {"left-over"})) {
        return "damaged";
    }
    if (has_reason(fields, {"legacy"})) {
        return "legacy";
    }
    if (has_reason(fields, {"pcr-differs", "other-boot"})) {
        return "contradicted";
    }
    return fields["reasons"].empty() ? "well-formed" : "suspect";
}

// One log on its way to the page.
class log_inspection {
  public:
    log_inspection(const inspect_request& request, finding_console& findings, report fields, event_log_page& page)
        : request_(request), findings_(findings), fields_(std::move(fields)), page_(page) {}

    // Takes the bytes over.
    inspect_outcome run(std::vector<std::uint8_t> bytes, std::vector<given_pcr> given);

  private:
    [[nodiscard]] bool judge_as_validation(std::vector<std::uint8_t>& bytes);
    void explain_refusal(byte_view log);
    void refuse_other_layout(byte_view log, const event_log_reader& reader);
    report head() const;
    log_beginning beginning(const event_log_reader& reader, const log_health& health, report& fields) const;
    void show_log(byte_view log, event_log_reader& reader, std::vector<given_pcr> given);
    void finish(log_ending& ending);

    const inspect_request& request_;
    finding_console& findings_;
    report fields_;
    event_log_page& page_;
    claim_checker claims_;
};

// The parser takes the bytes over, and loses them when it refuses them: they are read again then, as a log can be
// too large to be held twice. False: they cannot be.
bool log_inspection::judge_as_validation(std::vector<std::uint8_t>& bytes) {
    std::optional<tpm_events_chains> chains;
    if (ok(parse_tpm_log(std::move(bytes), chains))) {
        bytes = std::move(chains->log);
        findings_.take();
        return true;
    }
    add_reason(fields_, "refused", "A validation refuses it: its structure is invalid.", findings_.take());
    const bool readable = ok(read_file(request_.path, tbs::max_log_size, bytes));
    findings_.take();
    explain_refusal(bytes);
    return readable;
}

// What stopped the parser where no text says it.
void log_inspection::explain_refusal(byte_view log) {
    event_log_reader reader;
    tpm_event event;
    std::uint32_t events = 0;
    std::string why;
    if (ok(reader.open(log))) {
        for (; reader.at_event() && !reader.oversized() && reader.read(event); reader.advance()) {
            ++events;
        }
        const bool unread = reader.at_event() && !reader.oversized();
        why = unread ? "Event " + std::to_string(events + 1) + " at " + std::to_string(reader.position()) +
                           " has no SHA-256 digest" +
                           (all_zero(log.subspan(reader.position())) ? ", and zeros are all that follows." : ".")
                     : "";
    } else if (reader.flaw() != log_flaw::none) {
        why = std::string("It cannot be opened: ") + flaw_text(reader) + ".";
    }
    clear_messages();
    if (!why.empty()) {
        fields_["reasons"].back()["details"].push_back(why);
    }
}

// A validation takes a log for one in the legacy layout when its Spec ID event is not of PCR 0.
void log_inspection::refuse_other_layout(byte_view log, const event_log_reader& reader) {
    event_log_reader validated;
    if (ok(validated.open(log)) && validated.format() != reader.format()) {
        add_reason(fields_, "refused", "A validation refuses it: its Spec ID event is not of PCR 0.",
                   report::array());
    }
}

// All that there is of a log that cannot be opened.
report log_inspection::head() const {
    report out;
    for (const char* const key : {"schema", "schema_version", "file", "size"}) {
        out[key] = fields_[key];
    }
    return out;
}

log_beginning log_inspection::beginning(const event_log_reader& reader, const log_health& health,
                                        report& fields) const {
    log_beginning out;
    out.fields = &fields;
    fields["format"] = reader.format() == log_format::crypto_agile ? "crypto-agile" : "legacy SHA-1";
    logged_event event;
    if (reader.read_spec_id(event)) {
        const event_details details = decode_event(event);
        fields["spec_id"] = details_json(details, hash_lists::counted);
        fields["spec_id"]["summary"] = summary_of(event, details);
    }
    for (event_log_reader rest = reader; rest.read(event); rest.advance()) {
        ++out.events;
        if (is_shown(request_, event)) {
            out.type_columns = std::max(out.type_columns, type_text(event.type).size());
        }
    }
    const auto locality = health.registers().startup_locality();
    fields["startup_locality"] = locality ? report(*locality) : report();
    fields["event_count"] = out.events;
    return out;
}

void log_inspection::show_log(byte_view log, event_log_reader& reader, std::vector<given_pcr> given) {
    log_health health(reader, std::move(given));
    log_ending ending;
    ending.health = &health;
    report fields = head();
    page_.begin(beginning(reader, health, fields));
    logged_event event;
    for (std::uint32_t position = 1; reader.read(event); ++position, reader.advance()) {
        const event_details details = decode_event(event);
        const digest_claim claim = claims_.check(event, details);
        health.take(event, claim.proof);
        const std::uint32_t in_pcr = event.pcr < pcr_count ? ++ending.events[event.pcr] : 0;
        if (is_shown(request_, event)) {
            page_.event({position, in_pcr, event, details, claim, health.registers()});
        }
    }
    for (const remark& made : health.finish(log, reader)) {
        add_remark(fields_, made);
    }
    finish(ending);
}

void log_inspection::finish(log_ending& ending) {
    fields_["verdict"] = verdict_on(fields_);
    report fields;
    for (const char* const key : {"notes", "cautions", "reasons", "verdict"}) {
        fields[key] = fields_[key];
    }
    ending.fields = &fields;
    page_.end(ending);
}

inspect_outcome log_inspection::run(std::vector<std::uint8_t> bytes, std::vector<given_pcr> given) {
    fields_["notes"] = report::array();
    event_log_reader reader;
    if (judge_as_validation(bytes) && ok(reader.open(bytes, log_banks::any))) {
        refuse_other_layout(bytes, reader);
        show_log(bytes, reader, std::move(given));
    } else {
        const report fields = head();
        log_beginning beginning;
        log_ending ending;
        beginning.fields = &fields;
        page_.begin(beginning);
        finish(ending);
    }
    clear_messages();
    return fields_["verdict"] == "well-formed" ? inspect_outcome::good : inspect_outcome::bad;
}

inspect_outcome refuse(report& out, const char* code, const std::string& says, report details) {
    add_reason(out, code, says, std::move(details));
    return inspect_outcome::unreadable;
}

}  // namespace

inspect_outcome inspect_event_log(const inspect_request& request, const platform& machine, finding_console& findings,
                                  page_writer& writer, report& out) {
    std::vector<std::uint8_t> bytes;
    std::vector<given_pcr> given;
    std::string problem;
    if (!ok(read_file(request.path, tbs::max_log_size, bytes))) {
        return refuse(out, "unreadable", "The file cannot be read.", findings.take());
    }
    out["size"] = bytes.size();
    if (!begins_like_a_log(bytes)) {
        out["verdict"] = "no event log";
        return refuse(out, "no-log", bytes.empty() ? "The file is empty." : "It does not begin as an event log does.",
                      report::array());
    }
    if (request.pcr_values && !read_given_pcrs(*request.pcr_values, machine, given, problem)) {
        out["verdict"] = "unjudged";
        return refuse(out, "no-pcr-values", problem, findings.take());
    }
    const auto page =
        request.form == inspect_form::json ? json_page_of_log(request, writer) : text_page_of_log(request, writer);
    return log_inspection(request, findings, out, *page).run(std::move(bytes), std::move(given));
}

std::string type_text(std::uint32_t type) {
    static const std::string_view unknown = event_type_name(0x7FFFFFFF);
    const char* const name = event_type_name(type);
    return name == unknown ? hex_number(type) : name;
}

std::string bank_text(std::uint16_t algorithm) {
    const char* const name = bank_name(algorithm);
    return name != nullptr ? name : hex_number(algorithm);
}

const pcr_comparison::row* given_value(const log_health& health, std::size_t bank, std::size_t pcr) {
    const auto& rows = health.given().rows();
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const pcr_comparison::row& row) {
        return row.bank == bank && row.given.pcr == pcr;
    });
    return found == rows.end() ? nullptr : &*found;
}

std::uint32_t told_pcrs(const inspect_request& request, const log_ending& log) {
    std::uint32_t told = 0;
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        const bool speaks = log.events[pcr] > 0 || request.extent == inspect_extent::everything;
        told |= speaks ? 1U << pcr : 0;
    }
    for (const pcr_comparison::row& row : log.health->given().rows()) {
        told |= row.matches && row.events == 0 ? 0 : 1U << row.given.pcr;
    }
    return told & request.pcrs;
}

}  // namespace vellum::lab
