#include "tools/commands.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "base/suggestions.h"
#include "base/text.h"
#include "tools/completion.h"

namespace vellum {
namespace {

void print_usage(std::FILE* stream, const tool& tool, std::span<const command> rows) {
    std::fputs("usage:\n", stream);
    for (const command& row : rows) {
        std::fprintf(stream, "    %s %s %s", tool.name, row.name.data(), row.usage);
    }
}

void print_whole_usage(std::FILE* stream, const tool& tool) {
    print_usage(stream, tool, tool.commands);
    std::fprintf(stream, "    %s [COMMAND] --help\n    %s --version\n", tool.name, tool.name);
}

int unknown_command(const tool& tool, std::string_view word) {
    if (!tool.gone.empty() && word == tool.gone) {
        std::fprintf(stderr, "%s: there is no command %s; %s\n", tool.name, tool.gone.data(), tool.gone_text);
        return usage_error;
    }
    std::vector<std::string_view> names;
    for (const command& row : tool.commands) {
        names.push_back(row.name);
    }
    std::fprintf(stderr, "%s: there is no command %s%s\n", tool.name, shown_text(word).c_str(),
                 did_you_mean(word, names).c_str());
    return usage_error;
}

bool asks_for_help(std::string_view word) {
    return word == "--help" || word == "-h" || word == "help";
}

// The first argument may be a name, even "help", when others follow; from the second on only an option asks.
bool ask_for_help(std::span<char* const> words) {
    return (words.size() == 1 && asks_for_help(words.front())) ||
           std::any_of(words.begin(), words.end(), [](std::string_view word) { return word == "--help"; });
}

bool asks_table(const command& row, std::span<char* const> words) {
    switch (row.help) {
        case help_answer::table: return ask_for_help(words);
        case help_answer::table_first: return ask_for_help(words.first(std::min<std::size_t>(words.size(), 1)));
        case help_answer::command: break;
    }
    return false;
}

void print_command_names(const tool& tool) {
    for (const command& row : tool.commands) {
        std::printf("+ %s\n", row.name.data());
    }
    std::puts("--help\n--version");
}

// A reader of options ends the command when it has answered the shell, as it does when it refuses something.
int run_command(const command& row, std::span<char* const> words) {
    const std::string_view completion = row.completion;
    if (!asks_for_options(words)) {
        return row.run(words);
    }
    if (completion.empty()) {
        const int code = row.run(words);
        return code == usage_error ? 0 : code;
    }
    std::fwrite(completion.data(), 1, completion.size(), stdout);
    return 0;
}

}  // namespace

int refuse_usage(const tool& tool) {
    print_whole_usage(stderr, tool);
    return usage_error;
}

int run_tool(const tool& tool, std::span<char* const> words) {
    if (words.empty()) {
        return refuse_usage(tool);
    }
    const std::string_view first = words.front();
    if (asks_for_help(first)) {
        print_whole_usage(stdout, tool);
        return 0;
    }
    if (first == completion_word) {
        print_command_names(tool);
        return 0;
    }
    if (first == "--version") {
        std::printf("%s %s\n", tool.name, tool.version);
        return 0;
    }
    const auto row = std::find_if(tool.commands.begin(), tool.commands.end(),
                                  [first](const command& candidate) { return candidate.name == first; });
    if (row == tool.commands.end()) {
        return unknown_command(tool, first);
    }
    if (asks_table(*row, words.subspan(1))) {
        print_usage(stdout, tool, {&*row, 1});
        return 0;
    }
    return run_command(*row, words.subspan(1));
}

}  // namespace vellum
