// Records the running machine as a directory that the recorded device reads (docs/recorded-device.md), through the
// services of a platform alone: a recorded device can be captured as well. What cannot be read is left out, which the
// recorded device plays as a service that fails.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "config/kxl_config.h"
#include "platform/platform.h"

namespace vellum::reporting {

struct capture_request {
    std::string directory;
    std::vector<std::string> volume_files;           // files to take along, as LETTER:PATH
    std::optional<std::string> config_file;          // with the files that it names
    std::optional<std::string> reference_log;        // an event log to compare with; needs the configuration file
    std::optional<std::string> external_device_id;   // for the tokens in the paths of files; the same
    std::optional<std::vector<std::uint8_t>> nonce;  // of a quote over the PCRs
    std::optional<std::string> device;               // a recorded one, in place of this machine
};

struct capture_report {
    std::vector<std::string> recorded;  // files, within the directory
    std::vector<std::string> problems;  // what could not be recorded and why, one line each
    std::optional<KxlConfig> config;    // that was recorded; the paths are those of the machine
};

// What is taken along, by its name in the directory.
inline constexpr const char* recorded_config_file = "kxl.ini";
inline constexpr const char* recorded_tl3_file = "tl3_identity.csv";
inline constexpr const char* recorded_external_certificate = "external.crt";
inline constexpr const char* recorded_trusted_directory = "trusted";
inline constexpr const char* recorded_intermediate_directory = "intermediate";
inline constexpr const char* recorded_reference_log = "reference.bin";

// A quote over the PCRs: TPMS_ATTEST, TPMT_SIGNATURE, and TPMT_PUBLIC of the key.
inline constexpr const char* recorded_quote = "tpm/quote.bin";
inline constexpr const char* recorded_quote_signature = "tpm/quote.sig";
inline constexpr const char* recorded_quote_key = "tpm/ak.pub";

// Writes into the directory, which is made if it is missing and must be empty. Clock, configuration and reference log
// are recorded only when something else is. Logging must have been started: a service may report its reasons.
capture_report capture(const platform& machine, const capture_request& request);

// The parts of it, each for one service --------------------------------------------------------------------------

class record_writer {
  public:
    record_writer(std::string directory, system_errors& errors) : directory_(std::move(directory)), errors_(errors) {}

    void write(const std::string& name, byte_view content);
    void write(const std::string& name, std::string_view text) { write(name, as_bytes(text)); }

    // Copies a file of the machine.
    void copy(const std::string& name, const std::string& source);

    // "SUBJECT: REASON", the second with the system's text for the code.
    void problem(const std::string& subject, const std::string& reason);
    void system_problem(const std::string& subject, os_status reason);

    void config(std::optional<KxlConfig> used) { report_.config = std::move(used); }
    const capture_report& report() const { return report_; }

  private:
    [[nodiscard]] bool make_room(const std::string& name);

    std::string directory_;
    system_errors& errors_;
    capture_report report_;
};

void capture_firmware(const platform& machine, record_writer& out);
void capture_tpm(const platform& machine, const std::optional<std::vector<std::uint8_t>>& nonce, record_writer& out);
void capture_disk(const platform& machine, const std::vector<std::string>& volume_files, record_writer& out);

// The configuration, with paths that begin in the recording; nothing when it cannot be used.
std::optional<KxlConfig> capture_configuration(const platform& machine, const capture_request& request,
                                               record_writer& out);

}  // namespace vellum::reporting
