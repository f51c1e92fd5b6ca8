#include "tpm/log_source.h"

#include "base/text.h"
#include "core/dump.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"
#include "platform/tbs.h"
#include "tpm/tbs/tpm_access.h"

namespace vellum {
namespace {

result load_file(const std::string& path, std::optional<tpm_events_chains>& out) {
    std::vector<std::uint8_t> log;
    RETURN_IF_FAILED(read_file(path, tbs::max_log_size, log));
    return parse_tpm_log(std::move(log), out);
}

result load_this_boot(tpm_library& tpm, std::optional<tpm_events_chains>& out) {
    std::vector<std::uint8_t> log;
    RETURN_IF_FAILED(load_tpm_log_via_tbs(tpm, log));
    log_at(log_level::debug, "Succesfully loaded TPM Log using TBS API (%u bytes)",
           static_cast<unsigned>(log.size()));
    dump_titled(log_level::debug, "TPM Event Log file content", log);
    const result parsed = parse_tpm_log(std::move(log), out);
    if (!ok(parsed)) {
        report("log-of-boot-unparsable"_id,
               "Error occurred while trying to parse the TPM Event Log file retrieved from this boot.");
    }
    return parsed;
}

// Both sinks at info, without the log line prefix.
void print_raw(const std::string& line) {
    write_console(log_level::info, line);
    write_file(log_level::info, line);
}

}  // namespace

result load_tpm_log(tpm_library& tpm, live_log_source source, const std::string* file_path,
                    std::optional<tpm_events_chains>& out) {
    switch (source) {
        case live_log_source::system_root:
            log_at(log_level::error, "Internal parameter system_root is null.");
            return result::internal_failure;
        case live_log_source::file: {
            if (missing_parameter(file_path, "user_tpm_log_file")) {
                return result::internal_failure;
            }
            const result loaded = load_file(*file_path, out);
            if (!ok(loaded)) {
                report(
                    "log-file-unparsable"_id,
                    "An error occurred while trying to parse TPM Event Log file provided with --tpm_event_log_file flag: \"%s\".",
                    shown_text(*file_path).c_str())
                    .field("file", *file_path);
            }
            return loaded;
        }
        case live_log_source::this_boot:
        default: return load_this_boot(tpm, out);
    }
}

result load_reference_tpm_log(const std::string& file_path, std::optional<tpm_events_chains>& out) {
    if (ok(load_file(file_path, out))) {
        return result::success;
    }
    report("log-reference-unparsable"_id,
           "An error occurred while parsing TPM Log file provided with --reference_tpm_log_file flag: \"%s\".",
           shown_text(file_path).c_str())
        .field("file", file_path);
    return result::invalid;
}

void print_log_sources(live_log_source source, const std::string& live_path, const std::string& reference_path) {
    switch (source) {
        case live_log_source::this_boot: print_raw("    Live Log (Actual):        Retrieved from this boot\n"); break;
        case live_log_source::system_root: print_raw("    Live Log (Actual):        [PLACEHOLDER]\n"); break;
        case live_log_source::file:
            print_raw("    Live Log (Actual):        \"" + shown_text(live_path) + "\" [--tpm_event_log_file]\n");
            break;
        default: log_at(log_level::error, "    Live Log(Actual) : UNDEFINED SOURCE\n"); return;
    }
    print_raw("    Reference Log (Expected): \"" + shown_text(reference_path) + "\"\n");
    log_at(log_level::brief, "%s", "");
}

}  // namespace vellum
