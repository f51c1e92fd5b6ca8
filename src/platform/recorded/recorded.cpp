#include "platform/recorded/recorded.h"

#include <filesystem>

#include "base/path.h"
#include "base/text.h"

namespace vellum {
namespace {

// Loads the services in turn up to the first failure.
template <typename... Service>
result load_each(record_directory& record, Service&... services) {
    result loaded = result::success;
    static_cast<void>((ok(loaded = services.load(record)) && ...));
    return loaded;
}

// The TPM's files are read when it is asked, and its service has no words for what is wrong with them.
result check_tpm_links(record_directory& record) {
    result checked = result::success;
    for (const char* name : recorded_tpm_files) {
        checked = ok(checked) ? record.check_link(name) : checked;
    }
    return checked;
}

}  // namespace

result recorded_platform::load(const std::string& directory) {
    std::error_code error;
    if (!std::filesystem::is_directory(path_of(directory), error)) {
        problem_ = "there is no directory \"" + shown_text(directory) + "\"";
        return result::invalid;
    }
    directory_ = directory;
    tpm_.emplace(directory);
    record_directory record(directory);
    result loaded = load_each(record, clock_, firmware_, tables_, os_version_, disk_);
    if (ok(loaded)) {
        loaded = check_tpm_links(record);
    }
    if (os_version_.is_of_case_blind_system()) {
        disk_.ignore_case_of_names();
    }
    problem_ = record.problem();
    return loaded;
}

}  // namespace vellum
