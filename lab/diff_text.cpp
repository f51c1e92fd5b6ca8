#include <algorithm>

#include "base/text.h"
#include "lab/diff_report.h"
#include "tpm/event_details/event_changes.h"
#include "tpm/event_details/event_text.h"

namespace vellum::lab {
namespace {

constexpr std::size_t usual_columns = 80;
constexpr std::size_t least_columns = 40;
constexpr std::size_t most_head_lines = 10;

std::size_t width_of(const page_style& style) {
    return style.columns == 0 ? usual_columns : std::max(style.columns, least_columns);
}

// The text in lines of this width, broken at blanks; the first begins at `indent`, the others further in. A word that
// is longer stands in a line of its own: nothing is cut.
std::vector<std::string> flow(std::string_view text, std::size_t indent, std::size_t further, std::size_t width) {
    std::vector<std::string> lines;
    std::string line(indent, ' ');
    std::size_t columns = indent;
    bool empty = true;
    while (!text.empty()) {
        const std::string_view word = take_until(text, ' ');
        const std::size_t word_columns = columns_of(word);
        if (!empty && columns + 1 + word_columns > width) {
            lines.push_back(std::move(line));
            line = std::string(indent + further, ' ');
            columns = indent + further;
            empty = true;
        }
        columns += word_columns + (empty ? 0 : 1);
        line.append(empty ? "" : " ").append(word);
        empty = false;
    }
    lines.push_back(std::move(line));
    return lines;
}

// "0, 4 and 6"; of very many the first.
std::string joined(const std::vector<std::string>& items) {
    constexpr std::size_t most = 32;
    std::string out;
    for (std::size_t i = 0; i < std::min(items.size(), most); ++i) {
        out += (i == 0 ? "" : i + 1 == items.size() ? " and " : ", ") + items[i];
    }
    return items.size() <= most ? out : out + " and " + std::to_string(items.size() - most) + " more";
}

ink ink_of(step_kind kind) {
    switch (kind) {
        case step_kind::changed: return ink::yellow;
        case step_kind::removed: return ink::red;
        case step_kind::added: return ink::green;
        default: return ink::faint;
    }
}

// For people.
std::string phrase_of(step_kind kind) {
    return kind == step_kind::restated ? "described otherwise" : step_name(kind);
}

class text_report {
  public:
    text_report(const log_diff& diff, page_writer& page) : diff_(diff), page_(page), width_(width_of(page.style())) {}

    void write();

  private:
    void write_lines(const std::vector<std::string>& lines);
    void write_entry(const std::string& text, std::size_t indent);
    void write_head();
    std::string first_sentence() const;
    void write_causes(std::size_t room);
    struct told_cause {
        std::vector<std::string> brief;
        std::vector<std::string> whole;
    };
    told_cause tell(const probable_cause& cause) const;
    void write_pcr(const pcr_alignment& pcr);
    void write_step(const alignment_step& step);
    void write_fields(const alignment_step& step);
    std::string place_of(const alignment_step& step) const;

    const log_diff& diff_;
    page_writer& page_;
    std::size_t width_;
    claim_checker claims_;
};

void text_report::write_lines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        page_.text(line + '\n');
    }
}

// A terminal shows the beginning of what is very long, everything else gets all of it.
void text_report::write_entry(const std::string& text, std::size_t indent) {
    constexpr std::size_t most_lines = 3;
    std::vector<std::string> lines = flow(text, indent, 2, width_);
    if (page_.style().columns != 0 && lines.size() > most_lines) {
        lines.resize(most_lines);
        lines.back() += "...";
    }
    write_lines(lines);
}

// Head -------------------------------------------------------------------------------------------------------------

std::string text_report::first_sentence() const {
    step_counts all{};
    std::vector<std::string> pcrs;
    for (const pcr_alignment& pcr : diff_.pcrs) {
        const step_counts counts = counts_of(pcr.steps);
        if (!is_same(counts)) {
            pcrs.push_back(std::to_string(pcr.pcr));
        }
        std::transform(all.begin(), all.end(), counts.begin(), all.begin(), std::plus<>());
    }
    if (pcrs.empty()) {
        return (diff_.causes.empty() ? "The logs are alike: " : "All events of the logs are alike: ") +
               counted(all[0], "event") + " in " + counted(diff_.pcrs.size(), "PCR") + ".";
    }
    std::vector<std::string> kinds;
    for (const step_kind kind :
         {step_kind::changed, step_kind::added, step_kind::removed, step_kind::moved, step_kind::restated}) {
        if (const std::size_t count = all[static_cast<std::size_t>(kind)]; count > 0) {
            kinds.push_back((kinds.empty() ? counted(count, "event") : std::to_string(count)) + ' ' +
                            phrase_of(kind));
        }
    }
    return "The logs differ in PCR " + joined(pcrs) + ": " + joined(kinds) + "; " + std::to_string(all[0]) +
           " alike.";
}

// What happened and where, and the same with what exactly changed and who should act.
text_report::told_cause text_report::tell(const probable_cause& cause) const {
    const std::string evidence = evidence_text(cause.evidence);
    const std::string brief =
        "Probably " + std::string(cause.happened) + (evidence.empty() ? "" : " (" + evidence + ")");
    told_cause out;
    out.brief = flow(brief + '.', 0, 2, width_);
    out.whole = flow(brief + (cause.detail.empty() ? "." : ": " + cause.detail), 0, 2, width_);
    const std::vector<std::string> act = flow(cause.act, 2, 0, width_);
    out.whole.insert(out.whole.end(), act.begin(), act.end());
    return out;
}

// The gravest as a whole, the others at least in brief as far as there is room; those that find none are named.
void text_report::write_causes(std::size_t room) {
    std::vector<told_cause> told;
    std::size_t taken = 0;
    std::vector<std::string> others;
    for (const probable_cause& cause : diff_.causes) {
        told_cause next = tell(cause);
        const bool last = &cause == &diff_.causes.back();
        const std::size_t needed = told.empty() ? next.whole.size() : next.brief.size();
        if (others.empty() && taken + needed + (last ? 0 : 1) <= room) {
            taken += needed;
            told.push_back(std::move(next));
        } else {
            others.emplace_back(cause.code);
        }
    }
    const std::vector<std::string> rest =
        others.empty() ? others : flow("Probably also: " + joined(others) + ".", 0, 2, width_);
    taken += rest.size();
    for (const told_cause& cause : told) {
        const bool first = &cause == &told.front();
        const std::size_t more = first ? 0 : cause.whole.size() - cause.brief.size();
        const bool fits = taken + more <= room;
        taken += fits ? more : 0;
        write_lines(fits ? cause.whole : cause.brief);
    }
    write_lines(rest);
}

void text_report::write_head() {
    const std::vector<std::string> lines = flow(first_sentence(), 0, 2, width_);
    write_lines(lines);
    write_causes(most_head_lines - std::min(lines.size(), most_head_lines - 1));
}

// Changes ----------------------------------------------------------------------------------------------------------

std::string text_report::place_of(const alignment_step& step) const {
    const auto at = [](const compared_log& log, std::uint32_t index) {
        return std::to_string(log.sequence.position_of(index));
    };
    if (step.live == no_event) {
        return "event " + at(diff_.reference, step.reference) + " of the reference";
    }
    const std::string live = at(diff_.live, step.live);
    if (step.reference == no_event) {
        return "event " + live + " of the live log";
    }
    const std::string reference = at(diff_.reference, step.reference);
    return "event " + (reference == live ? live : reference + " -> " + live);
}

void text_report::write_fields(const alignment_step& step) {
    const event_change change = compare_event(diff_.reference_event(step), diff_.live_event(step), claims_);
    for (const field_change& field : change.fields) {
        write_entry("- " + field.says, 6);
    }
}

void text_report::write_step(const alignment_step& step) {
    const logged_event& event = step.live != no_event ? diff_.live_event(step) : diff_.reference_event(step);
    std::string line = "  ";
    paint(line, phrase_of(step.kind), ink_of(step.kind), page_.style());
    page_.text(line + ": " + place_of(step) + ", " + event_type_name(event.type) + '\n');
    write_entry(summary_of(event, decode_event(event)), 4);
    if (step.kind == step_kind::changed || step.kind == step_kind::restated) {
        write_fields(step);
    }
}

void text_report::write_pcr(const pcr_alignment& pcr) {
    const bool other_value = std::any_of(pcr.steps.begin(), pcr.steps.end(), [&](const alignment_step& step) {
        return changes_pcr(diff_.reference.sequence, diff_.live.sequence, step);
    });
    std::string title;
    paint(title, "PCR " + std::to_string(pcr.pcr), ink::strong, page_.style());
    page_.text('\n' + title + (other_value ? "" : ", whose value is the same") + '\n');
    for (std::size_t i = 0; i < pcr.steps.size() && page_.is_read();) {
        const std::size_t first = i;
        while (i < pcr.steps.size() && pcr.steps[i].kind == step_kind::alike) {
            ++i;
        }
        if (i > first) {
            std::string line;
            paint(line, "  " + counted(i - first, "event") + " alike", ink::faint, page_.style());
            page_.text(line + '\n');
        } else {
            write_step(pcr.steps[i++]);
        }
    }
}

void text_report::write() {
    write_head();
    std::vector<std::string> alike;
    for (const pcr_alignment& pcr : diff_.pcrs) {
        if (is_same(counts_of(pcr.steps))) {
            alike.push_back(std::to_string(pcr.pcr));
        } else {
            write_pcr(pcr);
        }
    }
    if (alike.size() < diff_.pcrs.size() && !alike.empty()) {
        page_.text("\n");
        write_lines(flow("Alike: PCR " + joined(alike) + ".", 0, 2, width_));
    }
}

}  // namespace

void write_text(const log_diff& diff, page_writer& page) {
    text_report(diff, page).write();
}

}  // namespace vellum::lab
