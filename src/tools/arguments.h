// The arguments of the commands of vellum's tools: directories, and options with a value, in any order.
// "--name value" and "--name=value" are the same.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "tools/completion.h"

namespace vellum {

struct option {
    std::string_view name;
    std::function<bool(std::string_view value)> set;  // false for a value that is not understood
    std::vector<std::string_view> values;             // that are understood, where they can be listed
    value_kind takes = value_kind::other;             // for a shell that completes it
};

// Sets what the arguments say. Prints the options when a shell asks for them, and returns nothing. Else says on
// standard error, with the program's name before it, what is wrong with them, and returns nothing.
std::optional<std::string> parse_arguments(const char* program, std::span<char* const> words,
                                           std::span<const option> options);

// The same for a command that takes two directories, the one that is read first.
struct two_directories {
    std::string from;
    std::string to;
};
std::optional<two_directories> parse_two_directories(const char* program, std::span<char* const> words,
                                                     std::span<const option> options);

// "YYYY-MM-DD", a day since 1970 that the calendar has.
std::optional<calendar_day> parse_day(std::string_view text);

// "0-4,6,7": numbers of PCRs and ranges of them, upwards, as a mask.
std::optional<std::uint32_t> parse_pcr_list(std::string_view text);

// A word as a shell takes it for one argument, with what steers a terminal made visible. Double quotes where they do,
// as every system's shell knows them.
std::string shell_quoted(std::string_view word);

// The command that validates the device in this directory with the configuration beside it, for a shell.
std::string validation_command(const std::string& directory, std::span<const std::string> options);

}  // namespace vellum
