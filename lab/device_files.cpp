// The recording of a device, file by file.
#include <filesystem>

#include "base/path.h"
#include "lab/device.h"
#include "lab/quote_builder.h"
#include "lab/sample_keys.h"
#include "tools/write_file.h"

namespace vellum::lab {
namespace {

class recording {
  public:
    explicit recording(std::string root) : root_(std::move(root)) {}

    void file(const std::string& path, byte_view content) {
        const std::filesystem::path full = path_of(root_) / path_of(path);
        std::error_code ignored;
        std::filesystem::create_directories(full.parent_path(), ignored);
        complete_ = write_bytes(full, content) && complete_;
    }
    void text(const std::string& path, std::string_view content) { file(path, as_bytes(content)); }

    bool complete() const { return complete_; }

  private:
    std::string root_;
    bool complete_ = true;
};

void write_firmware(const device& made, recording& out) {
    feature_state_builder state = made.state;
    state.records = build(made.seal_log);
    state.signature = build(made.signature);
    file_builder measurements;
    measurements.file = made.platform_measurements;
    out.file("firmware/get_version.bin", build(made.version));
    out.file("firmware/feature_get_state.bin", build(state));
    out.file("firmware/gm_file_get.bin", build(measurements));
    out.file("firmware/feature_deactivate.bin", build(deactivate_builder()));
    for (const auto& [name, content] : made.firmware_files) {
        out.text("firmware/" + name, content);
    }
}

std::string ini_text(const device& made) {
    auto sections = made.ini;
    sections["PMF Signature Validation"].insert({{"TrustedCaDir", "trusted"}, {"IntermediateCaDir", "intermediate"}});
    if (!made.tl3_file.empty()) {
        sections["Seal Signature Validation"].insert({"TL3SealIdentityVerificationFile", "tl3_identity.csv"});
    }
    std::string text;
    for (const auto& [section, keys] : sections) {
        text += "[" + section + "]\n";
        for (const auto& [key, value] : keys) {
            text += key + "=" + value + "\n";
        }
        text += "\n";
    }
    return text;
}

// As a TPM would have signed them whose key is the sample's.
void write_quote(const device& made, const pcr_value_list& pcrs, recording& out) {
    quote_plan plan;
    plan.key = sample_key(sample_key_name::attestation);
    plan.nonce = *made.nonce;
    plan.pcrs = pcrs;
    const evidence_files files = build(plan);
    out.file("tpm/quote.bin", *files.quote);
    out.file("tpm/quote.sig", *files.signature);
    out.file("tpm/ak.pub", *files.public_area);
}

void write_platform(const device& made, recording& out) {
    const pcr_value_list pcrs = made.pcrs.value_or(pcr_values_after(made.boot));
    out.text("now", std::to_string(made.now) + "\n");
    out.text("timezone", std::to_string(made.timezone) + "\n");
    out.file("tpm/event_log.bin", build(made.boot));
    out.file("tpm/pcrs.bin", pcrs_file(pcrs));
    if (made.nonce) {
        write_quote(made, pcrs, out);
    }
    out.file("smbios.bin", build(smbios_of(made.smbios)));
    out.text("os_version", made.os_version + "\n");
    out.file("disk/sectors.bin", build_disk(made.disk));
    out.text("disk/volumes", made.volumes);
    for (const auto& [path, content] : made.volume_files) {
        out.text("disk/" + path, content);
    }
}

}  // namespace

result write_device(const device& made, const std::string& directory) {
    recording out(directory);
    if (made.firmware_present) {
        write_firmware(made, out);
    }
    if (made.recorded.empty()) {
        write_platform(made, out);
    }
    for (const auto& [path, content] : made.recorded) {
        out.file(path, content);
    }
    for (const auto& [path, content] : made.certificates) {
        out.text(path, content);
    }
    if (!made.tl3_file.empty()) {
        out.text("tl3_identity.csv", made.tl3_file);
    }
    out.text("kxl.ini", ini_text(made));
    return out.complete() ? result::success : result::io_failure;
}

}  // namespace vellum::lab
