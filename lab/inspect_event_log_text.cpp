// An event log for people: one line an event, or with everything also what it holds below it.
#include <algorithm>
#include <charconv>
#include <string_view>

#include "base/text.h"
#include "lab/inspect_event_log.h"
#include "lab/inspect_text.h"
#include "tpm/event_details/event_text.h"

namespace vellum::lab {
namespace {

constexpr std::size_t field_indent = 4;      // with it the digits of a SHA-256 value fit a line
constexpr std::size_t position_columns = 5;  // "event"
constexpr std::size_t pcr_columns = 3;
// A terminal of fewer columns shows the beginning of long types, so that there is room for what an event says.
constexpr std::size_t wide_terminal = 100;
constexpr std::size_t narrow_type_columns = 20;

struct proof_mark {
    digest_proof proof;
    std::string_view mark;
    ink colour;
    std::string_view legend;
};
constexpr proof_mark marks[] = {
    {digest_proof::proved, "+", ink::green, "proved: the digest is the hash of what is shown"},
    {digest_proof::claimed, "?", ink::plain, "claimed: the digest is of something that is not in the log"},
    {digest_proof::contradicted, "!", ink::red, "contradicted: the digest is not the hash that it should be"},
    {digest_proof::unextended, "-", ink::faint, "informs only: no PCR is extended, so nothing proves it"},
};

const proof_mark& mark_of(digest_proof proof) {
    return *std::find_if(std::begin(marks), std::end(marks), [=](const auto& row) { return row.proof == proof; });
}

std::string claim_text(const digest_claim& claim) {
    std::string out = proof_name(claim.proof);
    switch (claim.proof) {
        case digest_proof::proved: out += std::string(": it is the hash of ") + claim.hashed; break;
        case digest_proof::claimed: out += std::string(": it is that of ") + claim.hashed; break;
        case digest_proof::contradicted: out += std::string(": it is not the hash of ") + claim.hashed; break;
        case digest_proof::unextended: out = "none: the event extends no PCR"; break;
    }
    return out + (claim.well_known != nullptr ? std::string(" (known as that of ") + claim.well_known + ")" : "");
}

// The type without what all of them begin with.
std::string short_type(std::uint32_t type) {
    std::string name = type_text(type);
    return name.starts_with("EV_") ? name.substr(3) : name;
}

void append_right(std::string& out, std::uint32_t value, std::size_t columns) {
    std::array<char, 10> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    const auto size = static_cast<std::size_t>(end - digits.data());
    out.append(columns - std::min(size, columns), ' ').append(digits.data(), size);
}

class text_log final : public event_log_page {
  public:
    text_log(const inspect_request& request, page_writer& writer) : request_(request), writer_(writer) {}

    void begin(const log_beginning& log) override;
    void event(const shown_event& shown) override;
    void end(const log_ending& log) override;

  private:
    void fields(const report& node, std::size_t indent);
    void heading(std::string_view text);
    void below(const shown_event& shown);
    void pcrs(const log_ending& log, std::size_t bank);
    void pcr(const log_ending& log, std::size_t bank, std::size_t number);

    const inspect_request& request_;
    page_writer& writer_;
    std::string line_;
    std::size_t position_columns_ = position_columns;
    std::size_t type_columns_ = 0;
    bool is_first_ = true;
};

void text_log::fields(const report& node, std::size_t indent) {
    text_page page(inspect_extent::everything);
    page.fields(node, indent);
    writer_.text(page.take());
}

void text_log::heading(std::string_view text) {
    line_.clear();
    paint(line_, text, ink::strong, writer_.style());
    writer_.line(line_);
}

void text_log::begin(const log_beginning& log) {
    report head = head_of(*log.fields);
    if (head.contains("spec_id")) {
        head["spec_id"] = head["spec_id"]["summary"];
    }
    fields(head, 0);
    if (log.type_columns == 0) {
        return;
    }
    const std::size_t columns = writer_.style().columns;
    const bool is_narrow = columns != 0 && columns < wide_terminal;
    position_columns_ = std::max(position_columns, std::to_string(log.events).size());
    type_columns_ = is_narrow ? std::min(log.type_columns, narrow_type_columns) : log.type_columns;
    writer_.line("");
    for (const proof_mark& row : marks) {
        line_ = "  ";
        paint(line_, row.mark, row.colour, writer_.style());
        writer_.line(line_.append("  ").append(row.legend));
    }
    writer_.line("");
    std::string names = std::string(position_columns_ - position_columns, ' ') + "event  PCR     type";
    pad(names, 0, position_columns_ + pcr_columns + 7 + type_columns_);
    heading(names + "  what it says");
}

void text_log::event(const shown_event& shown) {
    if (!writer_.is_read()) {
        return;
    }
    const page_style& style = writer_.style();
    const proof_mark& mark = mark_of(shown.claim.proof);
    const bool is_whole = request_.extent == inspect_extent::everything;
    if (is_whole && !is_first_) {
        writer_.line("");
    }
    is_first_ = false;
    line_.clear();
    append_right(line_, shown.position, position_columns_);
    append_right(line_.append("  "), shown.event.pcr, pcr_columns);
    paint(line_.append("  "), mark.mark, mark.colour, style);
    line_.append("  ");
    const std::string type = short_type(shown.event.type);
    const std::size_t start = line_.size();
    append_cut(line_, type, type_columns_);
    pad(line_, start, type_columns_);
    line_.append("  ").append(summary_of(shown.event, shown.details));
    writer_.line(line_);
    if (is_whole) {
        below(shown);
    }
}

void text_log::below(const shown_event& shown) {
    const logged_event& event = shown.event;
    report out = {{"type", type_text(event.type) + " (" + hex_number(event.type) + ")"}};
    if (shown.pcr_position != 0) {
        out["position"] = std::to_string(shown.pcr_position) + " in PCR " + std::to_string(event.pcr);
    }
    out["size"] = event.data.size();
    out["proof"] = claim_text(shown.claim);
    for (const event_digest& digest : event.banks()) {
        out["digests"][bank_text(digest.algorithm)] = lower_hex(digest.value);
    }
    for (std::size_t bank = 0; bank < shown.registers.bank_count() && shown.pcr_position != 0; ++bank) {
        out["pcr_values"][bank_text(shown.registers.algorithm(bank))] =
            lower_hex(shown.registers.value(bank, event.pcr));
    }
    out["details"] = details_json(shown.details, hash_lists::listed);
    if (std::holds_alternative<not_decoded>(shown.details)) {
        out["data"] = lower_hex(event.data);
    }
    fields(out, field_indent);
}

// With a SHA-256 value it fits the narrowest terminal.
void text_log::pcr(const log_ending& log, std::size_t bank, std::size_t number) {
    const auto* const row = given_value(*log.health, bank, number);
    const bool same = row == nullptr || row->matches;
    line_.clear();
    append_right(line_, static_cast<std::uint32_t>(number), pcr_columns);
    append_right(line_.append("  "), log.events[number], 6);
    paint(line_.append(" "), row == nullptr ? "" : same ? "=" : "!", same ? ink::green : ink::red, writer_.style());
    writer_.text(line_ + (row == nullptr ? "  " : " ") + lower_hex(log.health->registers().value(bank, number)) +
                 '\n');
    if (!same) {
        writer_.text("      given   " + lower_hex(row->given.value) + '\n');
    }
}

void text_log::pcrs(const log_ending& log, std::size_t bank) {
    const std::uint32_t told = told_pcrs(request_, log);
    if (told == 0) {
        return;
    }
    const std::string name = bank_text(log.health->registers().algorithm(bank));
    writer_.line("");
    const auto& given = log.health->given().rows();
    const bool has_given = std::any_of(given.begin(), given.end(), [=](const auto& row) { return row.bank == bank; });
    heading("PCR  events   " + name + " value after its last event" + (has_given ? ": = as given, ! not" : ""));
    for (std::size_t number = 0; number < pcr_count; ++number) {
        if ((told >> number & 1U) != 0) {
            pcr(log, bank, number);
        }
    }
}

void text_log::end(const log_ending& log) {
    for (std::size_t bank = 0; log.health != nullptr && bank < log.health->registers().bank_count(); ++bank) {
        pcrs(log, bank);
    }
    text_page page(request_.extent);
    page.remarks("notes", log.fields->at("notes"));
    page.remarks("cautions", log.fields->at("cautions"));
    page.remarks("reasons", log.fields->at("reasons"));
    writer_.text(page.take());
    const auto verdict = log.fields->at("verdict").get<std::string>();
    line_ = "verdict: ";
    paint(line_, verdict, verdict == "well-formed" ? ink::green : ink::red, writer_.style());
    writer_.line("");
    writer_.line(line_);
}

}  // namespace

std::unique_ptr<event_log_page> text_page_of_log(const inspect_request& request, page_writer& writer) {
    return std::make_unique<text_log>(request, writer);
}

}  // namespace vellum::lab
