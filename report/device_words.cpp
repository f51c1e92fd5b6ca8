#include "report/device_words.h"

#include <algorithm>
#include <filesystem>

#include "base/bytes.h"
#include "base/path.h"

namespace vellum::reporting {
namespace {

using std::filesystem::path;

path real_path(const path& file) {
    std::error_code error;
    path out = std::filesystem::weakly_canonical(file, error);
    return error ? file.lexically_normal() : out;
}

// Asked of the system, as one directory can be spelt in many ways.
[[nodiscard]] bool is_below(const path& folder, const path& file) {
    std::error_code error;
    path at = file;
    while (at.has_relative_path() && !std::filesystem::equivalent(folder, at, error)) {
        at = at.parent_path();
    }
    return at.has_relative_path();
}

// Also of a link in the folder that leads out of it: on the way to the file every directory counts.
[[nodiscard]] bool is_reached_through(const path& folder, const std::string& name) {
    std::error_code error;
    path file = std::filesystem::absolute(path_of(name), error);
    while (!error && !is_below(folder, real_path(file)) && file.has_relative_path()) {
        file = file.parent_path();
    }
    return error || file.has_relative_path();
}

struct used_file {
    judged_by what;
    std::string path;
};

std::vector<used_file> files_of(const validation_state& state) {
    return {{configuration, state.options.config_file.value_or(default_config_file)},
            {reference_log, state.reference_tpm_log_file},
            {identity_file, state.config.tl3_seal_identity_verification_file},
            {certificate_files, state.config.pmf_external_certificate_path},
            {certificate_files, state.config.trusted_ca_dir},
            {certificate_files, state.config.intermediate_ca_dir}};
}

[[nodiscard]] bool is_of_device(const used_file& file, const path& folder, const validation_state& state) {
    const std::vector<std::string>& by_smbios = state.platform_paths;
    return !file.path.empty() && (std::find(by_smbios.begin(), by_smbios.end(), file.path) != by_smbios.end() ||
                                  is_reached_through(folder, file.path));
}

}  // namespace

unsigned words_of_device(const validation_state& state, const run_record& record) {
    const path folder = real_path(path_of(record.device_folder));
    unsigned out = record.evidence && record.evidence->own_clock ? nothing_else : dates;
    for (const used_file& file : files_of(state)) {
        out |= is_of_device(file, folder, state) ? file.what : nothing_else;
    }
    return out | (pcrs_beside_log(record) != 0 ? whole_log : nothing_else);
}

std::uint32_t pcrs_beside_log(const run_record& record) {
    std::uint32_t out = 0;
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        const pcr_record& it = record.pcrs[pcr];
        // The replay starts PCRs 17 to 22 with ones; a later launch, of which no log tells, clears them.
        const bool replays = it.tpm && it.log && (*it.tpm == *it.log || (it.events == 0 && all_zero(*it.tpm)));
        out |= replays ? 0U : 1U << pcr;
    }
    return out;
}

}  // namespace vellum::reporting
