#include "tools/arguments.h"

#include <algorithm>
#include <cstdio>

#include "base/suggestions.h"
#include "base/text.h"
#include "core/pcr.h"

namespace vellum {
namespace {

constexpr std::string_view unquoted = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_@+=:,./-";
constexpr std::string_view live_in_double_quotes = "\"$`!%";

// The words still to be read.
struct reading {
    const char* program;
    std::span<char* const> words;
    std::span<const option> options;
    std::size_t expected;  // directories
    std::vector<std::string> directories{};

    bool complain(const std::string& text) const;
};

bool reading::complain(const std::string& text) const {
    std::fprintf(stderr, "%s: %s\n", program, text.c_str());
    return false;
}

bool complain_of_name(std::string_view name, const reading& arguments) {
    std::vector<std::string_view> names;
    for (const option& row : arguments.options) {
        names.push_back(row.name);
    }
    return arguments.complain("there is no option " + shown_text(name) + did_you_mean(name, names));
}

[[nodiscard]] bool read_option(std::string_view word, reading& arguments) {
    const std::size_t equals = word.find('=');
    const std::string_view name = word.substr(0, equals);
    const auto row = std::find_if(arguments.options.begin(), arguments.options.end(),
                                  [&](const option& candidate) { return candidate.name == name; });
    if (row == arguments.options.end()) {
        return complain_of_name(name, arguments);
    }
    if (equals == std::string_view::npos && arguments.words.empty()) {
        return arguments.complain("option " + std::string(name) + " needs a value.");
    }
    std::string_view value = word.substr(std::min(equals, word.size() - 1) + 1);
    if (equals == std::string_view::npos) {
        value = arguments.words.front();
        arguments.words = arguments.words.subspan(1);
    }
    return row->set(value) || arguments.complain(std::string(name) + " " + shown_text(value) + " is not understood" +
                                                 did_you_mean(value, row->values));
}

[[nodiscard]] bool read_word(reading& arguments) {
    const std::string_view word = arguments.words.front();
    arguments.words = arguments.words.subspan(1);
    if (word.starts_with("--")) {
        return read_option(word, arguments);
    }
    if (word.empty() || arguments.directories.size() == arguments.expected) {
        const char* expected = arguments.expected == 1 ? "one directory is" : "two directories are";
        return arguments.complain(std::string(expected) + " expected, not also \"" + shown_text(word) + "\".");
    }
    arguments.directories.emplace_back(word);
    return true;
}

void print_options(const reading& arguments) {
    for (const option& row : arguments.options) {
        print_valued(row.name, row.takes, row.values);
    }
    print_valued(":", value_kind::directory);
}

[[nodiscard]] bool read_all(reading& arguments) {
    if (asks_for_options(arguments.words)) {
        print_options(arguments);
        return false;
    }
    while (!arguments.words.empty()) {
        if (!read_word(arguments)) {
            return false;
        }
    }
    return arguments.directories.size() == arguments.expected || arguments.complain("a directory is missing.");
}

bool fits_double_quotes(std::string_view word) {
    return word.find_first_of(live_in_double_quotes) == std::string_view::npos &&
           word.find("\\\\") == std::string_view::npos && !word.ends_with('\\');
}

}  // namespace

std::optional<std::string> parse_arguments(const char* program, std::span<char* const> words,
                                           std::span<const option> options) {
    reading arguments{program, words, options, 1};
    return read_all(arguments) ? std::optional(arguments.directories[0]) : std::nullopt;
}

std::optional<two_directories> parse_two_directories(const char* program, std::span<char* const> words,
                                                     std::span<const option> options) {
    reading arguments{program, words, options, 2};
    if (!read_all(arguments)) {
        return std::nullopt;
    }
    return two_directories{arguments.directories[0], arguments.directories[1]};
}

std::optional<calendar_day> parse_day(std::string_view text) {
    constexpr std::uint32_t first_year = 1970;
    std::string_view rest = text;
    const auto year = parse_decimal<std::uint32_t>(take_until(rest, '-'));
    const auto month = parse_decimal<std::uint32_t>(take_until(rest, '-'));
    const auto day = parse_decimal<std::uint32_t>(rest);
    const bool shaped = text.size() == 10 && text[4] == '-' && text[7] == '-';
    if (!shaped || !year || !month || !day || *year < first_year) {
        return std::nullopt;
    }
    const calendar_day named = {static_cast<int>(*year), static_cast<int>(*month), static_cast<int>(*day)};
    return end_of_day_at(0, named) ? std::optional(named) : std::nullopt;
}

std::optional<std::uint32_t> parse_pcr_list(std::string_view text) {
    std::uint32_t mask = 0;
    std::size_t next = 0;  // the lowest that may follow
    if (text.ends_with(',')) {
        return std::nullopt;
    }
    do {
        const std::string_view piece = take_until(text, ',');
        const std::size_t dash = std::min(piece.find('-'), piece.size());
        const auto first = parse_decimal<std::size_t>(piece.substr(0, dash));
        const auto last = dash < piece.size() ? parse_decimal<std::size_t>(piece.substr(dash + 1)) : first;
        if (!first || !last || *first < next || *last < *first || *last >= pcr_count) {
            return std::nullopt;
        }
        for (next = *first; next <= *last; ++next) {
            mask |= 1U << next;
        }
    } while (!text.empty());
    return mask;
}

std::string shell_quoted(std::string_view word) {
    std::string text = shown_text(word);
    if (!text.empty() && text.find_first_not_of(unquoted) == std::string::npos) {
        return text;
    }
    if (fits_double_quotes(text)) {
        return "\"" + text + "\"";
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    }
    return quoted + "'";
}

std::string validation_command(const std::string& directory, std::span<const std::string> options) {
    std::string command =
        "vellum-lab replay " + shell_quoted(directory) + " --validate -c " + shell_quoted(directory + "/kxl.ini");
    for (const std::string& each : options) {
        command += " " + shell_quoted(each);
    }
    return command;
}

}  // namespace vellum
