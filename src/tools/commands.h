// The commands of one of vellum's tools: a table, in which one is found, explained and refused the same way for all.
#pragma once

#include <span>
#include <string_view>

namespace vellum {

inline constexpr int usage_error = 3;

// Who answers a word that asks for help.
enum class help_answer {
    table,        // wherever it stands: a first "help" or "-h" alone, or "--help"
    table_first,  // the same, in the first place only: what follows is for somebody else
    command,      // the command itself
};

struct command {
    std::string_view name;
    const char* usage;                         // the arguments, and what the command does with them
    int (*run)(std::span<char* const> words);  // of the arguments behind the name; returns the exit code
    help_answer help = help_answer::table;
    const char* completion = "";  // what a shell is told, where neither reader of options reads the arguments
};

struct tool {
    const char* name;
    const char* version;
    std::span<const command> commands;
    std::string_view gone = {};  // a command that the tool had once
    const char* gone_text = "";  // what became of it
};

// The whole usage on standard error; returns usage_error.
int refuse_usage(const tool& tool);

// Runs what the words, which stand behind the program's name, ask for. Returns the exit code.
int run_tool(const tool& tool, std::span<char* const> words);

}  // namespace vellum
