// Sets the event log of a boot beside that of another one, the reference: which events changed, what that means and
// what probably happened, as text for people or as JSON for machines.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "core/pcr.h"
#include "lab/terminal.h"
#include "platform/platform.h"
#include "tools/request_reading.h"

namespace vellum::lab {

enum class diff_form { text, json };

struct diff_request {
    std::string reference;  // paths
    std::string live;
    std::uint32_t pcrs = all_pcrs;  // a mask; all of them: also registers that are no PCRs
    diff_form form = diff_form::text;
};

// Reads "[OPTION]... REFERENCE LIVE".
request_reading read_diff_request(std::span<char* const> arguments, diff_request& out);

// The exit code.
enum class diff_outcome { same = 0, unreadable = 3, different = 5 };

// Writes the report piece by piece. Of what cannot be read the text form says nothing but `problem`, a sentence, for
// standard error. Starts and stops logging.
diff_outcome diff(const diff_request& request, platform services, page_writer& page, std::string& problem);

}  // namespace vellum::lab
