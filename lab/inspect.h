// Says what a PMF or an event log holds: every field by name, as text for people or as JSON for machines.
//
// Both forms come from one description. What the checks of vellum find in the file is part of it.
#pragma once

#include <span>
#include <string>

#include "platform/platform.h"

namespace vellum::lab {

enum class inspect_kind { pmf, event_log };
enum class inspect_form { text, json };

struct inspect_request {
    inspect_kind kind = inspect_kind::pmf;
    inspect_form form = inspect_form::text;
    std::string path;
    std::string trusted_dir;  // of CA certificates; empty: the chain of the PMF's certificate is not built
    std::string intermediate_dir;
};

// "pmf|eventlog FILE [--json] [--trusted DIR] [--intermediate DIR]", the directories for a PMF only.
bool parse_inspect_request(std::span<char* const> arguments, inspect_request& out);

// Describes the file; false when it is not well-formed or cannot be read. Starts and stops logging.
bool inspect(const inspect_request& request, platform services, std::string& out);

}  // namespace vellum::lab
