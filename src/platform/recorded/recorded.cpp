#include "platform/recorded/recorded.h"

#include <filesystem>

#include "core/path.h"
#include "core/text.h"

namespace vellum {
namespace {

// Loads the services in turn up to the first failure.
template <typename... Service>
result load_each(record_directory& record, Service&... services) {
    result loaded = result::success;
    static_cast<void>((ok(loaded = services.load(record)) && ...));
    return loaded;
}

}  // namespace

result recorded_platform::load(const std::string& directory) {
    std::error_code error;
    if (!std::filesystem::is_directory(path_of(directory), error)) {
        problem_ = "there is no directory \"" + shown_text(directory) + "\"";
        return result::invalid;
    }
    directory_ = directory;
    tpm_.emplace(directory, errors_);
    record_directory record(directory);
    const result loaded = load_each(record, clock_, firmware_, tables_, os_version_, disk_);
    problem_ = record.problem();
    return loaded;
}

}  // namespace vellum
