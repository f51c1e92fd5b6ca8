// Whether TPM, event log and PMF agree about the PCRs: a tile each, and all values.
#include <algorithm>
#include <array>

#include "base/text.h"
#include "report/html_parts.h"
#include "report/html_sections.h"

namespace vellum::reporting {
namespace {

constexpr markup purposes[pcr_count] = {
    "firmware",
    "firmware settings",
    "option cards",
    "card settings",
    "boot loader",
    "disk, seal",
    "maker's events",
    "Secure Boot",
    "operating system",
    "operating system",
    "operating system",
    "system start",
    "operating system",
    "operating system",
    "operating system",
    "operating system",
    "debug",
    "dynamic launch",
    "dynamic launch",
    "dynamic launch",
    "dynamic launch",
    "dynamic launch",
    "dynamic launch",
    "programs",
};

enum class agreement { unused, alone, agrees, parts };

struct source {
    markup name;
    const std::optional<pcr_value>* value;
};
using sources = std::array<source, 3>;

sources sources_of(const pcr_record& pcr) {
    return {{{"TPM", &pcr.tpm}, {"log", &pcr.log}, {"PMF", &pcr.pmf}}};
}

bool is_untouched(const pcr_value& value) {
    return all_zero(value) || all_of_value(value, 0xFF);
}

// A PCR for dynamic launch starts with all bits set, and a launch clears it: as long as nothing extends it, neither
// is a difference.
bool is_unused(const pcr_record& pcr) {
    return pcr.events == 0 && !pcr.pmf && (!pcr.tpm || is_untouched(*pcr.tpm)) &&
           (!pcr.log || is_untouched(*pcr.log));
}

agreement agreement_of(const pcr_record& pcr) {
    const pcr_value* first = nullptr;
    std::size_t count = 0;
    bool same = true;
    for (const source& from : sources_of(pcr)) {
        if (*from.value) {
            first = first == nullptr ? &**from.value : first;
            same = same && **from.value == *first;
            ++count;
        }
    }
    if (count == 0 || is_unused(pcr)) {
        return agreement::unused;
    }
    return !same ? agreement::parts : count == 1 ? agreement::alone : agreement::agrees;
}

constexpr look unused_look = {"none", "skipped", "unused"};
constexpr look alone_look = {"none", "skipped", "one source"};
constexpr look agrees_look = {"good", "passed", "agree"};
constexpr look parts_look = {"bad", "failed", "differ"};

const look& look_of(agreement how) {
    switch (how) {
        case agreement::unused: return unused_look;
        case agreement::alone: return alone_look;
        case agreement::agrees: return agrees_look;
        case agreement::parts: break;
    }
    return parts_look;
}

// Whether another source holds the same value.
bool is_shared(const source& one, const sources& all) {
    return std::count_if(all.begin(), all.end(), [&one](const source& other) { return *other.value == *one.value; }) >
           1;
}

void write_sources(const pcr_record& pcr, agreement how, html_writer& out) {
    out.raw("<ul class='sources'>");
    const sources all = sources_of(pcr);
    for (const source& from : all) {
        markup css = "same";
        markup says = "";
        if (!*from.value) {
            css = "absent";
            says = ": no value";
        } else if (how == agreement::parts && !is_shared(from, all)) {
            css = "other";
            says = ": another value";
        }
        out.raw("<li class='").raw(css).raw("'>").raw(from.name).raw("<span class='unseen'>").raw(says);
        out.raw("</span></li>");
    }
    out.raw("</ul>");
}

void write_tile(std::size_t number, const pcr_record& pcr, html_writer& out) {
    const agreement how = agreement_of(pcr);
    out.raw("<li class='tile ").raw(look_of(how).css).raw("'><div class='head'><b><span class='unseen'>PCR </span>");
    out.number(number).raw("</b>");
    write_badge(look_of(how), out);
    out.raw("</div><span class='purpose'>").raw(purposes[number]).raw("</span>");
    if (how != agreement::unused) {
        write_sources(pcr, how, out);
    }
    out.raw("</li>\n");
}

// Sources that hold the same value share a line.
void write_values(const pcr_record& pcr, html_writer& out) {
    const sources all = sources_of(pcr);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto holds_it = [&](const source& other) { return *other.value == *all[i].value; };
        const auto itself = all.begin() + static_cast<std::ptrdiff_t>(i);
        if (!*all[i].value || std::any_of(all.begin(), itself, holds_it)) {
            continue;
        }
        out.raw("<div class='value'><span>").raw(all[i].name);
        for (std::size_t j = i + 1; j < all.size(); ++j) {
            if (holds_it(all[j])) {
                out.raw(", ").raw(all[j].name);
            }
        }
        out.raw("</span> <code>").text(lower_hex(**all[i].value)).raw("</code></div>");
    }
}

void write_value_table(const run_record& record, html_writer& out) {
    begin_table("pcr-values", "Values of the PCRs", {"PCR", "Events", "Values"}, out);
    for (std::size_t i = 0; i < record.pcrs.size(); ++i) {
        const agreement how = agreement_of(record.pcrs[i]);
        out.raw("<tr class='").raw(look_of(how).css).raw("'><th scope='row'>").number(i).raw("<span class='sub'>");
        out.raw(purposes[i]).raw("</span>");
        write_badge(look_of(how), out);
        out.raw("</th><td class='n'>").number(record.pcrs[i].events).raw("</td><td>");
        write_values(record.pcrs[i], out);
        out.raw("</td></tr>\n");
    }
    end_table(out);
}

std::size_t count_of(const run_record& record, agreement wanted) {
    return static_cast<std::size_t>(
        std::count_if(record.pcrs.begin(), record.pcrs.end(),
                      [wanted](const pcr_record& pcr) { return agreement_of(pcr) == wanted; }));
}

void write_tiles(const run_record& record, html_writer& out) {
    const std::size_t parting = count_of(record, agreement::parts);
    out.raw("<p>").text(parting == 0 ? "No PCR differs"
                                     : counted(parting, "PCR") + (parting == 1 ? " differs" : " differ"));
    out.raw(" between TPM, event log and PMF; ").text(counted(count_of(record, agreement::agrees), "PCR"));
    out.raw(" agree.</p>\n<ol class='tiles'>\n");
    for (std::size_t i = 0; i < record.pcrs.size(); ++i) {
        write_tile(i, record.pcrs[i], out);
    }
    out.raw("</ol>\n");
}

}  // namespace

markup pcr_purpose(std::size_t pcr) {
    return pcr < pcr_count ? purposes[pcr] : markup("no PCR");
}

bool has_pcrs(const run_record& record) {
    return count_of(record, agreement::unused) < record.pcrs.size();
}

void write_pcrs(const run_record& record, html_writer& out) {
    if (count_of(record, agreement::agrees) + count_of(record, agreement::parts) > 0) {
        write_tiles(record, out);
    } else {
        out.raw("<p>Only one source told values, so that there is nothing to hold them against.</p>\n");
    }
    begin_folded("more-facts", "All values", out);
    write_value_table(record, out);
    end_folded(out);
}

}  // namespace vellum::reporting
