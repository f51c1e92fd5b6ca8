// The hotkey, as text and as packed records: the same bytes are tried as both.
#include "config/hotkey.h"

#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {
namespace {

// A text that was read prints in a form that is read as the same records; a "+" alone prints as itself.
void check_records(const std::vector<std::uint8_t>& records) {
    const std::optional<std::string> printed = print_hotkey_sequence(records);
    demand(printed.has_value() == (records.size() <= max_hotkey_keystrokes * key_record_size),
           "what was read can be printed if the firmware can hold it");
    if (printed && (*printed + ",").find("+,") == std::string::npos) {
        demand(parse_hotkey_sequence(*printed) == records, "what was printed is read as the same");
    }
}

}  // namespace

void check(byte_view input) {
    const std::string text(input.begin(), input.end());
    if (const auto records = parse_hotkey_sequence(text)) {
        demand(!records->empty() && records->size() % key_record_size == 0, "records are whole");
        check_records(*records);
    }
    if (const auto printed = print_hotkey_sequence(input)) {
        if (const auto records = parse_hotkey_sequence(*printed)) {
            demand(records->size() == input.size(), "as many keystrokes are read as were printed");
            check_records(*records);
        }
    }
}

}  // namespace vellum::fuzz
