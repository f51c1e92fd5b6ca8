#include "core/file.h"

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/os_error.h"
#include "platform/bounded_file.h"

namespace vellum {
namespace {

result result_of(const file_read& read) {
    switch (read.how) {
        case file_read::done: return result::success;
        case file_read::no_memory: return result::internal_failure;
        default: return result::invalid;
    }
}

}  // namespace

result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    return report_read(read_bounded(path, limit, out), path, limit);
}

result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out, std::string& reason) {
    const file_read read = read_bounded(path, limit, out);
    switch (read.how) {
        case file_read::done: break;
        case file_read::missing:
        case file_read::not_opened:
        case file_read::unreadable: reason = os_error_text(read.reason); break;
        case file_read::not_regular: reason = "not a regular file"; break;
        case file_read::outside: reason = "a link leads out of its directory"; break;
        case file_read::too_large: reason = "larger than " + std::to_string(limit) + " bytes"; break;
        case file_read::no_memory: reason = "not enough memory"; break;
    }
    return result_of(read);
}

result report_read(const file_read& read, const std::string& path, std::uint64_t limit) {
    const std::string name = shown_text(path);
    switch (read.how) {
        case file_read::done: break;
        case file_read::missing:
        case file_read::not_opened:
            report("file-not-opened"_id, "Cannot open file \"%s\".", name.c_str())
                .field("file", path)
                .system_error(read.reason);
            break;
        case file_read::unreadable:
            report("file-not-read"_id, "Cannot read file \"%s\".", name.c_str())
                .field("file", path)
                .system_error(read.reason);
            break;
        case file_read::not_regular:
            report("file-not-regular"_id, "Cannot read file \"%s\". It is not a regular file.", name.c_str())
                .field("file", path);
            break;
        case file_read::outside:
            report("file-linked-outside"_id, "A link leads out of the directory of file \"%s\".", name.c_str())
                .field("file", path);
            break;
        case file_read::too_large:
            report("file-too-large"_id, "File \"%s\" is too large. The limit is %llu bytes.", name.c_str(),
                   static_cast<unsigned long long>(limit))
                .field("file", path)
                .field("limit", limit);
            break;
        case file_read::no_memory:
            report("file-no-memory"_id, "Not enough memory to read file \"%s\".", name.c_str()).field("file", path);
            break;
    }
    return result_of(read);
}

}  // namespace vellum
