// Says what a PMF or an event log holds and what speaks against it: every field by name, as text for people or as
// JSON for machines.
//
// What is said of a file is what the functions that validation uses find in it. An event log is described event by
// event, so that it takes little more memory than the log.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "core/pcr.h"
#include "lab/terminal.h"
#include "platform/platform.h"
#include "tools/request_reading.h"

namespace vellum::lab {

enum class inspect_kind { pmf, event_log };
enum class inspect_form { text, json };

// Of the text form, how much of a long value and of an event is shown; of both forms, whether PCRs without events
// are.
enum class inspect_extent { usual, everything };

struct inspect_request {
    inspect_kind kind = inspect_kind::pmf;
    inspect_form form = inspect_form::text;
    inspect_extent extent = inspect_extent::usual;
    std::string path;

    // What a PMF is judged by. Without a configuration one is assumed that demands a signed PMF.
    std::optional<std::string> config_file;
    std::optional<std::string> trusted_dir;  // of CA certificates; it and the next one win over the configuration
    std::optional<std::string> intermediate_dir;
    std::optional<calendar_day> day;  // at its end, where the machine is; absent: now

    // Of an event log, what is shown; its verdict is on all of it.
    std::uint32_t pcrs = all_pcrs;          // a mask
    std::optional<std::uint32_t> type;      // absent: all
    std::optional<std::string> pcr_values;  // what it is held against: "tpm", a recorded device or a file
};

// Reads "pmf|eventlog [OPTION]... FILE".
request_reading read_inspect_request(std::span<char* const> arguments, inspect_request& out);

// What a file is worth, and the exit code that says so.
enum class inspect_outcome {
    good = 0,        // fit, or well-formed
    unreadable = 3,  // it cannot be read or is nothing of the kind, or the configuration cannot be read
    bad = 5,         // not fit, or refused, or damaged
};

// Where a description goes.
struct inspect_output {
    text_sink description;
    text_sink refusal;  // of a file that cannot be read, in the form for people
    page_style style;
};

// Describes the file. Starts and stops logging.
inspect_outcome inspect(const inspect_request& request, platform services, const inspect_output& out);

// The same as one text, as it is where there is no terminal.
inspect_outcome inspect(const inspect_request& request, platform services, std::string& out);

}  // namespace vellum::lab
