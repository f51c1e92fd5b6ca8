// Gets a PMF from a file and turns its bytes into a document.
//
// The bytes are the same whether they come from a file or from the firmware. What is wrong with them is a
// finding or several, the cause first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/result.h"
#include "core/digest.h"
#include "pmf/format.h"

namespace vellum {

inline constexpr std::uint32_t pmf_marker = 0x464D4750;       // "PGMF"
inline constexpr std::size_t max_pmf_file_size = UINT16_MAX;  // bytes

// Reads the whole file, which must begin with the marker. Fails with invalid for a file that cannot be read, is
// empty, is larger than max_pmf_file_size or has no marker; `out` is empty then.
result load_pmf_file(const std::string& path, std::vector<std::uint8_t>& out);

// Fails with invalid when the bytes do not begin with the marker.
result pmf_marker_check(byte_view pmf);

// Parses the PMF and checks its required rules. The size of the buffer is taken modulo 65536. The document holds
// copies, nothing of it points into the buffer. Results: check_failed for a PMF that is not well-formed or breaks a
// rule, invalid when one of the required extensions is missing, internal_failure for exhausted memory; `out` is empty
// then.
result parse_pmf(byte_view buffer, std::optional<PmfDocument>& out);

// SHA-384 of the whole PMF as it was loaded. Fails with io_failure.
result pmf_digest(byte_view pmf, sha384_value& out);

}  // namespace vellum
