// The location of a BOM file, as a PMF gives it.
#include "disk/bom_location.h"

#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {

void check(byte_view input) {
    bom_location location;
    if (parse_bom_location(input, location) != nullptr) {
        return;
    }
    const std::string slashed = "/" + location.path + "/";
    demand(slashed.find("/../") == std::string::npos && slashed.find("//") == std::string::npos,
           "a location stays within its volume");
    demand(location.path.find('\\') == std::string::npos, "one separator is left");
    bom_location again;
    demand(parse_bom_location(as_bytes(location.text + '\0'), again) == nullptr && again.path == location.path &&
               again.letter == location.letter && again.text == location.text,
           "the text of a location is read as the same");
}

}  // namespace vellum::fuzz
