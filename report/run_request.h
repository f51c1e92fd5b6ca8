// The arguments of "run" and "verify", and how a command refuses its own.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "report/record.h"
#include "tools/request_reading.h"

namespace vellum::reporting {

// A form of a report and where it goes.
struct report_order {
    std::string (*form)(const run_record& record);
    std::string path;  // "-": standard output
};

inline constexpr const char* standard_output = "-";

inline constexpr const char* odd_nonce = "a nonce is 1 to 64 bytes, as hexadecimal digits";

// Says why the arguments of the program are refused.
request_reading refuse_request(const char* program, const char* why);

struct run_request {
    std::vector<report_order> reports;
    std::optional<std::string> device;  // a recorded one
    std::vector<std::string> options;   // vellum's

    bool takes_standard_output() const;
};

request_reading read_run_request(std::span<char* const> arguments, run_request& out);

// The arguments of "verify": those of a run on a recorded device, and what its evidence is held against.
struct verify_request {
    run_request run;
    std::vector<std::uint8_t> nonce;
    std::string identity;  // the path of a file
    bool own_clock = false;
};

request_reading read_verify_request(std::span<char* const> arguments, verify_request& out);

}  // namespace vellum::reporting
