// The command line of inspect.
#include <charconv>
#include <cstdio>
#include <string_view>
#include <vector>

#include "base/suggestions.h"
#include "base/text.h"
#include "lab/inspect.h"
#include "tools/arguments.h"
#include "tools/option_table.h"
#include "tpm/event_details/event_text.h"

namespace vellum::lab {
namespace {

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
class inspect_options {
  public:
    explicit inspect_options(const kind_name& kind) : table_(std::string(program) + " " + std::string(kind.name)) {
        if (kind.kind == inspect_kind::pmf) {
            table_.arrange({json_, everything_, config_, trusted_, intermediate_, at_}, {file_});
        } else {
            table_.arrange({json_, full_, pcr_, type_, pcr_values_}, {file_});
        }
    }

    request_reading read(std::span<char* const> arguments, inspect_request& out);

  private:
    void take_values(inspect_request& out) const;
    std::string take_selection(inspect_request& out) const;

    option_table table_;
    arg_lit* json_ = table_.own(arg_lit0(nullptr, "json", "for machines, with the version of the schema"));
    arg_lit* everything_ = table_.own(arg_lit0(nullptr, "all", "long values in full, and PCRs without events"));
    arg_file* config_ =
        table_.own(arg_file0("c", "config", "FILE", "judge as validation does by this configuration"));
    arg_file* trusted_ = table_.own(arg_file0(nullptr, "trusted", "DIR", "the trusted CA certificates (*.crt)"));
    arg_file* intermediate_ =
        table_.own(arg_file0(nullptr, "intermediate", "DIR", "intermediate CA certificates (*.crt)"));
    arg_str* at_ = table_.own(arg_str0(nullptr, "at", "YYYY-MM-DD", "judge as of the end of this day, not now"));
    arg_lit* full_ = table_.own(arg_lit0(nullptr, "full,all", "below each event its digests and fields"));
    arg_str* pcr_ = table_.own(arg_str0(nullptr, "pcr", "LIST", "only these PCRs, such as 0,2,4-7"));
    arg_str* type_ = table_.own(arg_str0(nullptr, "type", "NAME", "only events of this type, such as EFI_ACTION"));
    arg_file* pcr_values_ =
        table_.own(arg_file0(nullptr, "pcrs", "FILE|RECORDING|tpm", "hold these PCR values against the log"));
    arg_file* file_ = table_.own(arg_file1(nullptr, nullptr, "FILE", "what to inspect"));
};

std::optional<std::string> value_of(const arg_file& option) {
    return option.count > 0 ? std::optional<std::string>(option.filename[0]) : std::nullopt;
}

void inspect_options::take_values(inspect_request& out) const {
    out.form = json_->count > 0 ? inspect_form::json : inspect_form::text;
    out.extent = everything_->count + full_->count > 0 ? inspect_extent::everything : inspect_extent::usual;
    out.path = file_->filename[0];
    out.config_file = value_of(*config_);
    out.trusted_dir = value_of(*trusted_);
    out.intermediate_dir = value_of(*intermediate_);
    out.pcr_values = value_of(*pcr_values_);
}

// Returns what is wrong with it; empty: nothing.
std::string inspect_options::take_selection(inspect_request& out) const {
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

request_reading inspect_options::read(std::span<char* const> arguments, inspect_request& out) {
    if (const request_reading reading = table_.read(arguments); reading != request_reading::complete) {
        return reading;
    }
    take_values(out);
    if (out.intermediate_dir && !out.trusted_dir && !out.config_file) {
        return table_.refuse("--intermediate needs the certificates that end a chain: --trusted or -c");
    }
    if (const std::string wrong = take_selection(out); !wrong.empty()) {
        return table_.refuse(wrong);
    }
    if (at_->count > 0) {
        out.day = parse_day(at_->sval[0]);
        return out.day ? request_reading::complete
                       : table_.refuse("\"" + shown_text(at_->sval[0]) + "\" is no date of the form YYYY-MM-DD");
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
            return inspect_options(row).read(arguments.subspan(1), out);
        }
    }
    return refuse_kind(arguments);
}

}  // namespace vellum::lab
