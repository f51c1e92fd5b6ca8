// The numbers of the commands that the firmware's Kovrin client knows.
#pragma once

#include <cstdint>

namespace vellum {

enum class firmware_command : std::uint32_t {
    GM_FILE_GET = 1,
    FEATURE_DEACTIVATE = 6,
    FEATURE_GET_STATE = 7,
    GET_VERSION = 10,
};

}  // namespace vellum
