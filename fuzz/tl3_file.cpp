// The TL3 seal identity file.
#include "config/tl3_file.h"

#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {
namespace {

constexpr std::string Tl3SealIdentity::*fields[] = {
    &Tl3SealIdentity::seal_date_time,   &Tl3SealIdentity::device_id_type,    &Tl3SealIdentity::device_id,
    &Tl3SealIdentity::seal_instance_id, &Tl3SealIdentity::signing_algorithm, &Tl3SealIdentity::seal_integrity_data,
};

// The text with a carriage return before each line end, which the reader takes away again: a field may hold both.
std::string with_carriage_returns(const std::string& text) {
    std::string longer;
    for (const char c : text) {
        longer += c == '\n' ? "\r\n" : std::string(1, c);
    }
    return longer;
}

}  // namespace

void check(byte_view input) {
    Tl3SealIdentity identity;
    const bool read = ok(read_tl3_identity_file(scratch().write("tl3.csv", input), identity));
    std::string text =
        "sep=,\nKVR TL3 Seal File,version,1\n"
        "Seal Date & Time,Device ID Type,Device ID,Seal Instance ID,TL3 Sign Algorithm,Seal Integrity Data\n";
    for (const auto field : fields) {
        demand(read != (identity.*field).empty(), "every field is there, or none");
        text += identity.*field + ",";
    }
    Tl3SealIdentity again;
    const bool read_again =
        ok(read_tl3_identity_file(scratch().write("again.csv", with_carriage_returns(text)), again));
    demand(read_again == read, "what was read prints as a well-formed file");
    for (const auto field : fields) {
        demand(identity.*field == again.*field, "what was read prints and reads as the same");
    }
}

}  // namespace vellum::fuzz
