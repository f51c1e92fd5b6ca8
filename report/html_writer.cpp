#include "report/html_writer.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/text.h"
#include "core/times.h"

namespace vellum::reporting {
namespace {

constexpr std::pair<char, std::string_view> escapes[] = {
    {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"},
};

void append_escaped(std::string_view clean, std::string& out) {
    for (const char c : clean) {
        const auto* const row = std::find_if(std::begin(escapes), std::end(escapes),
                                             [c](const auto& escape) { return escape.first == c; });
        if (row == std::end(escapes)) {
            out += c;
        } else {
            out += row->second;
        }
    }
}

// An option is not broken behind its hyphens, where lines would be.
void append_code(std::string_view code, std::string& out) {
    out += "<code>";
    while (!code.empty()) {
        const std::string_view word = code.substr(0, code.find(' '));
        out += word.starts_with('-') ? "<span>" : "";
        append_escaped(word, out);
        out += word.starts_with('-') ? "</span>" : "";
        code.remove_prefix(word.size());
        if (!code.empty()) {
            out += ' ';
            code.remove_prefix(1);
        }
    }
    out += "</code>";
}

bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string_view cut_at_character(std::string_view text, std::size_t most) {
    std::size_t end = std::min(text.size(), most);
    // A text of such bytes only is none, and is cut anywhere.
    for (int steps = 0; steps < 3 && end < text.size() && end > 0 && continues_character(text[end]); ++steps) {
        --end;
    }
    return text.substr(0, end);
}

}  // namespace

html_writer& html_writer::raw(const markup& literal) {
    page_ += literal.text();
    return *this;
}

html_writer& html_writer::text(std::string_view outside, std::size_t most) {
    const std::string_view shown = cut_at_character(outside, most);
    append_escaped(shown_text(shown), page_);
    if (shown.size() < outside.size()) {
        page_ += "...";
    }
    return *this;
}

html_writer& html_writer::prose(std::string_view own) {
    for (bool in_code = false; !own.empty(); in_code = !in_code) {
        const std::string_view part = take_until(own, '`');
        if (in_code) {
            append_code(part, page_);
        } else {
            append_escaped(part, page_);
        }
    }
    return *this;
}

html_writer& html_writer::number(std::uint64_t value) {
    page_ += std::to_string(value);
    return *this;
}

html_writer& html_writer::percent(axis_place place) {
    const axis_place shown = std::min(place, whole_axis);
    const std::string hundredths = std::to_string(shown % 100);
    page_ += std::to_string(shown / 100) + (hundredths.size() < 2 ? ".0" : ".") + hundredths + '%';
    return *this;
}

html_writer& html_writer::time(std::int64_t seconds) {
    const auto machine = utc_iso_string(seconds);
    const auto people = utc_time_string(seconds);
    if (!machine || !people) {
        return text("an unknown time");
    }
    return raw("<time datetime='").text(*machine).raw("'>").text(*people).raw("</time>");
}

html_writer& html_writer::day(std::int64_t seconds) {
    constexpr std::size_t date = 10;  // characters
    const auto machine = utc_iso_string(seconds);
    if (!machine) {
        return text("an unknown day");
    }
    return raw("<time datetime='").text(*machine).raw("'>").text(machine->substr(0, date)).raw("</time>");
}

std::string span_text(std::int64_t seconds) {
    struct unit {
        std::uint64_t seconds;
        std::uint64_t from;  // how many seconds are told in it
        const char* name;
    };
    constexpr std::uint64_t minute = 60;
    constexpr std::uint64_t hour = 60 * minute;
    constexpr std::uint64_t day = 24 * hour;
    constexpr unit units[] = {
        {365 * day, 730 * day, "year"},
        {day, 2 * day, "day"},
        {hour, 2 * hour, "hour"},
        {minute, minute, "minute"},
    };
    const auto bits = static_cast<std::uint64_t>(seconds);
    const std::uint64_t length = seconds < 0 ? 0 - bits : bits;
    for (const unit& row : units) {
        if (length >= row.from) {
            return counted(length / row.seconds, row.name);
        }
    }
    return counted(length, "second");
}

std::string duration_text(std::int64_t microseconds) {
    const std::int64_t tenths = std::max<std::int64_t>(microseconds, 0) / 100;  // of a millisecond
    if (tenths == 0) {
        return "less than 0.1 ms";
    }
    if (tenths < 100) {
        return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + " ms";
    }
    if (tenths < 100'000) {
        return std::to_string(tenths / 10) + " ms";
    }
    return std::to_string(tenths / 10'000) + " s";
}

}  // namespace vellum::reporting
