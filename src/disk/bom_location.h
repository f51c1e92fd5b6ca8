// Where a partition's BOM file lies, as the PMF writes it: a drive letter, ":", and a path from the volume's root,
// such as C:\bom\system.bom. Both "\" and "/" separate.
#pragma once

#include <string>

#include "base/bytes.h"

namespace vellum {

struct bom_location {
    char letter = 0;   // as written
    std::string path;  // from the volume's root, components joined by "/", none at its start
    std::string text;  // the whole location as written; printable ASCII alone
};

// Reads zero-terminated ASCII. Null for a location that stays within its volume; else what is wrong with it, as the
// end of the sentence "the location ...", and `out` is undefined.
const char* parse_bom_location(byte_view field, bom_location& out);

}  // namespace vellum
