#include "report/run_request.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <string_view>

#include "base/text.h"
#include "report/forms.h"
#include "tools/one_file.h"
#include "tools/option_table.h"
#include "tpm/attestation/quote.h"

namespace vellum::reporting {
namespace {

constexpr const char* run_program = "vellum-report run";
constexpr const char* verify_program = "vellum-report verify";

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

// The forms of a report, which every command that runs vellum has.
class report_options {
  public:
    explicit report_options(option_table& table) {
        for (const form_option& row : form_options) {
            forms_.push_back(table.own(arg_file0(nullptr, row.name, "FILE", row.help)));
        }
        summary_ = table.own(arg_lit0(nullptr, "summary", "one line on standard output"));
    }

    std::vector<void*> rows() const {
        std::vector<void*> out(forms_.begin(), forms_.end());
        out.push_back(summary_);
        return out;
    }

    void take_values(run_request& out) const {
        for (std::size_t i = 0; i < forms_.size(); ++i) {
            if (forms_[i]->count > 0) {
                out.reports.push_back({form_options[i].form, forms_[i]->filename[0]});
            }
        }
        if (summary_->count > 0) {
            out.reports.push_back({summary_form, standard_output});
        }
    }

  private:
    std::vector<arg_file*> forms_;
    arg_lit* summary_;
};

std::vector<void*> joined(std::vector<void*> first, std::initializer_list<void*> last) {
    first.insert(first.end(), last);
    return first;
}

class run_options {
  public:
    run_options() { table_.arrange(joined(reports_.rows(), {device_})); }

    request_reading read(std::span<char* const> arguments, run_request& out) {
        const request_reading reading = table_.read(arguments);
        if (reading == request_reading::complete) {
            reports_.take_values(out);
        }
        if (reading == request_reading::complete && device_->count > 0) {
            out.device = device_->filename[0];
        }
        return reading;
    }

  private:
    option_table table_ = option_table(run_program, " -- VELLUM_OPTIONS...");
    report_options reports_ = report_options(table_);
    arg_file* device_ = table_.own(arg_file0(nullptr, "device", "DIR", "a recorded device in place of this machine"));
};

class verify_options {
  public:
    verify_options() { table_.arrange(joined(reports_.rows(), {nonce_, identity_, own_clock_}), {recording_}); }

    request_reading read(std::span<char* const> arguments, verify_request& out) {
        const request_reading reading = table_.read(arguments);
        if (reading != request_reading::complete) {
            return reading;
        }
        const std::optional<std::vector<std::uint8_t>> nonce = parse_nonce(nonce_->sval[0]);
        if (!nonce) {
            return refuse_request(verify_program, odd_nonce);
        }
        reports_.take_values(out.run);
        out.run.device = recording_->filename[0];
        out.nonce = *nonce;
        out.identity = identity_->filename[0];
        out.own_clock = own_clock_->count > 0;
        return reading;
    }

  private:
    option_table table_ = option_table(verify_program, " -- VELLUM_OPTIONS...");
    report_options reports_ = report_options(table_);
    arg_str* nonce_ = table_.own(arg_str1(nullptr, "nonce", "HEX", "what the quote has to answer"));
    arg_file* identity_ = table_.own(arg_file1(nullptr, "identity", "FILE", "what \"enrol\" wrote of the device"));
    arg_lit* own_clock_ =
        table_.own(arg_lit0(nullptr, "own-clock", "judge dates by this machine's clock, not the recording's"));
    arg_file* recording_ = table_.own(arg_file1(nullptr, nullptr, "RECORDING", "captured with the nonce"));
};

// The target of two reports, of which only one would be there in the end.
std::optional<std::string> target_of_two(const std::vector<report_order>& reports) {
    for (auto at = reports.begin(); at != reports.end(); ++at) {
        const bool again = std::any_of(reports.begin(), at, [&](const report_order& earlier) {
            return earlier.path == at->path || (earlier.path != standard_output && at->path != standard_output &&
                                                is_one_file(earlier.path, at->path));
        });
        if (again) {
            return at->path;
        }
    }
    return std::nullopt;
}

// Reads the options before the "--" by the table, and takes those behind it for vellum.
template <typename Options, typename Request>
request_reading read_request(const char* program, std::span<char* const> arguments, Request& out, run_request& run) {
    const auto parting =
        std::find_if(arguments.begin(), arguments.end(), [](std::string_view word) { return word == "--"; });
    const auto own = static_cast<std::size_t>(parting - arguments.begin());
    const request_reading reading = Options().read(arguments.first(own), out);
    if (reading != request_reading::complete) {
        return reading;
    }
    if (parting == arguments.end()) {
        return refuse_request(program, "put the options of vellum behind \"--\", as in \"-- --validate -c kxl.ini\"");
    }
    if (const auto target = target_of_two(run.reports)) {
        const std::string why = *target == standard_output ? "only one report can go to standard output"
                                                           : "two reports would go to \"" + shown_text(*target) + '"';
        return refuse_request(program, why.c_str());
    }
    run.options.assign(parting + 1, arguments.end());
    return request_reading::complete;
}

}  // namespace

request_reading refuse_request(const char* program, const char* why) {
    std::fprintf(stderr, "%s: %s\nTry \"%s --help\".\n", program, why, program);
    return request_reading::refused;
}

bool run_request::takes_standard_output() const {
    return std::any_of(reports.begin(), reports.end(),
                       [](const report_order& order) { return order.path == standard_output; });
}

request_reading read_run_request(std::span<char* const> arguments, run_request& out) {
    return read_request<run_options>(run_program, arguments, out, out);
}

request_reading read_verify_request(std::span<char* const> arguments, verify_request& out) {
    return read_request<verify_options>(verify_program, arguments, out, out.run);
}

}  // namespace vellum::reporting
