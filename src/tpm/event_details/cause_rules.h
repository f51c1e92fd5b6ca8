// The rules by which causes are guessed: a table over PCR, event type and what the event is about. Internal to
// probable_causes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tpm/event_details/event_details.h"

namespace vellum {

// The gravest first.
enum class cause {
    forged_log,
    damaged_log,
    other_machine,
    firmware_failure,
    secure_boot_state,
    secure_boot_keys,
    locality,
    seal,
    firmware,
    option_rom,
    network_boot,
    boot_loader,
    loader_keys,
    revocations,
    authority,
    kernel,
    command_line,
    boot_order,
    boot_attempt,
    partitions,
    setup,
    manufacturer,
    end_of_boot,
    software,
    log_format,
    other_words,
    remark,
    description,
    count,
};

struct cause_text {
    cause id;
    const char* code;
    const char* happened;  // behind "Probably"
    const char* act;       // who should act, a sentence
};

const cause_text& text_of(cause id);

// Of an event that is other than in the reference, or in one log only.
cause cause_of(const logged_event& event, const event_details& details);

}  // namespace vellum
