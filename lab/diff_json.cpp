#include <nlohmann/json.hpp>

#include "base/text.h"
#include "lab/diff_report.h"
#include "tpm/event_details/event_changes.h"
#include "tpm/event_details/event_text.h"
#include "tpm/event_details/known_names.h"

namespace vellum::lab {
namespace {

using json = nlohmann::ordered_json;

// Grows when a key is renamed, removed or changes its meaning; further keys do not count.
constexpr int schema_version = 1;

std::string text_of(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

json bank_json(std::uint16_t algorithm) {
    const char* const name = bank_name(algorithm);
    return name != nullptr ? json(name) : json(algorithm);
}

json banks_json(std::span<const std::uint16_t> banks) {
    json out = json::array();
    for (const std::uint16_t bank : banks) {
        out.push_back(bank_json(bank));
    }
    return out;
}

json log_json(const compared_log& log) {
    const event_sequence& sequence = log.sequence;
    return {{"file", shown_text(log.path)},
            {"size", log.bytes.size()},
            {"format", sequence.format == log_format::crypto_agile ? "crypto-agile" : "legacy SHA-1"},
            {"banks", banks_json(sequence.banks)},
            {"events", sequence.events.size() - (sequence.has_spec_id ? 1 : 0)},
            {"left_over", sequence.left_over}};
}

json position_json(const std::optional<std::size_t>& position) {
    return position ? json(*position) : json();
}

json cause_json(const probable_cause& cause) {
    json evidence = json::array();
    for (const event_evidence& entry : cause.evidence) {
        evidence.push_back(
            {{"pcr", entry.pcr}, {"reference", position_json(entry.reference)}, {"live", position_json(entry.live)}});
    }
    return {{"code", cause.code},
            {"says", "Probably " + std::string(cause.happened) + "."},
            {"act", cause.act},
            {"detail", cause.detail},
            {"evidence", std::move(evidence)}};
}

json counts_json(const step_counts& counts) {
    json out = json::object();
    for (std::size_t i = 0; i < counts.size(); ++i) {
        out[step_name(static_cast<step_kind>(i))] = counts[i];
    }
    return out;
}

json event_json(const compared_log& log, std::uint32_t index) {
    if (index == no_event) {
        return nullptr;
    }
    const logged_event& event = log.sequence.events[index];
    const event_details details = decode_event(event);
    json digests = json::object();
    for (const event_digest& digest : event.banks()) {
        const char* const name = bank_name(digest.algorithm);
        digests[name != nullptr ? name : std::to_string(digest.algorithm)] = lower_hex(digest.value);
    }
    return {{"position", log.sequence.position_of(index)},
            {"type", event_type_name(event.type)},
            {"type_code", event.type},
            {"digests", std::move(digests)},
            {"summary", summary_of(event, details)},
            {"details", details_json(details, hash_lists::counted)}};
}

// Writes the report line by line: an object in it takes one, so that only that one is held.
class json_report {
  public:
    json_report(const log_diff& diff, page_writer& page) : diff_(diff), page_(page) {}

    void write(const json& head);

  private:
    json change_json(const alignment_step& step);
    void write_pcr(const pcr_alignment& pcr);

    const log_diff& diff_;
    page_writer& page_;
    claim_checker claims_;
};

json json_report::change_json(const alignment_step& step) {
    json fields = json::array();
    if (step.kind == step_kind::changed || step.kind == step_kind::restated) {
        for (field_change& field :
             compare_event(diff_.reference_event(step), diff_.live_event(step), claims_).fields) {
            fields.push_back({{"field", std::move(field.field)},
                              {"reference", std::move(field.reference)},
                              {"live", std::move(field.live)},
                              {"says", std::move(field.says)}});
        }
    }
    return {{"kind", step_name(step.kind)},
            {"reference", event_json(diff_.reference, step.reference)},
            {"live", event_json(diff_.live, step.live)},
            {"fields", std::move(fields)}};
}

void json_report::write_pcr(const pcr_alignment& pcr) {
    bool differs = false;
    for (const alignment_step& step : pcr.steps) {
        differs = differs || changes_pcr(diff_.reference.sequence, diff_.live.sequence, step);
    }
    page_.text("    {\"pcr\": " + std::to_string(pcr.pcr) + ", \"value_differs\": " + (differs ? "true" : "false") +
               ", \"counts\": " + text_of(counts_json(counts_of(pcr.steps))) + ", \"changes\": [");
    const char* separator = "\n";
    for (const alignment_step& step : pcr.steps) {
        if (step.kind != step_kind::alike && page_.is_read()) {
            page_.text(separator + ("      " + text_of(change_json(step))));
            separator = ",\n";
        }
    }
    page_.text(*separator == '\n' ? "]}" : "\n    ]}");
}

void write_members(const json& members, page_writer& page) {
    for (const auto& member : members.items()) {
        page.text("  " + text_of(member.key()) + ": " + text_of(member.value()) + ",\n");
    }
}

void json_report::write(const json& head) {
    page_.text("{\n");
    write_members(head, page_);
    page_.text("  \"pcrs\": [");
    const char* separator = "\n";
    for (const pcr_alignment& pcr : diff_.pcrs) {
        page_.text(separator);
        write_pcr(pcr);
        separator = ",\n";
    }
    page_.text("\n  ]\n}\n");
}

json head_of(const char* verdict) {
    return {{"schema", "vellum-lab diff"}, {"schema_version", schema_version}, {"verdict", verdict}};
}

}  // namespace

void write_json(const log_diff& diff, page_writer& page) {
    json causes = json::array();
    for (const probable_cause& cause : diff.causes) {
        causes.push_back(cause_json(cause));
    }
    json head = head_of(is_same(diff) ? "same" : "different");
    head["reference"] = log_json(diff.reference);
    head["live"] = log_json(diff.live);
    head["compared_banks"] = banks_json(common_banks(diff.reference.sequence, diff.live.sequence));
    head["causes"] = std::move(causes);
    json_report(diff, page).write(head);
}

void write_unreadable_json(const std::string& problem, page_writer& page) {
    json report = head_of("unreadable");
    report["problem"] = problem;
    page.text(report.dump(2, ' ', false, json::error_handler_t::replace) + '\n');
}

}  // namespace vellum::lab
