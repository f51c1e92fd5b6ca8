// The TL3 seal identity file: a small comma-separated text that states what a seal without a key-based signature is
// expected to be.
//
// Three fixed header lines, then one row of six fields, each of at least one character and below its capacity. Blank
// lines between them do not count; a field but the last runs to its comma even across a line end; what follows the
// sixth field is ignored, whatever its size; only the first 64 KiB are looked at. CR LF and LF both end a line. What
// the fields say is the caller's to check.
#pragma once

#include <cstddef>
#include <string>

#include "base/result.h"

namespace vellum {

// The bytes that are looked at. Header and row take a few hundred; the rest is for blank lines between them.
inline constexpr std::size_t tl3_scanned_size = std::size_t{64} * 1024;

struct Tl3SealIdentity {
    std::string seal_date_time;
    std::string device_id_type;
    std::string device_id;
    std::string seal_instance_id;
    std::string signing_algorithm;
    std::string seal_integrity_data;  // a digest as text
};

// Fails with check_failed, the reason reported, when the file is missing, unreadable or malformed; `out` is
// then empty.
result read_tl3_identity_file(const std::string& path, Tl3SealIdentity& out);

}  // namespace vellum
