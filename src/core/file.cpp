#include "core/file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>

#include "core/log.h"
#include "platform/system_errors.h"

namespace vellum {
namespace {

constexpr std::size_t first_capacity = 64 * 1024;

struct close_file {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

result too_large(const std::string& path, std::uint64_t limit) {
    static_cast<void>(push_message("File \"%s\" is too large. The limit is %llu bytes.", path.c_str(),
                                   static_cast<unsigned long long>(limit)));
    return result::invalid;
}

result not_readable(const std::string& path) {
    static_cast<void>(push_last_os_error("Cannot read file \"%s\".", path.c_str()));
    return result::invalid;
}

// One byte more than the reported size, so that the end is met without growing.
std::size_t expected_capacity(const std::string& path, std::uint64_t limit, bool& above_limit) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    above_limit = !error && size > limit;
    return error || size < first_capacity ? first_capacity : static_cast<std::size_t>(size) + 1;
}

result read_to_end(std::FILE* file, const std::string& path, std::uint64_t limit, std::size_t capacity,
                   std::vector<std::uint8_t>& out) {
    std::size_t size = 0;
    out.resize(capacity);
    while (true) {
        const std::size_t got = std::fread(out.data() + size, 1, out.size() - size, file);
        size += got;
        if (size > limit) {
            return too_large(path, limit);
        }
        if (got == 0) {
            break;
        }
        if (size == out.size()) {
            out.resize(static_cast<std::size_t>(std::min<std::uint64_t>(2 * std::uint64_t{out.size()}, limit + 1)));
        }
    }
    if (std::ferror(file) != 0) {
        return not_readable(path);
    }
    out.resize(size);
    return result::success;
}

}  // namespace

result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    out.clear();
    const std::unique_ptr<std::FILE, close_file> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        static_cast<void>(push_last_os_error("Cannot open file \"%s\".", path.c_str()));
        return result::invalid;
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    bool above_limit = false;
    const std::size_t capacity = expected_capacity(path, limit, above_limit);
    if (above_limit) {
        return too_large(path, limit);
    }
    result read = result::success;
    try {
        read = read_to_end(file.get(), path, limit, capacity, out);
    } catch (const std::bad_alloc&) {
        static_cast<void>(push_message("Not enough memory to read file \"%s\".", path.c_str()));
        read = result::internal_failure;
    }
    if (!ok(read)) {
        out.clear();
        out.shrink_to_fit();
    }
    return read;
}

}  // namespace vellum
