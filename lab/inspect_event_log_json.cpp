// An event log for machines: one JSON document, written event by event, an event a line.
#include <utility>

#include "base/text.h"
#include "lab/inspect_event_log.h"
#include "tpm/event_details/event_text.h"

namespace vellum::lab {
namespace {

std::string json_text(const report& value) {
    return value.dump(-1, ' ', false, report::error_handler_t::replace);
}

report digests_of(const logged_event& event) {
    report out = report::object();
    for (const event_digest& digest : event.banks()) {
        out[bank_text(digest.algorithm)] = lower_hex(digest.value);
    }
    return out;
}

report values_of(const log_replay& registers, std::size_t pcr) {
    report out = report::object();
    for (std::size_t bank = 0; bank < registers.bank_count(); ++bank) {
        out[bank_text(registers.algorithm(bank))] = lower_hex(registers.value(bank, pcr));
    }
    return out;
}

report claim_of(const digest_claim& claim) {
    return {{"proof", proof_name(claim.proof)},
            {"hashed", claim.hashed},
            {"well_known", claim.well_known != nullptr ? report(claim.well_known) : report()}};
}

report given_of(const log_health& health, std::size_t pcr) {
    report out = report::object();
    const log_replay& registers = health.registers();
    for (std::size_t bank = 0; bank < registers.bank_count(); ++bank) {
        if (const auto* const row = given_value(health, bank, pcr)) {
            out[bank_text(registers.algorithm(bank))] = {
                {"value", lower_hex(row->given.value)},
                {"matches", row->matches},
                {"last_match", row->last_match ? report(*row->last_match) : report()}};
        }
    }
    return out;
}

class json_page final : public event_log_page {
  public:
    json_page(const inspect_request& request, page_writer& writer) : request_(request), writer_(writer) {}

    void begin(const log_beginning& log) override;
    void event(const shown_event& shown) override;
    void end(const log_ending& log) override;

  private:
    void members(const report& node);
    void list(const char* key);
    void element(const report& value);
    void end_list();
    void pcrs(const log_ending& log);

    const inspect_request& request_;
    page_writer& writer_;
    const char* before_ = "{\n  ";  // what parts the next member from the last one
    const char* before_element_ = "";
};

void json_page::members(const report& node) {
    for (const auto& item : node.items()) {
        writer_.text(std::exchange(before_, ",\n  ") + json_text(item.key()) + ": " + json_text(item.value()));
    }
}

void json_page::list(const char* key) {
    writer_.text(std::exchange(before_, ",\n  ") + json_text(key) + ": [");
    before_element_ = "\n    ";
}

void json_page::element(const report& value) {
    writer_.text(std::exchange(before_element_, ",\n    ") + json_text(value));
}

void json_page::end_list() {
    writer_.text(std::string_view(before_element_) == "\n    " ? "]" : "\n  ]");
}

void json_page::begin(const log_beginning& log) {
    members(*log.fields);
    list("events");
}

void json_page::event(const shown_event& shown) {
    if (!writer_.is_read()) {
        return;
    }
    const logged_event& event = shown.event;
    const bool extends = shown.pcr_position != 0;
    const auto hashes = request_.extent == inspect_extent::everything ? hash_lists::listed : hash_lists::counted;
    report out = {{"log_position", shown.position},
                  {"pcr", event.pcr},
                  {"pcr_position", extends ? report(shown.pcr_position) : report()},
                  {"type", event_type_name(event.type)},
                  {"type_code", hex_number(event.type)},
                  {"kind", kind_name(shown.details)},
                  {"summary", summary_of(event, shown.details)},
                  {"digests", digests_of(event)},
                  {"pcr_values", extends ? values_of(shown.registers, event.pcr) : report::object()},
                  {"claim", claim_of(shown.claim)},
                  {"details", details_json(shown.details, hashes)},
                  {"data_size", event.data.size()},
                  {"data", lower_hex(event.data)}};
    element(out);
}

void json_page::pcrs(const log_ending& log) {
    const std::uint32_t told = log.health != nullptr ? told_pcrs(request_, log) : 0;
    list("pcrs");
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        if ((told >> pcr & 1U) == 0) {
            continue;
        }
        report row = {{"pcr", pcr}, {"events", log.events[pcr]}, {"values", values_of(log.health->registers(), pcr)}};
        if (report given = given_of(*log.health, pcr); !given.empty()) {
            row["given"] = std::move(given);
        }
        element(row);
    }
    end_list();
}

void json_page::end(const log_ending& log) {
    end_list();
    pcrs(log);
    members(*log.fields);
    writer_.text("\n}\n");
}

}  // namespace

std::unique_ptr<event_log_page> json_page_of_log(const inspect_request& request, page_writer& writer) {
    return std::make_unique<json_page>(request, writer);
}

}  // namespace vellum::lab
