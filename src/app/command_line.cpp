#include "app/command_line.h"

#if VELLUM_ARGTABLE == 3
#include <argtable3.h>
#else
#include <argtable2.h>
#endif

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "base/text.h"
#include "core/findings.h"
#include "platform/printed_text.h"

namespace vellum {
namespace {

constexpr int max_reported_errors = 20;

// Every option object once, and the three tables that share them. argtable prints to C streams only, so errors and
// usage go to standard output itself.
class option_tables {
  public:
    option_tables() = default;
    ~option_tables() { arg_freetable(all_.data(), all_.size()); }
    option_tables(const option_tables&) = delete;
    option_tables& operator=(const option_tables&) = delete;

    bool complete() const;
    std::optional<run_mode> parse(int argc, char** argv);
    void print_help(const std::string& program, console& console) const;
    command_options values(run_mode mode) const;
    void show(const std::function<void(const char*, void* const*)>& look) const;

  private:
    struct mode_table {
        run_mode mode;
        const char* title;
        arg_lit* flag;
        struct arg_end* end;
        void** table;
    };

    static void print_errors(struct arg_end& errors, const std::string& program, console& console);
    static void print_usage(const mode_table& mode, const std::string& program, console& console);

    // Registers an object for release.
    template <typename Object>
    Object* own(Object* object) {
        all_.push_back(object);
        return object;
    }

    std::vector<void*> all_;

    arg_lit* validate_ = own(arg_lit1(nullptr, "validate", "validate the device"));
    arg_lit* skip_pcrs_ = own(arg_lit0(nullptr, "skip_retrieving_pcrs", "skip retrieving PCRs"));
    arg_lit* skip_log_ = own(arg_lit0(nullptr, "skip_retrieving_tpm_event_log", "skip retrieving TPM event log"));
    arg_lit* skip_pmf_ =
        own(arg_lit0(nullptr, "skip_retrieving_platform_measurements", "skip retrieving platform measurements"));
    arg_lit* skip_iwl_ = own(arg_lit0(nullptr, "skip_iwl_validation", "skip Ironwall validation"));
    arg_file* live_log_ =
        own(arg_file0(nullptr, "tpm_event_log_file", "<tpm_event_log_file>",
                      "path to the live TPM Log, if not specified TPM log will be retrieved from a system"));
    arg_file* pmf_ = own(
        arg_file0("g", nullptr, "<pmf>", "load Platform Measurements from file instead of loading it from Orbis"));
    arg_file* certificate_ =
        own(arg_file0(nullptr, "pmf_external_certificate_path", "<pmf_external_certificate_path>",
                      "path to the external PMF Certificate"));
    arg_file* reference_log_ = own(
        arg_file0(nullptr, "reference_tpm_log_file", "<reference_tpm_log_file>", "path to the reference TPM Log"));
    arg_file* config_ = own(arg_file0("c", nullptr, "<ini_config_file>", "path to the Vellum Configuration file"));
    arg_file* log_file_ = own(arg_file0("o", nullptr, "<log_file>", "path to log file"));
    arg_int* cli_level_ =
        own(arg_int0("v", nullptr, "<0-3>", "cli logging level. 0 - OFF, 1 - BRIEF, 2 - INFO, 3 - DEBUG"));
    arg_int* file_level_ =
        own(arg_int0("l", nullptr, "<0-3>", "file logging level. 0 - OFF, 1 - BRIEF, 2 - INFO, 3 - DEBUG"));
    arg_lit* bypass_ =
        own(arg_lit0(nullptr, "bypass_version_check",
                     "skip checking if Norvane(R) KVR version on the platform is supported by this tool"));
    arg_str* device_id_ = own(arg_str0(nullptr, "external_device_id", nullptr,
                                       "provide Device ID as ASCII literal or hex string starting with 0x."));
    arg_file* tl3_file_ =
        own(arg_file0(nullptr, "tl3_seal_identity_verification_file", "<TL3_seal_identity_verification_file>",
                      "path to the Trusted Level 3 seal identity verification file"));
    struct arg_end* validate_end_ = own(arg_end(max_reported_errors));

    arg_lit* unseal_ = own(arg_lit1(nullptr, "unseal", "run in unseal mode"));
    arg_int* reason_ =
        own(arg_int0("r", "reason", "<0-2>",
                     "unseal reason. 0 - Attestation Successful, 1 - Attestation Error, 2 - Seal Aborted (Default)"));
    struct arg_end* unseal_end_ = own(arg_end(max_reported_errors));

    arg_lit* compare_log_ = own(arg_lit1(nullptr, "compare_log", "compare reference TPM log to live TPM log"));
    arg_file* required_reference_log_ = own(
        arg_file1(nullptr, "reference_tpm_log_file", "<reference_tpm_log_file>", "path to the reference TPM Log"));
    arg_str* compared_pcrs_ = own(arg_str0(
        nullptr, "compared_pcrs", "<0-23>,[<0-23>,...]",
        " comma-separated list of Integers in range <0-23>, e.g. --compared_pcrs=1,4,8,23. If flag is not provided, all PCRs will be compared"));
    struct arg_end* compare_end_ = own(arg_end(max_reported_errors));

    std::vector<void*> validate_table_ = {validate_, skip_pcrs_,   skip_log_,    skip_pmf_,      skip_iwl_,
                                          live_log_, pmf_,         certificate_, reference_log_, config_,
                                          log_file_, cli_level_,   file_level_,  bypass_,        device_id_,
                                          tl3_file_, validate_end_};
    std::vector<void*> unseal_table_ = {unseal_,    reason_,     config_, log_file_,
                                        cli_level_, file_level_, bypass_, unseal_end_};
    std::vector<void*> compare_table_ = {
        compare_log_, required_reference_log_, live_log_, compared_pcrs_, config_, log_file_, cli_level_, file_level_,
        compare_end_};

    std::array<mode_table, 3> modes_ = {
        {{run_mode::validate, "To validate the device", validate_, validate_end_, validate_table_.data()},
         {run_mode::unseal, "To unseal the device", unseal_, unseal_end_, unseal_table_.data()},
         {run_mode::compare_log, "To compare TPM logs", compare_log_, compare_end_, compare_table_.data()}}};
};

std::optional<std::string> value_of(const arg_file& option) {
    return option.count > 0 ? std::optional<std::string>(option.filename[0]) : std::nullopt;
}

std::optional<std::string> value_of(const arg_str& option) {
    return option.count > 0 ? std::optional<std::string>(option.sval[0]) : std::nullopt;
}

std::optional<int> value_of(const arg_int& option) {
    return option.count > 0 ? std::optional<int>(option.ival[0]) : std::nullopt;
}

bool option_tables::complete() const {
    return std::find(all_.begin(), all_.end(), nullptr) == all_.end();
}

std::optional<run_mode> option_tables::parse(int argc, char** argv) {
    // Parsing a table resets the shared objects, so the first table that takes the arguments must be the last parsed.
    for (const mode_table& mode : modes_) {
        if (arg_parse(argc, argv, mode.table) == 0) {
            return mode.mode;
        }
    }
    return std::nullopt;
}

void option_tables::print_help(const std::string& program, console& console) const {
    for (const mode_table& mode : modes_) {
        if (mode.flag->count > 0) {
            print_errors(*mode.end, program, console);
            print_usage(mode, program, console);
            return;
        }
    }
    for (const mode_table& mode : modes_) {
        print_usage(mode, program, console);
    }
}

// The library prints into streams only. What it prints takes the way of everything else that the user is shown.
template <typename Print>
void print_by_library(Print print, console& console) {
    if (const std::optional<std::string> text = printed_text(print)) {
        console.write(console_stream::output, *text);
    } else {
        print(stdout);
    }
}

// The library prints an argument as it was typed, and of an unknown short option one byte, which may be a part of a
// character. It is given what may be shown.
void option_tables::print_errors(struct arg_end& errors, const std::string& program, console& console) {
    constexpr int last_own_code = 5;  // the library's codes; any other one is the letter of an unknown option
    const auto count = static_cast<std::size_t>(std::max(errors.count, 0));
    std::vector<std::string> shown(count);
    for (std::size_t i = 0; i < count; ++i) {
        int& code = errors.error[i];
        code = code < 0 || code > '~' || (code > last_own_code && code < ' ') ? '?' : code;
        if (errors.argval[i] != nullptr) {
            shown[i] = shown_text(errors.argval[i]);
            errors.argval[i] = shown[i].c_str();
        }
    }
    print_by_library([&](std::FILE* stream) { arg_print_errors(stream, &errors, program.c_str()); }, console);
}

void option_tables::print_usage(const mode_table& mode, const std::string& program, console& console) {
    constexpr console_stream out = console_stream::output;
    console.set_colour(out, colour::yellow);
    console.write(out, std::string("\n") + mode.title);
    console.reset_colour(out);
    console.write(out, ", use: \n     " + program);
    const auto print = [&mode](std::FILE* stream) {
        arg_print_syntax(stream, mode.table, "\n\nWhere:\n");
        arg_print_glossary(stream, mode.table, "  %-25s %s\n");
    };
    print_by_library(print, console);
    console.write(out, "Unicode characters will be converted to nearest ASCII.\n\n");
}

command_options option_tables::values(run_mode mode) const {
    command_options options;
    options.mode = mode;
    options.config_file = value_of(*config_);
    options.log_file = value_of(*log_file_);
    options.cli_level = value_of(*cli_level_);
    options.file_level = value_of(*file_level_);
    options.tpm_event_log_file = value_of(*live_log_);
    options.bypass_version_check = bypass_->count > 0;
    if (mode == run_mode::compare_log) {
        options.reference_tpm_log_file = value_of(*required_reference_log_);
        options.compared_pcrs = value_of(*compared_pcrs_);
        return options;
    }
    options.reference_tpm_log_file = value_of(*reference_log_);
    options.unseal_reason = value_of(*reason_).value_or(options.unseal_reason);
    options.skip_retrieving_pcrs = skip_pcrs_->count > 0;
    options.skip_retrieving_tpm_event_log = skip_log_->count > 0;
    options.skip_retrieving_platform_measurements = skip_pmf_->count > 0;
    options.skip_iwl_validation = skip_iwl_->count > 0;
    options.pmf_file = value_of(*pmf_);
    options.pmf_external_certificate_path = value_of(*certificate_);
    options.tl3_seal_identity_verification_file = value_of(*tl3_file_);
    options.external_device_id = value_of(*device_id_);
    return options;
}

void option_tables::show(const std::function<void(const char*, void* const*)>& look) const {
    for (const mode_table& mode : modes_) {
        look(mode.flag->hdr.longopts, mode.table);
    }
}

}  // namespace

void show_option_tables(const std::function<void(const char* mode, void* const* table)>& look) {
    const option_tables tables;
    if (tables.complete()) {
        tables.show(look);
    }
}

result parse_command_line(int argc, char** argv, console& console, command_options& out) {
    option_tables tables;
    if (!tables.complete() || argc < 1) {
        return result::invalid;
    }
    const std::optional<run_mode> mode = tables.parse(argc, argv);
    if (!mode) {
        note("command-line-refused"_id);
        tables.print_help(shown_text(argv[0]), console);
        return result::invalid;
    }
    out = tables.values(*mode);
    return result::success;
}

std::vector<char*> argv_of(std::vector<std::string>& words) {
    std::vector<char*> argv;
    argv.reserve(words.size());
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    return argv;
}

}  // namespace vellum
