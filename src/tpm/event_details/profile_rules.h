// Where the TCG PC Client Platform Firmware Profile allows an event type: the PCRs of the firmware (0 to 7) in which
// it may stand, and those in which it may still come behind the separator, with which the firmware hands over.
#pragma once

#include <cstdint>

namespace vellum {

// The PCRs that the profile speaks of.
inline constexpr std::uint32_t firmware_pcrs = 0xFF;

struct profile_rule {
    std::uint32_t type;
    std::uint32_t pcrs;              // a mask
    std::uint32_t behind_separator;  // the same
};

// Null for a type that the profile does not know, of which nothing can be said.
const profile_rule* profile_rule_of(std::uint32_t type);

}  // namespace vellum
