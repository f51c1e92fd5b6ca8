// The command line: three option tables, one per mode, over shared option objects.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "platform/console.h"

namespace vellum {

inline constexpr const char* default_config_file = "kxl.ini";

enum class run_mode { validate, unseal, compare_log };

// What the user asked for. A value that was not given is absent.
struct command_options {
    run_mode mode = run_mode::validate;

    bool skip_retrieving_pcrs = false;
    bool skip_retrieving_tpm_event_log = false;
    bool skip_retrieving_platform_measurements = false;
    bool skip_iwl_validation = false;
    bool bypass_version_check = false;

    std::optional<std::string> tpm_event_log_file;
    std::optional<std::string> reference_tpm_log_file;
    std::optional<std::string> pmf_file;
    std::optional<std::string> pmf_external_certificate_path;
    std::optional<std::string> tl3_seal_identity_verification_file;
    std::optional<std::string> external_device_id;

    std::optional<std::string> config_file;
    std::optional<std::string> log_file;
    std::optional<int> cli_level;  // as typed, not yet a log_level
    std::optional<int> file_level;

    int unseal_reason = 2;  // Seal Aborted
    std::optional<std::string> compared_pcrs;
};

// Parses the arguments; the first of validate, unseal and compare whose table takes them all is the mode. When none
// does, prints the errors and the usage of the mode that was named, or the usage of all three, to standard output and
// returns invalid. Tables that cannot be built, and a missing program name, are invalid too.
result parse_command_line(int argc, char** argv, console& console, command_options& out);

// Hands over each mode's table of the options library, by the option that asks for the mode. For a program that
// describes the options; nothing when there is no memory for them.
void show_option_tables(const std::function<void(const char* mode, void* const* table)>& look);

// What a main() is given of these words; it points into them.
std::vector<char*> argv_of(std::vector<std::string>& words);

}  // namespace vellum
