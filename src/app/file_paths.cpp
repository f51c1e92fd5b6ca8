#include "app/file_paths.h"

#include <filesystem>

#include "base/path.h"
#include "base/text.h"
#include "config/path_tokens.h"
#include "core/findings.h"

namespace vellum {
namespace {

// Asks for the platform's identity at most once.
class path_translator {
  public:
    path_translator(const std::optional<std::string>& external_id, firmware_tables& tables,
                    std::vector<std::string>& platform_paths)
        : external_id_(external_id ? &*external_id : nullptr), tables_(tables), platform_paths_(platform_paths) {}

    result translate(std::string& path) {
        const bool by_platform = needs_platform_identity(path);
        if (by_platform && !identity_) {
            RETURN_IF_FAILED(read_identity());
        }
        std::string translated;
        const result done = translate_path_tokens(path, identity_ ? &*identity_ : nullptr, external_id_, translated);
        if (ok(done)) {
            path = std::move(translated);
        }
        if (ok(done) && by_platform) {
            platform_paths_.push_back(path);
        }
        return done;
    }

  private:
    result read_identity() {
        platform_smbios_info info;
        if (!ok(read_smbios_info(tables_, info))) {
            report("path-identity-unreadable"_id, "Retieving SMBIOS data failed.");
            return result::invalid;
        }
        identity_ = {info.uuid, info.serial_number};
        return result::success;
    }

    const std::string* external_id_;
    firmware_tables& tables_;
    std::vector<std::string>& platform_paths_;
    std::optional<platform_identity> identity_;
};

// Failures name the file by its label.
result resolve(path_translator& translator, const char* label, std::string& path) {
    const std::string configured = path;
    const result done = translator.translate(path);
    if (!ok(done)) {
        report("path-untranslatable"_id, "Error occurred while trying to convert the path of the %s: \"%s\".", label,
               shown_text(configured).c_str())
            .field("name", label)
            .field("file", configured);
    } else if (path != configured) {
        log_at(log_level::debug, "%s: \"%s\"", label, shown_text(path).c_str());
    }
    return done;
}

result resolve_tl3_path(path_translator& translator, KxlConfig& config) {
    if (config.expected_seal_signing_algorithm != signature_scheme::sha256_null_encryption) {
        return result::success;
    }
    const result done =
        resolve(translator, "TL3 Seal Identity verification file", config.tl3_seal_identity_verification_file);
    if (!ok(done)) {
        report(
            "tl3-path-untranslatable"_id,
            "Error occurred while trying to convert TL3 verification file path. Please provide valid TL3SealIdentityVerificationFile in Vellum ini configuration or --tl3_seal_identity_verification_file option in command line.")
            .field("key", "TL3SealIdentityVerificationFile")
            .field("file", config.tl3_seal_identity_verification_file);
    }
    return done;
}

// `directory` is empty or ends in a separator, after which some systems want a name.
bool is_same_directory(const std::string& directory, const std::string& other) {
    std::error_code unknown;  // what cannot be found is no directory
    return std::filesystem::equivalent(path_of(directory + "."), path_of(path_in(other, ".")), unknown);
}

}  // namespace

void take_options(const command_options& options, validation_state& state) {
    state.options = options;
    state.pmf_file = options.pmf_file;
    if (options.tpm_event_log_file) {
        state.log_source = live_log_source::file;
        state.tpm_event_log_file = *options.tpm_event_log_file;
    }
    state.reference_tpm_log_file = options.reference_tpm_log_file.value_or("");
}

result resolve_file_paths(const std::optional<std::string>& external_device_id, validation_state& state) {
    path_translator translator(external_device_id, state.machine.tables, state.platform_paths);
    RETURN_IF_FAILED(resolve_tl3_path(translator, state.config));
    RETURN_IF_FAILED(
        resolve(translator, "PMF external certificate file", state.config.pmf_external_certificate_path));
    RETURN_IF_FAILED(resolve(translator, "Reference TPM Log file", state.reference_tpm_log_file));
    if (state.pmf_file) {
        RETURN_IF_FAILED(resolve(translator, "Platform Measurements File", *state.pmf_file));
    }
    return resolve(translator, "Live TPM Log file", state.tpm_event_log_file);
}

void place_configured_files(const command_options& options, validation_state& state) {
    const std::string file = options.config_file.value_or(default_config_file);
    if (state.machine.record_directory.empty() ||
        !is_same_directory(directory_of(file), state.machine.record_directory)) {
        return;
    }
    const auto place = [&file](std::string& path) { path = path_beside(file, path); };
    place(state.config.trusted_ca_dir);
    place(state.config.intermediate_ca_dir);
    if (!options.pmf_external_certificate_path) {
        place(state.config.pmf_external_certificate_path);
    }
    if (!options.tl3_seal_identity_verification_file) {
        place(state.config.tl3_seal_identity_verification_file);
    }
}

}  // namespace vellum
