// The command line of inspect.
#if VELLUM_ARGTABLE == 3
#include <argtable3.h>
#else
#include <argtable2.h>
#endif

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string_view>
#include <vector>

#include "base/suggestions.h"
#include "base/text.h"
#include "lab/inspect_report.h"
#include "tools/arguments.h"
#include "tpm/event_details/event_text.h"

namespace vellum::lab {
namespace {

constexpr int max_reported_errors = 20;
constexpr const char* program = "vellum-lab inspect";

struct kind_name {
    inspect_kind kind;
    std::string_view name;
};
constexpr kind_name kinds[] = {{inspect_kind::pmf, "pmf"}, {inspect_kind::event_log, "eventlog"}};

// The numbers among which the types of the profile are.
constexpr std::uint32_t type_bases[] = {0, 0x80000000};
constexpr std::uint32_t types_of_base = 0x100;

std::vector<std::string_view> event_type_names() {
    const std::string_view unknown = event_type_name(UINT32_MAX);
    std::vector<std::string_view> names;
    for (const std::uint32_t base : type_bases) {
        for (std::uint32_t type = base; type < base + types_of_base; ++type) {
            const std::string_view name = event_type_name(type);
            if (name != unknown) {
                names.push_back(name);
            }
        }
    }
    return names;
}

std::optional<std::uint32_t> parse_hexadecimal(std::string_view text) {
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, 16);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

// A name with or without what all begin with, in letters of either case, or "0x" and the number.
std::optional<std::uint32_t> parse_event_type(std::string_view text) {
    const std::string word = lower_case(text);
    if (word.starts_with("0x")) {
        return parse_hexadecimal(std::string_view(word).substr(2));
    }
    const std::string name = word.starts_with("ev_") ? word : "ev_" + word;
    for (const std::uint32_t base : type_bases) {
        for (std::uint32_t type = base; type < base + types_of_base; ++type) {
            if (lower_case(event_type_name(type)) == name && name != "ev_unknown_type") {
                return type;
            }
        }
    }
    return std::nullopt;
}

std::string unknown_type(std::string_view word) {
    const std::vector<std::string_view> names = event_type_names();
    return "there is no event type " + shown_text(word) + did_you_mean(word, names);
}

// The options of one kind of file.
class option_table {
  public:
    explicit option_table(const kind_name& kind) : name_(std::string(program) + " " + std::string(kind.name)) {
        if (kind.kind == inspect_kind::pmf) {
            table_.insert(table_.begin() + 1, {everything_, config_, trusted_, intermediate_, at_});
        } else {
            table_.insert(table_.begin() + 1, {full_, pcr_, type_, pcr_values_});
        }
    }
    ~option_table() { arg_freetable(all_.data(), all_.size()); }
    option_table(const option_table&) = delete;
    option_table& operator=(const option_table&) = delete;

    // Help wins over everything.
    request_reading read(std::span<char* const> arguments, inspect_request& out);

  private:
    template <typename Object>
    Object* own(Object* object) {
        all_.push_back(object);
        return object;
    }

    int parse(std::vector<std::string> arguments);
    void take_values(inspect_request& out) const;
    std::string take_selection(inspect_request& out) const;
    request_reading refuse(const std::string& why);
    request_reading refuse_arguments(std::span<char* const> arguments);
    void print_syntax(std::FILE* stream);

    std::string name_;
    std::vector<std::string> parsed_;  // the library points into it
    std::vector<void*> all_;
    arg_lit* json_ = own(arg_lit0(nullptr, "json", "for machines, with the version of the schema"));
    arg_lit* everything_ = own(arg_lit0(nullptr, "all", "long values in full, and PCRs without events"));
    arg_file* config_ = own(arg_file0("c", "config", "FILE", "judge as validation does by this configuration"));
    arg_file* trusted_ = own(arg_file0(nullptr, "trusted", "DIR", "the trusted CA certificates (*.crt)"));
    arg_file* intermediate_ = own(arg_file0(nullptr, "intermediate", "DIR", "intermediate CA certificates (*.crt)"));
    arg_str* at_ = own(arg_str0(nullptr, "at", "YYYY-MM-DD", "judge as of the end of this day, not now"));
    arg_lit* full_ = own(arg_litn(nullptr, "full,all", 0, 2, "below each event its digests and fields"));
    arg_str* pcr_ = own(arg_str0(nullptr, "pcr", "LIST", "only these PCRs, such as 0,2,4-7"));
    arg_str* type_ = own(arg_str0(nullptr, "type", "NAME", "only events of this type, such as EFI_ACTION"));
    arg_file* pcr_values_ =
        own(arg_file0(nullptr, "pcrs", "FILE|RECORDING|tpm", "hold these PCR values against the log"));
    arg_lit* help_ = own(arg_lit0("h", "help", "show this help"));
    arg_file* file_ = own(arg_file1(nullptr, nullptr, "FILE", "what to inspect"));
    struct arg_end* end_ = own(arg_end(max_reported_errors));
    std::vector<void*> table_ = {json_, help_, file_, end_};
};

std::optional<std::string> value_of(const arg_file& option) {
    return option.count > 0 ? std::optional<std::string>(option.filename[0]) : std::nullopt;
}

void option_table::print_syntax(std::FILE* stream) {
    std::fprintf(stream, "usage: %s", name_.c_str());
    arg_print_syntax(stream, table_.data(), "\n");
}

request_reading option_table::refuse(const std::string& why) {
    std::fprintf(stderr, "%s: %s\n", name_.c_str(), why.c_str());
    print_syntax(stderr);
    return request_reading::refused;
}

// The library counts the name of the program.
int option_table::parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), name_);
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
    arg_print_errors(stderr, end_, name_.c_str());
    print_syntax(stderr);
    return request_reading::refused;
}

void option_table::take_values(inspect_request& out) const {
    out.form = json_->count > 0 ? inspect_form::json : inspect_form::text;
    out.extent = everything_->count + full_->count > 0 ? inspect_extent::everything : inspect_extent::usual;
    out.path = file_->filename[0];
    out.config_file = value_of(*config_);
    out.trusted_dir = value_of(*trusted_);
    out.intermediate_dir = value_of(*intermediate_);
    out.pcr_values = value_of(*pcr_values_);
}

// Returns what is wrong with it; empty: nothing.
std::string option_table::take_selection(inspect_request& out) const {
    if (pcr_->count > 0) {
        const auto mask = parse_pcr_list(pcr_->sval[0]);
        if (!mask) {
            return "--pcr: \"" + shown_text(pcr_->sval[0]) + "\" is no list of PCRs such as 0,2,4-7";
        }
        out.pcrs = *mask;
    }
    if (type_->count > 0) {
        out.type = parse_event_type(type_->sval[0]);
        return out.type ? "" : unknown_type(type_->sval[0]);
    }
    return "";
}

request_reading option_table::read(std::span<char* const> arguments, inspect_request& out) {
    if (std::find(all_.begin(), all_.end(), nullptr) != all_.end()) {
        return refuse("not enough memory for the options");
    }
    const int errors = parse({arguments.begin(), arguments.end()});
    if (help_->count > 0) {
        print_syntax(stdout);
        arg_print_glossary(stdout, table_.data(), "  %-22s %s\n");
        return request_reading::help;
    }
    if (errors > 0) {
        return refuse_arguments(arguments);
    }
    take_values(out);
    if (out.intermediate_dir && !out.trusted_dir && !out.config_file) {
        return refuse("--intermediate needs the certificates that end a chain: --trusted or -c");
    }
    if (const std::string wrong = take_selection(out); !wrong.empty()) {
        return refuse(wrong);
    }
    if (at_->count > 0) {
        out.day = parse_day(at_->sval[0]);
        return out.day ? request_reading::complete
                       : refuse("\"" + shown_text(at_->sval[0]) + "\" is no date of the form YYYY-MM-DD");
    }
    return request_reading::complete;
}

request_reading refuse_kind(std::span<char* const> arguments) {
    if (arguments.empty()) {
        std::fprintf(stderr, "%s: say what to inspect\n", program);
    } else {
        std::fprintf(stderr, "%s: \"%s\" is no kind of file\n", program, shown_text(arguments.front()).c_str());
    }
    for (const kind_name& row : kinds) {
        std::fprintf(stderr, "usage: %s %s [--help] [OPTION]... FILE\n", program, row.name.data());
    }
    return request_reading::refused;
}

}  // namespace

request_reading read_inspect_request(std::span<char* const> arguments, inspect_request& out) {
    for (const kind_name& row : kinds) {
        if (!arguments.empty() && row.name == arguments.front()) {
            out.kind = row.kind;
            return option_table(row).read(arguments.subspan(1), out);
        }
    }
    return refuse_kind(arguments);
}

}  // namespace vellum::lab
