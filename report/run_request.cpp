#include "report/run_request.h"

#if VELLUM_ARGTABLE == 3
#include <argtable3.h>
#else
#include <argtable2.h>
#endif

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "base/text.h"
#include "report/forms.h"

namespace vellum::reporting {
namespace {

constexpr int max_reported_errors = 20;
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

class option_table {
  public:
    option_table() {
        for (const form_option& row : form_options) {
            forms_.push_back(own(arg_file0(nullptr, row.name, "FILE", row.help)));
        }
        table_.assign(forms_.begin(), forms_.end());
        table_.insert(table_.end(), {summary_, device_, help_, end_});
    }
    ~option_table() { arg_freetable(all_.data(), all_.size()); }
    option_table(const option_table&) = delete;
    option_table& operator=(const option_table&) = delete;

    // Help wins over everything.
    request_reading read(std::span<char* const> arguments, run_request& out);

  private:
    template <typename Object>
    Object* own(Object* object) {
        all_.push_back(object);
        return object;
    }

    int parse(std::span<const std::string> arguments);
    void take_values(run_request& out) const;
    void print_syntax(std::FILE* stream);
    request_reading refuse(std::span<char* const> arguments);

    std::vector<std::string> parsed_;  // the library points into it
    std::vector<void*> all_;
    std::vector<arg_file*> forms_;
    arg_lit* summary_ = own(arg_lit0(nullptr, "summary", "one line on standard output"));
    arg_file* device_ = own(arg_file0(nullptr, "device", "DIR", "a recorded device in place of this machine"));
    arg_lit* help_ = own(arg_lit0("h", "help", "show this help"));
    struct arg_end* end_ = own(arg_end(max_reported_errors));
    std::vector<void*> table_;
};

void option_table::print_syntax(std::FILE* stream) {
    std::fprintf(stream, "usage: %s", program);
    arg_print_syntax(stream, table_.data(), " -- VELLUM_OPTIONS...\n");
}

// The library counts the name of the program.
int option_table::parse(std::span<const std::string> arguments) {
    parsed_ = {program};
    parsed_.insert(parsed_.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& argument : parsed_) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return arg_parse(static_cast<int>(parsed_.size()), pointers.data(), table_.data());
}

// The library prints an argument as it was typed: it is given what may be shown.
request_reading option_table::refuse(std::span<char* const> arguments) {
    std::vector<std::string> shown;
    std::transform(arguments.begin(), arguments.end(), std::back_inserter(shown), shown_text);
    parse(shown);
    arg_print_errors(stderr, end_, program);
    print_syntax(stderr);
    return request_reading::refused;
}

void option_table::take_values(run_request& out) const {
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

request_reading option_table::read(std::span<char* const> arguments, run_request& out) {
    if (std::find(all_.begin(), all_.end(), nullptr) != all_.end()) {
        std::fprintf(stderr, "%s: not enough memory for the options\n", program);
        return request_reading::refused;
    }
    const int errors = parse(std::vector<std::string>(arguments.begin(), arguments.end()));
    if (help_->count > 0) {
        print_syntax(stdout);
        arg_print_glossary(stdout, table_.data(), "  %-18s %s\n");
        return request_reading::help;
    }
    if (errors > 0) {
        return refuse(arguments);
    }
    take_values(out);
    return request_reading::complete;
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
    const request_reading reading = option_table().read(arguments.first(own), out);
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
