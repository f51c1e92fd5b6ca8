// The command line of diff.
#if VELLUM_ARGTABLE == 3
#include <argtable3.h>
#else
#include <argtable2.h>
#endif

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <vector>

#include "base/text.h"
#include "lab/diff.h"
#include "tools/arguments.h"

namespace vellum::lab {
namespace {

constexpr int max_reported_errors = 20;
constexpr const char* program = "vellum-lab diff";

class option_table {
  public:
    option_table() = default;
    ~option_table() { arg_freetable(table_.data(), table_.size()); }
    option_table(const option_table&) = delete;
    option_table& operator=(const option_table&) = delete;

    // Help wins over everything.
    request_reading read(std::span<char* const> arguments, diff_request& out);

  private:
    int parse(std::vector<std::string> arguments);
    request_reading take_values(diff_request& out);
    request_reading refuse(const std::string& why);
    request_reading refuse_arguments(std::span<char* const> arguments);
    void print_syntax(std::FILE* stream);

    std::vector<std::string> parsed_;  // the library points into it
    arg_str* pcrs_ = arg_str0(nullptr, "pcr", "LIST", "these PCRs alone, such as 0,2,4-7");
    arg_lit* json_ = arg_lit0(nullptr, "json", "for machines, with the version of the schema");
    arg_lit* help_ = arg_lit0("h", "help", "show this help");
    arg_file* reference_ = arg_file1(nullptr, nullptr, "REFERENCE", "the log of the boot that was right");
    arg_file* live_ = arg_file1(nullptr, nullptr, "LIVE", "the log that is set beside it");
    struct arg_end* end_ = arg_end(max_reported_errors);
    std::vector<void*> table_ = {pcrs_, json_, help_, reference_, live_, end_};
};

void option_table::print_syntax(std::FILE* stream) {
    std::fprintf(stream, "usage: %s", program);
    arg_print_syntax(stream, table_.data(), "\n");
}

request_reading option_table::refuse(const std::string& why) {
    std::fprintf(stderr, "%s: %s\n", program, why.c_str());
    print_syntax(stderr);
    return request_reading::refused;
}

// The library counts the name of the program.
int option_table::parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), program);
    parsed_ = std::move(arguments);
    std::vector<char*> pointers;
    for (std::string& argument : parsed_) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return arg_parse(static_cast<int>(parsed_.size()), pointers.data(), table_.data());
}

// The library prints an argument as it was typed: it is given what may be shown.
request_reading option_table::refuse_arguments(std::span<char* const> arguments) {
    std::vector<std::string> shown;
    std::transform(arguments.begin(), arguments.end(), std::back_inserter(shown), shown_text);
    parse(std::move(shown));
    arg_print_errors(stderr, end_, program);
    print_syntax(stderr);
    return request_reading::refused;
}

request_reading option_table::take_values(diff_request& out) {
    out.form = json_->count > 0 ? diff_form::json : diff_form::text;
    out.reference = reference_->filename[0];
    out.live = live_->filename[0];
    if (pcrs_->count > 0) {
        const auto mask = parse_pcr_list(pcrs_->sval[0]);
        if (!mask) {
            return refuse("\"" + shown_text(pcrs_->sval[0]) + "\" is no list of PCRs, such as 0,2,4-7");
        }
        out.pcrs = *mask;
    }
    return request_reading::complete;
}

request_reading option_table::read(std::span<char* const> arguments, diff_request& out) {
    if (std::find(table_.begin(), table_.end(), nullptr) != table_.end()) {
        return refuse("not enough memory for the options");
    }
    const int errors = parse({arguments.begin(), arguments.end()});
    if (help_->count > 0) {
        print_syntax(stdout);
        arg_print_glossary(stdout, table_.data(), "  %-22s %s\n");
        return request_reading::help;
    }
    return errors > 0 ? refuse_arguments(arguments) : take_values(out);
}

}  // namespace

request_reading read_diff_request(std::span<char* const> arguments, diff_request& out) {
    return option_table().read(arguments, out);
}

}  // namespace vellum::lab
