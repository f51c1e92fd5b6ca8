#include "report/fleet/fleet_command.h"

#include <cstdio>
#include <new>

#include "base/path.h"
#include "base/text.h"
#include "native.h"  // of the system that the build is for
#include "platform/standard_output.h"
#include "platform/terminal.h"
#include "platform/whole_file.h"
#include "report/fleet/feed.h"
#include "report/fleet/feed_progress.h"
#include "report/fleet/fleet_forms.h"
#include "report/fleet/fleet_request.h"
#include "report/fleet/store.h"
#include "tools/commands.h"
#include "tools/write_file.h"

namespace vellum::fleet {
namespace {

constexpr int failed = 1;
constexpr int partly_taken = 4;

void complain(const std::string& text) {
    std::fprintf(stderr, "vellum-report: %s\n", text.c_str());
}

int fail_for(const fleet_request& request, const database& fleet) {
    complain("database " + shown_text(request.database) + ": " + shown_text(fleet.problem()));
    return failed;
}

feed_counts take_in(const fleet_request& request, database& fleet, const platform& machine) {
    feed_progress progress(errors_are_watched());
    const feed_listener listener = {
        [&](const std::string& name, const std::string& why) {
            progress.clear();
            complain(shown_text(name) + ": " + shown_text(why));
        },
        [&](const feed_counts& counts, std::optional<std::uint64_t> total) { progress.show(counts, total); }};
    const feed_counts counts = feed(fleet, request.places, machine.time, listener);
    progress.clear();
    if (fleet.ok()) {
        complain("reports: " + std::to_string(counts.taken) + " taken in, " + std::to_string(counts.known) +
                 " known already, " + std::to_string(counts.refused) + " refused");
    }
    return counts;
}

[[nodiscard]] bool print(const std::string& text) {
    const bool printed = print_bytes(text);
    if (!printed) {
        complain("standard output does not take what was asked for");
    }
    return printed;
}

[[nodiscard]] bool deliver(const std::string& path, const std::string& text, system_errors& errors) {
    if (path == standard_output) {
        return print(text);
    }
    const file_writing writing = write_whole_file(path, text);
    if (writing.how == file_writing::done) {
        return true;
    }
    complain("cannot write " + shown_text(path) + ": " + reason_of(writing, errors));
    return false;
}

std::string make_form(form what, const overview& fleet, database& from) {
    switch (what) {
        case form::html: return html_form(fleet);
        case form::csv: return csv_form(from);
        case form::json: return json_form(fleet);
        case form::metrics: break;
    }
    return metrics_form(fleet);
}

[[nodiscard]] bool tell_of_all(const fleet_request& request, database& fleet, const platform& machine) {
    if (request.forms.empty() && !request.places.empty()) {
        return true;
    }
    const overview seen =
        look_over(fleet, {request.now.value_or(machine.time.now()), request.not_seen_days, request.expiring_days});
    if (request.forms.empty()) {
        return fleet.ok() && print(summary_form(seen));
    }
    bool delivered = true;
    for (const form_order& order : request.forms) {
        const std::string text = make_form(order.what, seen, fleet);
        delivered = fleet.ok() && deliver(order.path, text, machine.errors) && delivered;
    }
    return delivered;
}

[[nodiscard]] bool tell_drift(const fleet_request& request, database& fleet, const device_history& device) {
    if (!request.from && !device.before) {
        complain("there is no run of " + device.label + " before the one that it is shown by; --from names another");
        return false;
    }
    const auto after = request.to ? run_numbered(fleet, device, *request.to) : std::optional(device.shown);
    const auto before = request.from ? run_numbered(fleet, device, *request.from) : device.before;
    if (!after || !before) {
        complain("there is no such run of " + device.label + "; --device lists them");
        return false;
    }
    return print(drift_form(*before, *after));
}

[[nodiscard]] bool tell_of_one(const fleet_request& request, database& fleet, const platform& machine) {
    std::string why;
    const std::optional<device_history> device = history_of(fleet, *request.device, why);
    if (!fleet.ok()) {
        return false;  // who opened it says why
    }
    if (!device) {
        complain(why);
        return false;
    }
    if (request.wants_drift) {
        return tell_drift(request, fleet, *device);
    }
    return request.forms.empty() ? print(listing_form(*device))
                                 : deliver(request.forms.front().path, html_form(*device), machine.errors);
}

[[nodiscard]] bool forget(const std::string& device, database& fleet) {
    std::string why;
    const auto number = device_number(fleet, device, why);
    const std::int64_t runs = number ? forget_device(fleet, *number) : 0;
    if (!fleet.ok()) {
        return false;
    }
    if (!number) {
        complain(why);
        return false;
    }
    complain("forgotten: " + shown_text(device) + ", " + counted(static_cast<std::size_t>(runs), "run"));
    return true;
}

[[nodiscard]] bool tell(const fleet_request& request, database& fleet, const platform& machine) {
    return request.forget   ? forget(*request.forget, fleet)
           : request.device ? tell_of_one(request, fleet, machine)
                            : tell_of_all(request, fleet, machine);
}

// A name that the library would take for something else than a file, as ":memory:", is one of a file here.
std::string plain_path(const std::string& path) {
    return is_absolute_somewhere(path) ? path : "./" + path;
}

int run_fleet(const fleet_request& request, const platform& machine) {
    const bool fills = !request.places.empty();
    database fleet(plain_path(request.database),
                   fills ? database::opening::created_when_missing : database::opening::existing);
    prepare_schema(fleet, fills ? purpose::to_fill : purpose::to_read);
    feed_counts counts;
    if (fills && fleet.ok()) {
        counts = take_in(request, fleet, machine);
    }
    if (!fleet.ok()) {
        return fail_for(request, fleet);
    }
    const bool told = tell(request, fleet, machine);
    if (!fleet.ok()) {
        return fail_for(request, fleet);
    }
    return !told ? failed : counts.refused > 0 ? partly_taken : 0;
}

}  // namespace

int fleet_command(std::span<char* const> words) {
    fleet_request request;
    const request_reading reading = read_fleet_request(words, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    native_platform native;
    try {
        return run_fleet(request, native.services());
    } catch (const std::bad_alloc&) {
        complain("there is not enough memory");
    }
    return failed;
}

}  // namespace vellum::fleet
