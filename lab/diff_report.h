// What the two forms of a comparison share. Internal to diff.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lab/diff.h"
#include "tpm/event_details/log_alignment.h"
#include "tpm/event_details/probable_causes.h"

namespace vellum::lab {

struct compared_log {
    std::string path;
    std::vector<std::uint8_t> bytes;
    event_sequence sequence;  // views the bytes
};

// How many steps of each kind there are, in the order of step_kind.
using step_counts = std::array<std::size_t, 6>;

struct log_diff {
    compared_log reference;
    compared_log live;
    std::vector<pcr_alignment> pcrs;  // those that were asked for
    std::vector<probable_cause> causes;

    const logged_event& reference_event(const alignment_step& step) const {
        return reference.sequence.events[step.reference];
    }
    const logged_event& live_event(const alignment_step& step) const { return live.sequence.events[step.live]; }
};

step_counts counts_of(std::span<const alignment_step> steps);

// Whether all are alike.
bool is_same(const step_counts& counts);
bool is_same(const log_diff& diff);

void write_text(const log_diff& diff, page_writer& page);
void write_json(const log_diff& diff, page_writer& page);

// The report of logs that cannot be compared.
void write_unreadable_json(const std::string& problem, page_writer& page);

}  // namespace vellum::lab
