// What a recording says of the machine in its good state. Internal to seal.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lab/seal_recording.h"
#include "lab/sealing.h"

namespace vellum::lab {

inline constexpr const char* recorded_log = "tpm/event_log.bin";
inline constexpr const char* recorded_pcr_values = "tpm/pcrs.bin";

struct recorded_machine {
    machine_facts facts;
    bool started_at_locality_3 = false;
    std::int64_t now = 0;                                    // seconds since 1970-01-01 UTC
    std::map<std::string, std::vector<std::uint8_t>> files;  // of the platform, by path in the recording
};

// Returns what is missing or wrong, as a sentence, beneath which there may be findings; empty: nothing, and the parts
// agree with each other. The services of `native` stand in where a recording leaves that to the machine.
std::string read_recorded_machine(const platform& native, const seal_request& request, recorded_machine& out);

}  // namespace vellum::lab
