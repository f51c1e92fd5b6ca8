#include "tools/completion.h"

#if VELLUM_ARGTABLE == 3
#include <argtable3.h>
#else
#include <argtable2.h>
#endif

#include <cstdio>
#include <string>
#include <vector>

#include "base/text.h"

namespace vellum {
namespace {

constexpr std::string_view kind_name(value_kind kind) {
    switch (kind) {
        case value_kind::file: return "file";
        case value_kind::directory: return "directory";
        case value_kind::other: break;
    }
    return "value";
}

void print_text(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

// The library marks what an object takes by its functions alone.
bool takes_path(const arg_hdr& object) {
    arg_file* sample = arg_file0("f", nullptr, nullptr, nullptr);
    const bool same = sample != nullptr && sample->hdr.scanfn == object.scanfn;
    void* table[] = {sample};
    arg_freetable(table, std::size(table));
    return same;
}

value_kind kind_of(const arg_hdr& object) {
    const std::string_view named = object.datatype != nullptr ? object.datatype : "";
    if (!takes_path(object)) {
        return value_kind::other;
    }
    return named == "DIR" || named == "RECORDING" ? value_kind::directory : value_kind::file;
}

// "<0-3>" stands for each digit from the first to the second.
std::vector<std::string_view> values_of(const arg_hdr& object) {
    constexpr std::string_view digits = "0123456789";
    const std::string_view named = object.datatype != nullptr ? object.datatype : "";
    std::vector<std::string_view> values;
    if (named.size() == 5 && named[0] == '<' && named[2] == '-' && named[4] == '>') {
        const std::size_t last = digits.find(named[3]);
        for (std::size_t i = digits.find(named[1]); i <= last && last < digits.size(); ++i) {
            values.push_back(digits.substr(i, 1));
        }
    }
    return values;
}

void print_object(const arg_hdr& object, const std::string& name) {
    if ((object.flag & ARG_HASVALUE) != 0) {
        print_valued(name, kind_of(object), values_of(object));
    } else {
        print_text(name + "\n");
    }
}

void print_names(const arg_hdr& object) {
    const std::string_view letters = object.shortopts != nullptr ? object.shortopts : "";
    std::string_view names = object.longopts != nullptr ? object.longopts : "";
    if (letters.empty() && names.empty()) {
        print_object(object, ":");
    }
    for (const char letter : letters) {
        print_object(object, std::string("-") + letter);
    }
    while (!names.empty()) {
        print_object(object, "--" + std::string(take_until(names, ',')));
    }
}

}  // namespace

bool asks_for_options(std::span<char* const> words) {
    return words.size() == 1 && words.front() == completion_word;
}

void print_valued(std::string_view name, value_kind kind, std::span<const std::string_view> values) {
    print_text(name);
    print_text(" ");
    print_text(kind_name(kind));
    for (const std::string_view value : values) {
        print_text(" ");
        print_text(value);
    }
    print_text("\n");
}

void print_library_options(void* const* table) {
    for (; (static_cast<const arg_hdr*>(*table)->flag & ARG_TERMINATOR) == 0; ++table) {
        print_names(*static_cast<const arg_hdr*>(*table));
    }
}

}  // namespace vellum
