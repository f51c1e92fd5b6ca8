#include <nlohmann/json.hpp>

#include "base/text.h"
#include "core/times.h"
#include "report/forms.h"
#include "report/verdict.h"

namespace vellum::reporting {
namespace {

using json = nlohmann::ordered_json;

json text_or_null(const std::string& text) {
    return text.empty() ? json() : json(shown_text(text));
}

json time_or_null(std::int64_t seconds) {
    const auto text = utc_iso_string(seconds);
    return text ? json(*text) : json();
}

json fields_json(const std::vector<finding_field>& fields) {
    json out = json::object();
    for (const finding_field& field : fields) {
        // Of a name that is there twice, a list.
        json& place = out[field.name];
        const std::string value = shown_text(field.value);
        if (place.is_null()) {
            place = value;
        } else if (place.is_array()) {
            place.push_back(value);
        } else {
            place = json::array({place, value});
        }
    }
    return out;
}

json meaning_json(const words& meaning) {
    return {{"cause_class", cause_class_name(meaning.cause)},
            {"title", meaning.title},
            {"remedy", meaning.what_to_do.text},
            {"who", person_name(meaning.what_to_do.who)}};
}

json finding_json(const finding_record& finding) {
    json out = {{"id", text_or_null(finding.id)}, {"lines", json::array()}, {"fields", fields_json(finding.fields)}};
    for (const std::string& line : finding.lines) {
        out["lines"].push_back(shown_text(line));
    }
    if (finding.meaning != nullptr) {
        out.update(meaning_json(*finding.meaning));
    }
    return out;
}

template <typename List, typename Form>
json list_json(const List& list, Form form) {
    json out = json::array();
    for (const auto& item : list) {
        out.push_back(form(item));
    }
    return out;
}

json stage_json(const stage_record& stage) {
    return {{"id", stage.id},
            {"slot", stage.slot},
            {"title", shown_text(stage.title)},
            {"state", stage_result_name(stage.result)},
            {"note", text_or_null(stage.note)},
            {"because_of", stage.because_of},
            {"rests_on", stage.rests_on != nullptr ? json(stage.rests_on) : json()},
            {"microseconds", stage.microseconds},
            {"findings", list_json(stage.findings, finding_json)}};
}

json caution_json(const caution_record& caution) {
    json out = {
        {"id", caution.meaning->id}, {"says", shown_text(caution.says)}, {"fields", fields_json(caution.fields)}};
    out.update(meaning_json(*caution.meaning));
    return out;
}

json input_json(const input_record& input) {
    return {{"what", input.what}, {"path", text_or_null(input.path)}, {"size", input.size}, {"sha256", input.sha256}};
}

json seal_event_json(const seal_event_record& event) {
    json out = {{"event", event.name}, {"time", time_or_null(event.time)}, {"says", text_or_null(event.says)}};
    out["boot_counter"] = event.boot_counter ? json(*event.boot_counter) : json();
    out["execution_counter"] = event.execution_counter ? json(*event.execution_counter) : json();
    return out;
}

json device_json(const device_record& device) {
    return {{"id_source", text_or_null(device.id_source)},
            {"id", text_or_null(device.id)},
            {"product", text_or_null(device.product)},
            {"sku", text_or_null(device.sku)},
            {"serial", text_or_null(device.serial)},
            {"uuid", text_or_null(device.uuid)},
            {"bios_version", text_or_null(device.bios_version)},
            {"os_version", text_or_null(device.os_version)},
            {"orbis_version", text_or_null(device.orbis_version)},
            {"firmware_version", text_or_null(device.firmware_version)},
            {"driver_version", text_or_null(device.driver_version)},
            {"feature_state", text_or_null(device.feature_state)},
            {"seal_state", text_or_null(device.seal_state)},
            {"seal_history", list_json(device.history, seal_event_json)}};
}

json value_json(const std::optional<pcr_value>& value) {
    return value ? json(lower_hex(*value)) : json();
}

json pcrs_json(const run_record& record) {
    json out = json::array();
    for (std::size_t pcr = 0; pcr < record.pcrs.size(); ++pcr) {
        const pcr_record& row = record.pcrs[pcr];
        out.push_back({{"pcr", pcr},
                       {"tpm", value_json(row.tpm)},
                       {"log", value_json(row.log)},
                       {"pmf", value_json(row.pmf)},
                       {"events", row.events}});
    }
    return out;
}

json event_json(const event_record& event) {
    return {{"position", event.position}, {"pcr", event.pcr},     {"type", event.type},
            {"says", event.says},         {"proof", event.proof}, {"suspect", event.suspect}};
}

json partition_json(const partition_record& partition) {
    return {{"type", partition.type},
            {"name", shown_text(partition.name)},
            {"unique_guid", text_or_null(partition.unique_guid)},
            {"first_lba", partition.first_lba},
            {"last_lba", partition.last_lba},
            {"attributes", partition.attributes}};
}

json certificate_json(const certificate_record& certificate) {
    return {{"role", certificate.role},
            {"subject", shown_text(certificate.subject)},
            {"issuer", shown_text(certificate.issuer)},
            {"serial", certificate.serial},
            {"sha256", certificate.sha256},
            {"not_before", time_or_null(certificate.not_before)},
            {"not_after", time_or_null(certificate.not_after)}};
}

json remark_json(const remark_record& remark) {
    return {{"id", remark.id}, {"severity", remark.severity}, {"says", shown_text(remark.says)}};
}

json difference_json(const difference_record& difference) {
    const auto position = [](const std::optional<std::size_t>& at) { return at ? json(*at) : json(); };
    return {{"pcr", difference.pcr},
            {"kind", difference.kind},
            {"reference_position", position(difference.reference)},
            {"live_position", position(difference.live)},
            {"type", difference.type},
            {"reference_says", text_or_null(difference.reference_says)},
            {"live_says", text_or_null(difference.live_says)},
            {"changes", list_json(difference.changes, shown_text)}};
}

json probable_cause_json(const probable_cause_record& cause) {
    return {{"id", cause.id}, {"says", shown_text(cause.says)}, {"act", cause.act}};
}

json cause_json(const run_record& record) {
    if (record.cause == nullptr) {
        return nullptr;
    }
    json out = {{"id", record.cause->id}, {"says", shown_text(record.cause_says)}};
    const stage_record* const stage = stage_of_cause(record);
    out["stage"] = stage != nullptr ? json(stage->id) : json();
    out.update(meaning_json(*record.cause));
    return out;
}

json pmf_json(const pmf_record& pmf) {
    return {{"expires", pmf.expires ? time_or_null(*pmf.expires) : json()},
            {"signers", list_json(pmf.signers, certificate_json)},
            {"partitions", list_json(pmf.partitions, partition_json)}};
}

json quote_json(const quote_facts& facts) {
    return {{"clock", facts.clock},
            {"reset_count", facts.reset_count},
            {"restart_count", facts.restart_count},
            {"safe", facts.safe},
            {"firmware_version", facts.firmware_version}};
}

json evidence_json(const run_record& record) {
    if (!record.evidence) {
        return nullptr;
    }
    const evidence_record& evidence = *record.evidence;
    return {{"accepted", evidence.accepted},
            {"device_id", shown_text(evidence.device.id)},
            {"device_id_source", shown_text(evidence.device.source)},
            {"own_clock", evidence.own_clock},
            {"nonce", evidence.nonce},
            {"key_name", text_or_null(evidence.key_name)},
            {"key_type", text_or_null(evidence.key_type)},
            {"quote", evidence.quote ? quote_json(*evidence.quote) : json()},
            {"findings", list_json(evidence.findings, finding_json)}};
}

json run_json(const run_record& record) {
    json arguments = list_json(record.arguments, shown_text);
    return {{"mode", record.mode},
            {"arguments", std::move(arguments)},
            {"host", text_or_null(record.host)},
            {"recorded_device", text_or_null(record.device_folder)},
            {"started", time_or_null(record.started)},
            {"microseconds", record.microseconds},
            {"signal", text_or_null(record.signal)}};
}

}  // namespace

std::string json_form(const run_record& record) {
    const stage_counts counts = count_stages(record);
    json out = {{"schema", "vellum-report run"},
                {"schema_version", record_schema_version},
                {"tool_version", record.tool_version},
                {"run", run_json(record)},
                {"verdict", verdict_name(record.verdict)},
                {"exit_code", record.exit_code},
                {"cause", cause_json(record)},
                {"counts",
                 {{"passed", counts.passed},
                  {"warned", counts.warned},
                  {"failed", counts.failed},
                  {"skipped", counts.skipped},
                  {"cautions", record.cautions.size()}}},
                {"evidence", evidence_json(record)},
                {"device", device_json(record.device)},
                {"stages", list_json(record.stages, stage_json)},
                {"other_findings", list_json(record.other_findings, finding_json)},
                {"cautions", list_json(record.cautions, caution_json)},
                {"pcrs", pcrs_json(record)},
                {"events", list_json(record.events, event_json)},
                {"log_health", list_json(record.log_health, remark_json)},
                {"differences", list_json(record.differences, difference_json)},
                {"probable_causes", list_json(record.probable_causes, probable_cause_json)},
                {"measured_partitions", list_json(record.measured_partitions, partition_json)},
                {"pmf", pmf_json(record.pmf)},
                {"inputs", list_json(record.inputs, input_json)}};
    return out.dump(2, ' ', false, json::error_handler_t::replace) + '\n';
}

}  // namespace vellum::reporting
