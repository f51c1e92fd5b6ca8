// The configuration file of a validation and the files that it names, by names of the recording's own.
#include <algorithm>

#include "app/validate_mode.h"
#include "app/validation_state.h"
#include "base/path.h"
#include "config/ini_file.h"
#include "config/tl3_file.h"
#include "platform/bounded_file.h"
#include "platform/tbs.h"
#include "pmf/certificate_chain.h"
#include "report/capture.h"

namespace vellum::reporting {
namespace {

constexpr std::size_t max_certificates = 1000;  // of a directory

// The keys that name files, and what a file or directory is called in the recording.
struct recorded_path {
    std::string_view key;
    const char* name;
};

constexpr recorded_path recorded_paths[] = {
    {"TL3SealIdentityVerificationFile", recorded_tl3_file},
    {"PMFExternalCertificatePath", recorded_external_certificate},
    {"TrustedCaDir", recorded_trusted_directory},
    {"IntermediateCaDir", recorded_intermediate_directory},
};

// The log file of a replay lies where the replay is told, not where this machine keeps its own.
constexpr std::string_view log_path_key = "FileLogPath";

// Why a file was not read, as the end of a sentence.
const char* reason_of(const file_read& read) {
    switch (read.how) {
        case file_read::missing: return "does not exist";
        case file_read::too_large: return "is too large";
        case file_read::not_regular: return "is not a file";
        case file_read::done:
        case file_read::outside:
        case file_read::not_opened:
        case file_read::unreadable:
        case file_read::no_memory: break;
    }
    return "cannot be read";
}

template <typename Container>
void write_read(const file_read& read, const Container& content, const std::string& path, const std::string& name,
                record_writer& out) {
    if (ok(read)) {
        out.write(name, content);
    } else {
        out.problem(name, "\"" + path + "\" " + reason_of(read));
    }
}

void capture_file(const std::string& path, std::uint64_t limit, const std::string& name, record_writer& out) {
    std::vector<std::uint8_t> content;
    const file_read read = read_bounded(path, limit, content);
    write_read(read, content, path, name, out);
}

// Its beginning, and whether more follows, is all that a validation looks at; the file may have any size.
void capture_tl3_file(const KxlConfig& config, record_writer& out) {
    const std::string& path = config.tl3_seal_identity_verification_file;
    if (config.expected_seal_signing_algorithm == signature_scheme::sha256_null_encryption && !path.empty()) {
        std::string content;
        const file_read read = read_beginning(path, tl3_scanned_size + 1, content);
        write_read(read, content, path, recorded_tl3_file, out);
    }
}

void capture_certificates(const platform& machine, const std::string& directory, const char* name,
                          record_writer& out) {
    std::vector<directory_entry> entries;
    const os_status listed = machine.directories.list(directory, certificate_file_extension, entries);
    if (!ok(listed)) {
        out.system_problem(name, listed);
        return;
    }
    std::erase_if(entries, [](const directory_entry& entry) { return entry.is_directory; });
    if (entries.empty() || entries.size() > max_certificates) {
        out.problem(name, "\"" + directory + "\" holds " + (entries.empty() ? "no" : "too many") + " certificates");
        return;
    }
    for (const directory_entry& entry : entries) {
        capture_file(path_in(directory, entry.name), max_certificate_file_size, path_in(name, entry.name), out);
    }
}

void capture_named_files(const platform& machine, const validation_state& state, record_writer& out) {
    const KxlConfig& config = state.config;
    capture_tl3_file(config, out);
    if (!config.pmf_external_certificate_path.empty()) {
        capture_file(config.pmf_external_certificate_path, max_certificate_file_size, recorded_external_certificate,
                     out);
    }
    if (!config.trusted_ca_dir.empty()) {
        capture_certificates(machine, config.trusted_ca_dir, recorded_trusted_directory, out);
    }
    if (!config.intermediate_ca_dir.empty()) {
        capture_certificates(machine, config.intermediate_ca_dir, recorded_intermediate_directory, out);
    }
    if (!state.reference_tpm_log_file.empty()) {
        capture_file(state.reference_tpm_log_file, tbs::max_log_size, recorded_reference_log, out);
    }
}

std::string value_in_recording(const ini_parameter& parameter) {
    const auto named = std::find_if(std::begin(recorded_paths), std::end(recorded_paths),
                                    [&](const recorded_path& row) { return row.key == parameter.key; });
    return named == std::end(recorded_paths) || parameter.value.empty() ? parameter.value : named->name;
}

std::string text_in_recording(const std::vector<ini_parameter>& parameters) {
    std::string text;
    std::string section;
    for (const ini_parameter& parameter : parameters) {
        if (parameter.key == log_path_key) {
            continue;
        }
        if (parameter.section != section) {
            section = parameter.section;
            text += "[" + section + "]\n";
        }
        text += parameter.key + "=" + value_in_recording(parameter) + "\n";
    }
    return text;
}

command_options options_of(const capture_request& request) {
    command_options options;
    options.config_file = request.config_file;
    options.external_device_id = request.external_device_id;
    options.reference_tpm_log_file = request.reference_log;
    return options;
}

}  // namespace

std::optional<KxlConfig> capture_configuration(const platform& machine, const capture_request& request,
                                               record_writer& out) {
    validation_state state(machine);
    ini_content content;
    if (!ok(read_expectations(options_of(request), state)) || !ok(read_ini_file(*request.config_file, content))) {
        out.problem(recorded_config_file, "\"" + *request.config_file + "\" cannot be used");
        return std::nullopt;
    }
    out.write(recorded_config_file, text_in_recording(content.parameters));
    capture_named_files(machine, state, out);
    return state.config;
}

}  // namespace vellum::reporting
