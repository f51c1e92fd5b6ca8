#include "report/explain.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

#include "base/suggestions.h"
#include "base/text.h"
#include "report/words.h"
#include "tools/commands.h"
#include "tools/completion.h"

namespace vellum {
namespace {

constexpr std::size_t page_width = 80;

constexpr const char* usage =
    "usage:\n"
    "    vellum-report explain [ID]\n"
    "        say what a stage, a finding or a caution means and what to do about it;\n"
    "        without ID list them all\n"
    "    vellum-report explain --markdown\n"
    "        all of them as one document\n";

// Texts in lines of at most 80 columns -----------------------------------------------------------------------------

std::string_view take_word(std::string_view& rest) {
    return take_until(rest, ' ');
}

// The text broken at its blanks, each line behind the indentation.
void append_wrapped(std::string& out, std::string_view text, std::size_t indent) {
    std::size_t column = 0;
    while (!text.empty()) {
        const std::string_view word = take_word(text);
        const bool fits = column != 0 && column + 1 + word.size() <= page_width;
        if (!fits) {
            out += column == 0 ? "" : "\n";
            out.append(indent, ' ');
            column = indent;
        } else {
            out += ' ';
            ++column;
        }
        out += word;
        column += word.size();
    }
    out += '\n';
}

void append_section(std::string& out, std::string_view heading, std::string_view text) {
    constexpr std::size_t section_indent = 4;
    out += '\n';
    out += heading;
    out += '\n';
    append_wrapped(out, text, section_indent);
}

std::string explanation(const words& row) {
    std::string out = std::string(row.id) + " (" + word_kind_name(row.kind) + ")\n";
    out += std::string(row.title) + "\n";
    append_section(out, "What it means", row.meaning);
    append_section(out, std::string("Likely cause: ") + cause_class_name(row.cause), row.likely_cause);
    append_section(out, "What to do", row.what_to_do.text);
    append_section(out, "Who", person_name(row.what_to_do.who));
    return out;
}

// The list and the document -----------------------------------------------------------------------------------------

struct kind_heading {
    word_kind kind;
    const char* text;
    const char* introduction;  // of the document
};
constexpr kind_heading headings[] = {
    {word_kind::stage, "Stages",
     "In the order in which they run. A stage that fails shows findings; each of them has words of its own below."},
    {word_kind::finding, "Findings",
     "By identifier. A finding stands under the result of its stage, or at the end of the run."},
    {word_kind::caution, "Cautions", "They decide nothing, and tell of what the stages do not judge."},
};

std::string list() {
    std::size_t width = 0;
    for (const words& row : all_words()) {
        width = std::max(width, std::string_view(row.id).size());
    }
    std::string out;
    for (const kind_heading& heading : headings) {
        out += out.empty() ? "" : "\n";
        out += std::string(heading.text) + "\n";
        for (const words& row : all_words()) {
            if (row.kind == heading.kind) {
                const std::string_view id = row.id;
                out += "  " + std::string(id) + std::string(width - id.size() + 2, ' ') + row.title + "\n";
            }
        }
    }
    return out;
}

// The first entry of the document that has this remedy; others refer to it.
const words& first_with(const remedy& shared) {
    const std::span<const words> all = all_words();
    return *std::find_if(all.begin(), all.end(), [&shared](const words& row) {
        return std::string_view(row.what_to_do.text) == shared.text;
    });
}

std::string remedy_text(const words& row) {
    const words& first = first_with(row.what_to_do);
    const std::string_view beginning = first_sentence(row.what_to_do.text);
    if (&first == &row || beginning == row.what_to_do.text) {
        return row.what_to_do.text;
    }
    return std::string(beginning) + " The rest stands under [" + first.id + "](#" + first.id + ").";
}

void append_entry(std::string& out, const words& row) {
    out += std::string("\n### ") + row.id + "\n\n";
    append_wrapped(out, std::string("**") + row.title + ".** " + row.meaning, 0);
    out += '\n';
    append_wrapped(out, std::string("*Likely cause (") + cause_class_name(row.cause) + "):* " + row.likely_cause, 0);
    out += '\n';
    append_wrapped(out, std::string("*What to do (") + person_name(row.what_to_do.who) + "):* " + remedy_text(row),
                   0);
}

// Answers -----------------------------------------------------------------------------------------------------------

int show(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

int refuse_arguments() {
    std::fputs(usage, stderr);
    return usage_error;
}

std::vector<std::string_view> all_ids() {
    std::vector<std::string_view> known;
    for (const words& row : all_words()) {
        known.emplace_back(row.id);
    }
    return known;
}

int unknown_id(std::string_view id) {
    std::fprintf(stderr, "vellum-report: nothing is known of %s%s\n", shown_text(id).c_str(),
                 did_you_mean(id, all_ids()).c_str());
    return usage_error;
}

// A fleet names the PCR of a finding behind it.
std::string_view without_pcr(std::string_view id) {
    std::string_view pcr = id;
    const std::string_view name = take_until(pcr, '/');
    return parse_decimal<std::uint8_t>(pcr) ? name : id;
}

std::string remedies_document() {
    std::string out = "# What the reports say, and what to do\n\n";
    append_wrapped(out,
                   "`vellum-report explain ID` shows the same for one identifier. The words that are used here are "
                   "explained in `glossary.md`. This document is made by `vellum-report explain --markdown`.",
                   0);
    for (const kind_heading& heading : headings) {
        out += std::string("\n## ") + heading.text + "\n\n";
        append_wrapped(out, heading.introduction, 0);
        for (const words& row : all_words()) {
            if (row.kind == heading.kind) {
                append_entry(out, row);
            }
        }
    }
    return out;
}

}  // namespace

int explain_command(std::span<char* const> arguments) {
    if (asks_for_options(arguments)) {
        print_valued(":", value_kind::other, all_ids());
        return show("--markdown\n");
    }
    if (arguments.empty()) {
        return show(list());
    }
    const std::string_view word = arguments.front();
    if (arguments.size() > 1) {
        return refuse_arguments();
    }
    if (word == "--help" || word == "-h") {
        return show(usage);
    }
    if (word == "--markdown") {
        return show(remedies_document());
    }
    if (word.starts_with('-')) {
        return refuse_arguments();
    }
    const words* const found = words_of(without_pcr(word));
    return found == nullptr ? unknown_id(word) : show(explanation(*found));
}

}  // namespace vellum
