// PCR values that a log is held against. Internal to inspect.
#pragma once

#include <string>
#include <vector>

#include "platform/platform.h"
#include "tpm/event_details/pcr_comparison.h"

namespace vellum::lab {

// From the running TPM for the name "tpm", from a recorded device for a directory, else from a file of lines "PCR
// VALUE" in hexadecimal, in which a colon behind the number, "0x" before the value and lines without a number change
// nothing. False: `problem` is a sentence, beneath which there may be findings.
[[nodiscard]] bool read_given_pcrs(const std::string& from, const platform& machine, std::vector<given_pcr>& out,
                                   std::string& problem);

}  // namespace vellum::lab
