// Seal logs from short texts, for tables of tests: one word an event, its letter, then "BOOT/EXECUTION" counters (1/1
// when left out) and "@SECONDS" after session_time.
//   C configured, E enabled, B broken by intrusion, X broken by an unlocked disk, P disk lock password retrieved,
//   R disk lock removed, N disk lock not present, U an event whose ID is the number behind it
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "lab/seal_builder.h"
#include "seal/seal_log.h"

namespace vellum::test {

inline constexpr std::uint32_t session_time = 1'700'000'000;  // 2023-11-14 22:13:20 UTC, as the session's clock

inline lab::seal_event event_of(const std::string& word) {
    const std::size_t at = word.find('@');
    const std::uint32_t time =
        session_time + (at == std::string::npos ? 0 : static_cast<std::uint32_t>(std::stoi(word.substr(at + 1))));
    unsigned first = 1;
    unsigned second = 1;
    std::sscanf(word.c_str() + 1, "%u/%u", &first, &second);
    const auto boot = static_cast<std::uint8_t>(first);
    const auto execution = static_cast<std::uint8_t>(second);
    switch (word[0]) {
        case 'C': return lab::seal_configured(time, 1);
        case 'E': return lab::seal_enabled(time);
        case 'B': return lab::seal_broken(time, 2, boot, execution);
        case 'X': return lab::seal_broken(time, 9, boot, execution);
        case 'P': return lab::disk_lock_password_retrieved(time, 1, boot, execution);
        case 'R': return lab::disk_lock_removal(time, boot, execution);
        case 'N': return lab::disk_lock_not_present(time, boot, execution);
        default: return {first, time, {}};
    }
}

inline seal_log read_log(const lab::seal_log& built) {
    seal_log log;
    EXPECT_EQ(read_seal_log(lab::build(built), log), result::success);
    return log;
}

inline seal_log history(const std::string& words, std::uint32_t seal_state = 1) {
    lab::seal_log built;
    built.seal_state = seal_state;
    std::istringstream in(words);
    for (std::string word; in >> word;) {
        built.events.push_back(event_of(word));
    }
    return read_log(built);
}

}  // namespace vellum::test
