// What the two kinds of inspection share: the description and what speaks against the file. Internal to inspect.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "lab/inspect.h"
#include "platform/console.h"
#include "pmf/format.h"

namespace vellum::lab {

// Keys in the order of the format, words joined by "_".
using report = nlohmann::ordered_json;

// Grow when a key is renamed, removed or changes its meaning; further keys do not count.
inline constexpr int pmf_schema_version = 1;
inline constexpr int event_log_schema_version = 2;

// Keeps what is logged, for the report instead of the terminal.
class finding_console final : public console {
  public:
    void start() override {}
    void write(console_stream, std::string_view text) override { text_ += text; }
    void set_colour(console_stream, colour) override {}
    void reset_colour(console_stream) override {}

    // The deferred messages, newest first, behind what was logged, as an array of lines; both are taken.
    report take();

  private:
    std::string text_;
};

// "0x" and eight digits.
std::string hex_number(std::uint32_t value);

// What validation does about a flaw. It ignores those that strike later.
enum class validation_effect { fails, warns, ignores };

// The head of a report, with room for the verdict.
void begin_report(const inspect_request& request, report& out);

// What speaks against the file, and what is odd about it but does not. `code` is for machines, `says` a sentence.
void add_reason(report& out, const char* code, const std::string& says, report details);
void add_reason(report& out, const char* code, const std::string& says, validation_effect effect, report details);
void add_caution(report& out, const char* code, const std::string& says, report details);

// Fills the description as far as the file is understood.
inspect_outcome describe_pmf(const inspect_request& request, directory_listing& directories, clock& time,
                             finding_console& findings, report& out);

// Writes the whole description, but of what is no log or cannot be read only fills in what there is to say.
inspect_outcome inspect_event_log(const inspect_request& request, const platform& machine, finding_console& findings,
                                  page_writer& writer, report& out);

// Adds the header and the extensions of a PMF with every field by name.
void describe_fields(const PmfDocument& document, report& out);

// The report as text; the verdict is the last line.
std::string page_of(const report& description, inspect_extent extent);

}  // namespace vellum::lab
