// Tokens in file paths: "::UUID::", "::SERIAL_NUMBER::", "::OEM_DEFINED_LITERAL::" and "::OEM_DEFINED_BLOB::" stand
// for this machine's Device ID of that source, so that one configuration names per-device files.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/result.h"
#include "config/device_id.h"

namespace vellum {

// Whether a token asks for the platform's identity.
bool needs_platform_identity(std::string_view path);

// Replaces every character outside [0-9a-zA-Z_.-] by "_" and counts them. Fails with invalid for an empty text, which
// would leave a name without the value it asks for.
result replace_illegal_path_chars(std::string& text, std::size_t& replaced);

// The path with its tokens replaced. `identity` may be null when no token asks for it, `external_id` (the text given
// as --external_device_id) when there is none. Takes up to 256 characters and makes up to 259. Fails with invalid for
// a path or token that cannot be translated, internal_failure for a value that does not fit; the reason is reported
// and `out` is empty.
result translate_path_tokens(const std::string& path, const platform_identity* identity,
                             const std::string* external_id, std::string& out);

}  // namespace vellum
