// What a shell can complete. A hidden word, alone behind a command, makes it print its options in place of doing its
// work, so that nobody has to write them down a second time.
//
// A line each: an option, and for one with a value its kind, "file", "directory" or "value", and the values where
// they can be listed. In place of an option stands ":" for the words without one, "+" for a command by its name, "--"
// where the words behind that word are for another program, "::" where those behind the first word are.
#pragma once

#include <span>
#include <string_view>

namespace vellum {

inline constexpr std::string_view completion_word = "--options-for-completion";

enum class value_kind { other, file, directory };

// Whether that word is all there is. A command that reads its arguments with parse_arguments or an option_table
// answers it by that.
bool asks_for_options(std::span<char* const> words);

// The line of an option with a value, or of ":".
void print_valued(std::string_view name, value_kind kind, std::span<const std::string_view> values = {});

// The lines of a table of the options library, up to the object that ends it.
void print_library_options(void* const* table);

}  // namespace vellum
