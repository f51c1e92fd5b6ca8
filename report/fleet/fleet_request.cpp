#include "report/fleet/fleet_request.h"

#include <algorithm>

#include "base/text.h"
#include "tools/arguments.h"
#include "tools/one_file.h"
#include "tools/option_table.h"

namespace vellum::fleet {
namespace {

struct form_option {
    form what;
    const char* name;
    const char* help;
};
constexpr form_option form_options[] = {
    {form::html, "html", "a page for people; with --device of that device"},
    {form::csv, "csv", "a row a device, for spreadsheets"},
    {form::json, "json", "the overview for programs; \"-\" is standard output"},
    {form::metrics, "metrics", "Prometheus' text format, for a textfile collector"},
};
constexpr std::int64_t most_days = 36'500;

class fleet_options {
  public:
    explicit fleet_options(int most_places)
        : places_(table_.own(arg_filen(
              nullptr, nullptr, "REPORT", 0, std::max(most_places, 3),
              "a report, a directory of *.json, or \"-\": reports on standard input, a line each or as they are"))) {
        for (const form_option& row : form_options) {
            forms_.push_back(table_.own(arg_file0(nullptr, row.name, "FILE", row.help)));
        }
        std::vector<void*> options(forms_.begin(), forms_.end());
        options.insert(options.end(), {device_, drift_, from_, to_, forget_, not_seen_, expiring_, now_});
        table_.arrange(std::move(options), {database_, places_});
    }

    request_reading read(std::span<char* const> words, fleet_request& out);

  private:
    void take_values(fleet_request& out) const;
    std::string take_numbers(fleet_request& out) const;
    request_reading check(fleet_request& out);

    option_table table_ = option_table("vellum-report fleet");
    std::vector<arg_file*> forms_;
    arg_str* device_ = table_.own(arg_str0(nullptr, "device", "DEVICE", "the runs of one device"));
    arg_str* drift_ = table_.own(arg_str0(nullptr, "drift", "DEVICE", "what changed between two runs of a device"));
    arg_str* from_ = table_.own(arg_str0(nullptr, "from", "RUN", "the earlier of the two; else the one before that"));
    arg_str* to_ =
        table_.own(arg_str0(nullptr, "to", "RUN", "the later of the two; else the one that it is shown by"));
    arg_str* forget_ = table_.own(arg_str0(nullptr, "forget", "DEVICE", "removes a device and its runs"));
    arg_str* not_seen_ = table_.own(arg_str0(nullptr, "not-seen-days", "N", "not seen for so long; 7"));
    arg_str* expiring_ = table_.own(arg_str0(nullptr, "expiring-days", "N", "expires within so long; 30"));
    arg_str* now_ = table_.own(arg_str0(nullptr, "now", "DAY", "count days from the end of this day, YYYY-MM-DD"));
    arg_file* database_ = table_.own(arg_file1(nullptr, nullptr, "DB", "the database, made when reports are given"));
    arg_file* places_;
};

std::optional<std::string> value_of(const arg_str* option) {
    return option->count > 0 ? std::optional<std::string>(option->sval[0]) : std::nullopt;
}

void fleet_options::take_values(fleet_request& out) const {
    out.database = database_->filename[0];
    out.places.assign(places_->filename, places_->filename + places_->count);
    for (std::size_t i = 0; i < forms_.size(); ++i) {
        if (forms_[i]->count > 0) {
            out.forms.push_back({form_options[i].what, forms_[i]->filename[0]});
        }
    }
    out.forget = value_of(forget_);
    out.wants_drift = drift_->count > 0;
    out.device = out.wants_drift ? value_of(drift_) : value_of(device_);
}

[[nodiscard]] bool take_number(const arg_str* option, std::int64_t most, std::optional<std::int64_t>& out) {
    if (option->count > 0) {
        out = parse_decimal<std::int64_t>(option->sval[0]);
        return out && *out >= 0 && *out <= most;
    }
    return true;
}

// What a form would replace although it is needed: the database with the files beside it, or another form.
std::optional<std::string> replaced_by(const fleet_request& request) {
    std::vector<std::string> taken;
    for (const char* const suffix : {"", "-wal", "-shm", "-journal"}) {
        taken.push_back(request.database + suffix);
    }
    for (const form_order& order : request.forms) {
        if (order.path == standard_output) {
            continue;
        }
        const auto same = std::find_if(taken.begin(), taken.end(),
                                       [&](const std::string& path) { return is_one_file(path, order.path); });
        if (same != taken.end()) {
            return order.path;
        }
        taken.push_back(order.path);
    }
    return std::nullopt;
}

// Why the values are refused; empty when they are not.
std::string fleet_options::take_numbers(fleet_request& out) const {
    std::optional<std::int64_t> not_seen;
    std::optional<std::int64_t> expiring;
    if (!take_number(not_seen_, most_days, not_seen) || !take_number(expiring_, most_days, expiring)) {
        return "--not-seen-days and --expiring-days take a number of days, 0 to " + std::to_string(most_days);
    }
    out.not_seen_days = not_seen.value_or(out.not_seen_days);
    out.expiring_days = expiring.value_or(out.expiring_days);
    if (!take_number(from_, INT64_MAX, out.from) || !take_number(to_, INT64_MAX, out.to)) {
        return "a run is named by its number; --device lists them";
    }
    if (const auto text = value_of(now_)) {
        const auto day = parse_day(*text);
        out.now = day ? end_of_day_at(0, *day) : std::nullopt;
        return out.now ? "" : "--now takes a day, as in 2026-03-02";
    }
    return "";
}

// What does not go together; empty when all does.
std::string contradiction_in(const fleet_request& request) {
    const std::vector<form_order>& forms = request.forms;
    const bool other_form =
        std::any_of(forms.begin(), forms.end(), [](const form_order& order) { return order.what != form::html; });
    const auto to_standard_output = std::count_if(
        forms.begin(), forms.end(), [](const form_order& order) { return order.path == standard_output; });
    if ((request.from || request.to) && !request.wants_drift) {
        return "--from and --to go with --drift";
    }
    if (request.forget && (request.device || !request.places.empty() || !forms.empty())) {
        return "--forget goes with nothing else";
    }
    if (request.device && (other_form || (request.wants_drift && !forms.empty()))) {
        return "--device goes with --html only, --drift with no form";
    }
    return to_standard_output > 1 ? "only one form can go to standard output" : "";
}

request_reading fleet_options::check(fleet_request& out) {
    if (out.database.empty()) {
        return table_.refuse("the database has no name");
    }
    if (const auto path = replaced_by(out)) {
        return table_.refuse("\"" + shown_text(*path) + "\" is the database or another form already");
    }
    if (const std::string why = take_numbers(out); !why.empty()) {
        return table_.refuse(why);
    }
    if (drift_->count > 0 && device_->count > 0) {
        return table_.refuse("--device and --drift name one device each; one of them, please");
    }
    const std::string why = contradiction_in(out);
    return why.empty() ? request_reading::complete : table_.refuse(why);
}

request_reading fleet_options::read(std::span<char* const> words, fleet_request& out) {
    const request_reading reading = table_.read(words);
    if (reading != request_reading::complete) {
        return reading;
    }
    take_values(out);
    return check(out);
}

}  // namespace

request_reading read_fleet_request(std::span<char* const> words, fleet_request& out) {
    return fleet_options(static_cast<int>(words.size())).read(words, out);
}

}  // namespace vellum::fleet
