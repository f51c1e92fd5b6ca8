#include "core/file.h"

#include "core/log.h"
#include "core/text.h"
#include "platform/bounded_file.h"
#include "platform/system_errors.h"

namespace vellum {
namespace {

struct attempt {
    file_read outcome = file_read::done;
    std::uint32_t os_code = 0;  // of an outcome that the system gives a reason for
};

attempt try_to_read(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    const file_read outcome = read_bounded(path, limit, out);
    switch (outcome) {
        case file_read::missing:
        case file_read::not_opened:
        case file_read::unreadable: return {outcome, os_errors().last()};
        default: return {outcome};
    }
}

result result_of(const attempt& read) {
    switch (read.outcome) {
        case file_read::done: return result::success;
        case file_read::no_memory: return result::internal_failure;
        default: return result::invalid;
    }
}

}  // namespace

result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    const attempt read = try_to_read(path, limit, out);
    const char* const name = path.c_str();
    switch (read.outcome) {
        case file_read::done: break;
        case file_read::missing:
        case file_read::not_opened:
            static_cast<void>(push_os_error(read.os_code, "Cannot open file \"%s\".", name));
            break;
        case file_read::unreadable:
            static_cast<void>(push_os_error(read.os_code, "Cannot read file \"%s\".", name));
            break;
        case file_read::not_regular:
            static_cast<void>(push_message("Cannot read file \"%s\". It is not a regular file.", name));
            break;
        case file_read::too_large:
            static_cast<void>(push_message("File \"%s\" is too large. The limit is %llu bytes.", name,
                                           static_cast<unsigned long long>(limit)));
            break;
        case file_read::no_memory:
            static_cast<void>(push_message("Not enough memory to read file \"%s\".", name));
            break;
    }
    return result_of(read);
}

result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out, std::string& reason) {
    const attempt read = try_to_read(path, limit, out);
    switch (read.outcome) {
        case file_read::done: break;
        case file_read::missing:
        case file_read::not_opened:
        case file_read::unreadable: reason = os_error_text(read.os_code); break;
        case file_read::not_regular: reason = "not a regular file"; break;
        case file_read::too_large: reason = "larger than " + std::to_string(limit) + " bytes"; break;
        case file_read::no_memory: reason = "not enough memory"; break;
    }
    return result_of(read);
}

}  // namespace vellum
