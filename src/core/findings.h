// What checks have to say: findings, kept until somebody prints them, under a stage's result line or at the end of
// the run.
//
// A finding is raised by the function that knows it, as it reads: an identifier, its lines in reading order, and the
// system's error if there is one. It has at least one line, unless it is noted only. Findings are printed newest
// first, so that a cause, which is raised first, stands under what it led to; the lines of each stay in their order.
// Raising never fails: memory that a finding did not get is said when the findings are printed.
//
// The identifier names the meaning, the same for ever, in lower-case words joined by hyphens: "pcr-differs"_id. It
// stands at the one place that raises the finding, and is for programs to read: it is never printed.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "base/format.h"
#include "base/os_status.h"
#include "base/result.h"
#include "core/log.h"

namespace vellum {

// Made by the literal alone, which compiles for a well-formed name only.
class finding_id {
  public:
    constexpr const char* name() const { return name_; }

  private:
    friend consteval finding_id operator""_id(const char* name, std::size_t size);
    constexpr explicit finding_id(const char* name) : name_(name) {}

    const char* name_;
};

consteval finding_id operator""_id(const char* name, std::size_t size) {
    bool word = false;
    for (std::size_t i = 0; i < size; ++i) {
        const bool letter = (name[i] >= 'a' && name[i] <= 'z') || (name[i] >= '0' && name[i] <= '9');
        if (!letter && (name[i] != '-' || !word)) {
            throw "an identifier is made of lower-case words joined by hyphens";
        }
        word = letter;
    }
    if (!word) {
        throw "an identifier ends in a word";
    }
    return finding_id(name);
}

// Adds to the finding that was raised last.
class finding_lines {
  public:
    finding_lines& line(const char* format, ...) VELLUM_PRINTF(2, 3);

    // A finished text.
    finding_lines& text(std::string_view text);

    // An empty line, which is not indented either.
    finding_lines& empty_line();

    // Puts " Error: " and the system's text behind the last line, and its code into the field "os_error".
    finding_lines& system_error(os_status status);

    // What the finding is about, by name, for who observes the run: "pcr", "expected", "actual", "file". It is
    // printed nowhere. The name is a literal; the text, from outside as it may be, is kept as it is. Numbers are
    // decimal, times are seconds since 1970-01-01 UTC, bytes are lower-case hexadecimal; neither is turned into text
    // unless somebody observes.
    finding_lines& field(const char* name, std::string_view value);
    finding_lines& field(const char* name, byte_view value);
    template <std::integral Number>
    finding_lines& field(const char* name, Number value);
};

// Raises a finding that nobody prints, for what the run says in another way, or not at all: fields make it up.
finding_lines note(finding_id id);

// Whether fields and noted findings are kept; a run that nobody observes does without. Who would work for a field
// asks first.
void observe_findings(bool observed);
bool findings_observed();

template <std::integral Number>
finding_lines& finding_lines::field(const char* name, Number value) {
    return findings_observed() ? field(name, std::string_view(std::to_string(value))) : *this;
}

// Raises a finding without a line; it takes one at least.
finding_lines begin_report(finding_id id);

// Raises a finding with its first line.
finding_lines report(finding_id id, const char* format, ...) VELLUM_PRINTF(2, 3);
finding_lines report_text(finding_id id, std::string_view text);

// How many findings there are, to drop those that are raised later: a check drops its own, never those of others.
using finding_mark = std::size_t;
finding_mark mark_findings();
void drop_findings(finding_mark mark);

struct finding_field {
    const char* name = "";
    std::string value;
};

struct finding {
    std::string id;                  // empty for a message that was pushed
    std::vector<std::string> lines;  // none of a finding that is noted only
    std::vector<finding_field> fields;
};

// Copies, oldest first.
std::vector<finding> kept_findings();

// Printing ------------------------------------------------------------------------------------------------------

enum class flush_order { newest_first, oldest_first };

// Prints all findings as one message at `level` and forgets them. Without one, prints nothing.
void flush_messages(log_level level, std::string_view prefix, flush_order order);

// The findings as one text without a line end; forgets them.
std::string take_messages(flush_order order);

void clear_messages();

// Single messages -----------------------------------------------------------------------------------------------

inline constexpr std::uint32_t no_line_break = 1U << 0;  // no line break after this entry
inline constexpr std::uint32_t no_prefix = 1U << 1;      // no indentation before this entry

// Keep one message among the findings, as one without an identifier. Fail with internal_failure for a missing format
// and for exhausted memory; nothing is kept then.
result push_message(const char* format, ...) VELLUM_PRINTF(1, 2);
result push_message_flags(std::uint32_t flags, const char* format, ...) VELLUM_PRINTF(2, 3);

// Two messages that, printed newest first, read as one line: the message, then " Error: TEXT" with the system's text.
result push_os_error(os_status status, const char* format, ...) VELLUM_PRINTF(2, 3);

}  // namespace vellum
