#include "lab/inspect.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "lab/inspect_report.h"

namespace vellum::lab {
namespace {

// The machine's clock, which stands at the end of a day of its own time zone when one is given.
class day_clock final : public clock {
  public:
    day_clock(clock& machine, std::optional<calendar_day> day) : machine_(machine), day_(day) {}

    std::int64_t now() override {
        if (!day_) {
            return machine_.now();
        }
        const auto end = end_of_day(*day_);
        return end ? *end : end_of_day_at(utc_offset(), *day_).value_or(machine_.now());
    }
    std::int32_t utc_offset() override { return machine_.utc_offset(); }
    std::optional<std::int64_t> end_of_day(const calendar_day& day) override { return machine_.end_of_day(day); }

  private:
    clock& machine_;
    std::optional<calendar_day> day_;
};

std::string render(const report& description, const inspect_request& request) {
    return request.form == inspect_form::json
               ? description.dump(2, ' ', false, report::error_handler_t::replace) + '\n'
               : page_of(description, request.extent);
}

const char* name_of(validation_effect effect) {
    switch (effect) {
        case validation_effect::fails: return "fails";
        case validation_effect::warns: return "warns";
        case validation_effect::ignores: break;
    }
    return "ignores";
}

}  // namespace

report finding_console::take() {
    flush_messages(log_level::brief, "", flush_order::newest_first);
    report lines = report::array();
    for (std::string_view rest = text_; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
        if (const std::string_view line = rest.substr(0, end + (rest[end] != '\n')); !line.empty()) {
            lines.push_back(shown_text(line));
        }
        rest.remove_prefix(end + 1);
    }
    text_.clear();
    return lines;
}

std::string hex_number(std::uint32_t value) {
    std::array<char, 11> text{};
    std::snprintf(text.data(), text.size(), "0x%08x", value);
    return text.data();
}

void begin_report(const inspect_request& request, report& out) {
    const bool is_pmf = request.kind == inspect_kind::pmf;
    out["schema"] = is_pmf ? "vellum-lab inspect pmf" : "vellum-lab inspect eventlog";
    out["schema_version"] = is_pmf ? pmf_schema_version : event_log_schema_version;
    out["file"] = shown_text(request.path);
    out["verdict"] = "unreadable";
    out["reasons"] = report::array();
    out["cautions"] = report::array();
}

void add_reason(report& out, const char* code, const std::string& says, report details) {
    out["reasons"].push_back({{"code", code}, {"says", says}, {"details", std::move(details)}});
}

void add_reason(report& out, const char* code, const std::string& says, validation_effect effect, report details) {
    out["reasons"].push_back(
        {{"code", code}, {"says", says}, {"validation", name_of(effect)}, {"details", std::move(details)}});
}

void add_caution(report& out, const char* code, const std::string& says, report details) {
    out["cautions"].push_back({{"code", code}, {"says", says}, {"details", std::move(details)}});
}

inspect_outcome inspect(const inspect_request& request, platform services, const inspect_output& out) {
    finding_console findings;
    day_clock clock(services.time, request.day);
    log_start(findings, clock, services.errors);
    set_console_threshold(log_level::brief);
    report description;
    begin_report(request, description);
    page_writer writer(out.description, out.style);
    const bool is_pmf = request.kind == inspect_kind::pmf;
    const inspect_outcome outcome = is_pmf ? describe_pmf(request, services.directories, clock, findings, description)
                                           : inspect_event_log(request, services, findings, writer, description);
    const bool failed = outcome == inspect_outcome::unreadable;
    if (is_pmf || failed) {
        const bool refused = failed && request.form == inspect_form::text;
        static_cast<void>((refused ? out.refusal : out.description)(render(description, request)));
    }
    log_stop();
    return outcome;
}

inspect_outcome inspect(const inspect_request& request, platform services, std::string& out) {
    const text_sink sink = [&out](std::string_view text) {
        out += text;
        return true;
    };
    return inspect(request, std::move(services), inspect_output{sink, sink, {}});
}

}  // namespace vellum::lab
