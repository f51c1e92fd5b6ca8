// A logging session on fakes, for tests of functions that log or push: what they say is kept as text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/log.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/system_errors.h"

namespace vellum::test {

// Keeps what is written to the error stream; a colour shows as "<red>" and so on, its end as "</>".
class fake_console final : public console {
  public:
    bool show_colours = false;
    std::string text;

    void start() override {}
    void write(console_stream, std::string_view written) override { text += written; }
    void set_colour(console_stream stream, colour value) override;
    void reset_colour(console_stream stream) override;
};

class fake_clock final : public clock {
  public:
    std::int64_t time = 1'700'000'000;  // 2023-11-14 22:13:20 UTC
    std::int32_t offset = 0;

    std::int64_t now() override { return time; }
    std::int32_t utc_offset() override { return offset; }
    std::optional<std::int64_t> end_of_day(const calendar_day& day) override { return end_of_day_at(offset, day); }
};

// Codes below 0x1000 have the text "system text N".
class fake_system_errors final : public system_errors {
  public:
    std::optional<std::string> text(os_status code) override;
};

// Starts logging on the fakes with the console at `threshold` and no file; ends it when destroyed.
class log_session {
  public:
    explicit log_session(log_level threshold = log_level::info);
    ~log_session();
    log_session(const log_session&) = delete;
    log_session& operator=(const log_session&) = delete;

    fake_console console;
    fake_clock clock;
    fake_system_errors errors;

    // What was logged to the console since the last call.
    std::string logged();

    // The lines of the findings as they are printed, from the last, which is the first cause, up to the first; they
    // are taken.
    std::string pushed();
};

}  // namespace vellum::test
