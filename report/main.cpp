// vellum-report: validates as vellum does, and reports for machines and for people.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "base/suggestions.h"
#include "base/text.h"
#include "report/capture_command.h"
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
    {"capture",
     "DIR [--file LETTER:PATH]... [--config FILE\n"
     "          [--reference-log FILE] [--external-device-id ID]]\n"
     "        record the running machine into DIR, with what a validation is\n"
     "        configured with and the files of its volumes that are named, and say\n"
     "        which stages the recording can judge: exit code 0 all, 4 some, 1 none\n",
     capture_command},
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

// Run and explain tell their arguments themselves.
bool asks_for_help_with_capture(const command& row, std::span<char* const> words) {
    const auto is_help = [](std::string_view word) { return word == "--help" || word == "-h" || word == "help"; };
    return row.run == capture_command &&
           ((words.size() == 1 && is_help(words.front())) ||
            std::any_of(words.begin(), words.end(), [](std::string_view word) { return word == "--help"; }));
}

int run_command_of(const command& row, std::span<char* const> words) {
    if (asks_for_help_with_capture(row, words)) {
        std::printf("usage:\n    vellum-report %s %s", row.name.data(), row.usage);
        return 0;
    }
    return row.run(words);
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
        return run_command_of(*row, words.subspan(1));
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
