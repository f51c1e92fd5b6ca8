#include "report/run_request.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "base/text.h"
#include "report/forms.h"
#include "tools/option_table.h"

namespace vellum::reporting {
namespace {

constexpr const char* program = "vellum-report run";

struct form_option {
    const char* name;
    const char* help;
    std::string (*form)(const run_record& record);
};
constexpr form_option form_options[] = {
    {"json", "everything, for programs; \"-\" is standard output", json_form},
    {"junit", "a test case a stage, for build servers", junit_form},
    {"html", "a page for people", html_form},
    {"metrics", "Prometheus' text format, for a textfile collector", metrics_form},
};

class run_options {
  public:
    run_options() {
        for (const form_option& row : form_options) {
            forms_.push_back(table_.own(arg_file0(nullptr, row.name, "FILE", row.help)));
        }
        std::vector<void*> options(forms_.begin(), forms_.end());
        options.insert(options.end(), {summary_, device_});
        table_.arrange(std::move(options));
    }

    request_reading read(std::span<char* const> arguments, run_request& out) {
        const request_reading reading = table_.read(arguments);
        if (reading == request_reading::complete) {
            take_values(out);
        }
        return reading;
    }

  private:
    void take_values(run_request& out) const;

    option_table table_ = option_table(program, " -- VELLUM_OPTIONS...");
    std::vector<arg_file*> forms_;
    arg_lit* summary_ = table_.own(arg_lit0(nullptr, "summary", "one line on standard output"));
    arg_file* device_ = table_.own(arg_file0(nullptr, "device", "DIR", "a recorded device in place of this machine"));
};

void run_options::take_values(run_request& out) const {
    for (std::size_t i = 0; i < forms_.size(); ++i) {
        if (forms_[i]->count > 0) {
            out.reports.push_back({form_options[i].form, forms_[i]->filename[0]});
        }
    }
    if (summary_->count > 0) {
        out.reports.push_back({summary_form, standard_output});
    }
    if (device_->count > 0) {
        out.device = device_->filename[0];
    }
}

request_reading refuse_request(const char* why) {
    std::fprintf(stderr, "%s: %s\nTry \"%s --help\".\n", program, why, program);
    return request_reading::refused;
}

}  // namespace

bool run_request::takes_standard_output() const {
    return std::any_of(reports.begin(), reports.end(),
                       [](const report_order& order) { return order.path == standard_output; });
}

request_reading read_run_request(std::span<char* const> arguments, run_request& out) {
    const auto parting =
        std::find_if(arguments.begin(), arguments.end(), [](std::string_view word) { return word == "--"; });
    const auto own = static_cast<std::size_t>(parting - arguments.begin());
    const request_reading reading = run_options().read(arguments.first(own), out);
    if (reading != request_reading::complete) {
        return reading;
    }
    if (parting == arguments.end()) {
        return refuse_request("put the options of vellum behind \"--\", as in \"-- --validate -c kxl.ini\"");
    }
    const auto to_standard_output =
        std::count_if(out.reports.begin(), out.reports.end(),
                      [](const report_order& order) { return order.path == standard_output; });
    if (to_standard_output > 1) {
        return refuse_request("only one report can go to standard output");
    }
    out.options.assign(parting + 1, arguments.end());
    return request_reading::complete;
}

}  // namespace vellum::reporting
