#include <cstdio>

#include "lab/inspect_text.h"

namespace vellum::lab {
namespace {

constexpr std::size_t field_indent = 4;
constexpr std::size_t field_width = 6;  // "digest"

std::string text_of(const report& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void write_pcrs(const report& pcrs, text_page& page) {
    page.line("");
    page.line(!pcrs.empty() && pcrs.front().contains("value") ? "PCR  events  value after its last event"
                                                              : "PCR  events");
    for (const report& row : pcrs) {
        std::array<char, 32> numbers{};
        std::snprintf(numbers.data(), numbers.size(), "%3zu  %6zu", row["pcr"].get<std::size_t>(),
                      row["events"].get<std::size_t>());
        page.line(numbers.data() + (row.contains("value") ? "  " + text_of(row["value"]) : ""));
    }
}

void write_event(const report& event, text_page& page) {
    page.line("");
    page.line("event " + text_of(event["log_position"]) + "  PCR " + text_of(event["pcr"]) + " #" +
              text_of(event["pcr_position"]) + "  " + text_of(event["type"]) + " (" + text_of(event["type_code"]) +
              "), " + text_of(event["data_size"]) + " bytes");
    constexpr struct {
        const char* key;
        const char* label;
    } rows[] = {{"digest", "digest"}, {"pcr_value", "value"}, {"text", "text"}, {"data", "data"}};
    for (const auto& row : rows) {
        if (event.contains(row.key) && event[row.key] != "") {
            page.value(field_indent, row.label, field_width, text_of(event[row.key]));
        }
    }
}

}  // namespace

std::string event_log_text_of(const report& description, inspect_extent extent) {
    text_page page(extent);
    page.fields(head_of(description), 0);
    if (description.contains("events")) {
        write_pcrs(description["pcrs"], page);
        for (const report& event : description["events"]) {
            write_event(event, page);
        }
    }
    page.verdict(description);
    return page.take();
}

}  // namespace vellum::lab
