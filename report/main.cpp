// vellum-report: validates as vellum does, and reports for machines and for people.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "base/suggestions.h"
#include "base/text.h"
#include "report/explain.h"
#include "report/run_command.h"

namespace vellum::reporting {
namespace {

constexpr int usage_error = 3;

struct command {
    std::string_view name;
    const char* usage;                             // the arguments, and what the command does with them
    int (*run)(std::span<char* const> arguments);  // of the arguments behind the name
};

constexpr command commands[] = {
    {"run",
     "[--json FILE] [--junit FILE] [--html FILE] [--metrics FILE]\n"
     "          [--summary] [--device DIR] -- VELLUM_OPTIONS...\n"
     "        run vellum and report what it finds; the exit code is vellum's\n",
     run_command},
    {"explain",
     "[ID]\n"
     "        say what a stage, a finding or a caution means and what to do about it\n",
     explain_command},
};

void print_usage(std::FILE* stream) {
    std::fputs("usage:\n", stream);
    for (const command& row : commands) {
        std::fprintf(stream, "    vellum-report %s %s", row.name.data(), row.usage);
    }
    std::fputs("    vellum-report [COMMAND] --help\n    vellum-report --version\n", stream);
}

int unknown_command(std::string_view word) {
    std::vector<std::string_view> names;
    for (const command& row : commands) {
        names.push_back(row.name);
    }
    std::fprintf(stderr, "vellum-report: there is no command %s%s\n", shown_text(word).c_str(),
                 did_you_mean(word, names).c_str());
    return usage_error;
}

int run_report(std::span<char* const> words) {
    const std::string_view first = words.empty() ? "" : words.front();
    if (first == "--help" || first == "-h" || first == "help") {
        print_usage(stdout);
        return 0;
    }
    if (first == "--version") {
        std::puts("vellum-report " VELLUM_VERSION);
        return 0;
    }
    const auto row = std::find_if(std::begin(commands), std::end(commands),
                                  [first](const command& candidate) { return candidate.name == first; });
    if (row != std::end(commands)) {
        return row->run(words.subspan(1));
    }
    if (!words.empty()) {
        return unknown_command(first);
    }
    print_usage(stderr);
    return usage_error;
}

}  // namespace
}  // namespace vellum::reporting

int main(int argc, char** argv) {
    return vellum::reporting::run_report({argv + 1, static_cast<std::size_t>(argc > 0 ? argc - 1 : 0)});
}
