// What the two forms of an inspected event log share: a page that is told of the log's events one after another, so
// that nothing of them is kept. Internal to inspect.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "core/pcr.h"
#include "lab/inspect_report.h"
#include "lab/terminal.h"
#include "tpm/event_details/digest_claim.h"
#include "tpm/event_details/event_details.h"
#include "tpm/event_details/log_health.h"

namespace vellum::lab {

// What is known before the first event is shown.
struct log_beginning {
    const report* fields = nullptr;  // from the file's name to the locality at which the TPM was started
    std::uint32_t events = 0;
    std::size_t type_columns = 0;  // the longest name of a type that is shown
};

struct shown_event {
    std::uint32_t position = 0;      // in the log, from 1
    std::uint32_t pcr_position = 0;  // the same in its PCR; 0: there is no such PCR
    const logged_event& event;
    const event_details& details;
    digest_claim claim;
    const log_replay& registers;  // after it
};

// What is known once all are.
struct log_ending {
    const log_health* health = nullptr;             // null: the log could not be opened
    std::array<std::uint32_t, pcr_count> events{};  // of each PCR
    const report* fields = nullptr;                 // the verdict, and what is remarked
};

class event_log_page {
  public:
    virtual ~event_log_page() = default;

    virtual void begin(const log_beginning& log) = 0;
    virtual void event(const shown_event& shown) = 0;
    virtual void end(const log_ending& log) = 0;
};

std::unique_ptr<event_log_page> text_page_of_log(const inspect_request& request, page_writer& writer);
std::unique_ptr<event_log_page> json_page_of_log(const inspect_request& request, page_writer& writer);

// "EV_SEPARATOR", or "0x80000099" for a type without a name.
std::string type_text(std::uint32_t type);

// The key of a bank: "sha256"; for one without a name "0x00000027".
std::string bank_text(std::uint16_t algorithm);

// The PCRs whose values are told: those that are asked for and have events, or a given value that their lack of
// events does not explain, or all that are asked for.
std::uint32_t told_pcrs(const inspect_request& request, const log_ending& log);

// How a given value of this PCR and bank stands to the log; null when none was given.
const pcr_comparison::row* given_value(const log_health& health, std::size_t bank, std::size_t pcr);

}  // namespace vellum::lab
