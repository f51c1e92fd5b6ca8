// What the fuzz targets share: the entry of the fuzzer, a logging session whose texts go nowhere, and demands.
//
// A target defines check(). It is run inside a logging session at trace, so that every text is formed, on a clock
// that stands still when the sample device is in use.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "platform/clock.h"
#include "platform/mute_console.h"
#include "platform/system_errors.h"
#include "tests/support/temp_dir.h"

namespace vellum::fuzz {

// Handles one input. It must not fail, whatever the bytes.
void check(byte_view input);

// Ends the program with the sentence when the condition does not hold.
void demand(bool condition, const char* sentence);

// Takes what a call has come to: the target demands that it ends, not how.
template <typename Outcome>
void any_outcome(const Outcome&) {}

// A part of an input of several: its length (32 bits, little-endian) and its bytes, as many as there are. A copy of
// exactly its size, so that a read past its end is caught.
std::vector<std::uint8_t> take_part(byte_reader& input);

// The same as text.
std::string take_text(byte_reader& input);

// A directory of this process, removed at its end.
const test::temp_dir& scratch();

class still_clock final : public clock {
  public:
    std::int64_t now() override { return 1'772'445'600; }  // 2026-03-02 10:00:00 UTC
    std::int32_t utc_offset() override { return 3600; }
    std::optional<std::int64_t> end_of_day(const calendar_day& day) override { return end_of_day_at(3600, day); }
};

class unnamed_errors final : public system_errors {
  public:
    std::optional<std::string> text(os_status) override { return std::nullopt; }
};

}  // namespace vellum::fuzz
