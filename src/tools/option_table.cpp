#include "tools/option_table.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "base/text.h"
#include "tools/completion.h"

namespace vellum {

void option_table::arrange(std::vector<void*> options, const std::vector<void*>& arguments) {
    table_ = std::move(options);
    table_.push_back(help_);
    table_.insert(table_.end(), arguments.begin(), arguments.end());
    table_.push_back(end_);
}

void option_table::print_syntax(std::FILE* stream) {
    std::fprintf(stream, "usage: %s", name_.c_str());
    arg_print_syntax(stream, table_.data(), behind_);
    std::fputc('\n', stream);
}

request_reading option_table::refuse(const std::string& why) {
    std::fprintf(stderr, "%s: %s\n", name_.c_str(), why.c_str());
    print_syntax(stderr);
    return request_reading::refused;
}

// The library counts the name of the program.
int option_table::parse(std::span<const std::string> arguments) {
    parsed_ = {name_};
    parsed_.insert(parsed_.end(), arguments.begin(), arguments.end());
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
    parse(shown);
    arg_print_errors(stderr, end_, name_.c_str());
    print_syntax(stderr);
    return request_reading::refused;
}

request_reading option_table::read(std::span<char* const> arguments) {
    if (std::find(all_.begin(), all_.end(), nullptr) != all_.end()) {
        std::fprintf(stderr, "%s: not enough memory for the options\n", name_.c_str());
        return request_reading::refused;
    }
    if (asks_for_options(arguments)) {
        print_library_options(table_.data());
        std::fputs(std::string_view(behind_).starts_with(" -- ") ? "-- vellum\n" : "", stdout);
        return request_reading::help;
    }
    const std::vector<std::string> typed(arguments.begin(), arguments.end());
    const int errors = parse(typed);
    if (help_->count > 0) {
        print_syntax(stdout);
        arg_print_glossary(stdout, table_.data(), "  %-22s %s\n");
        return request_reading::help;
    }
    return errors > 0 ? refuse_arguments(arguments) : request_reading::complete;
}

}  // namespace vellum
