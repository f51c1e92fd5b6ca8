// What the two kinds of inspection share: the description and what the checks found. Internal to inspect.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "core/bytes.h"
#include "lab/inspect.h"
#include "platform/console.h"
#include "pmf/format.h"

namespace vellum::lab {

// Keys in the order of the format, words joined by "_".
using report = nlohmann::ordered_json;

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

// Both fill the description as far as the file is understood; false when it is not well-formed.
bool describe_pmf(const inspect_request& request, directory_listing& directories, finding_console& findings,
                  report& out);
bool describe_event_log(const inspect_request& request, finding_console& findings, report& out);

// Adds the header and the extensions of a PMF with every field by name.
void describe_fields(const PmfDocument& document, report& out);

}  // namespace vellum::lab
