#include "core/file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>

#include "core/log.h"
#include "core/path.h"
#include "core/text.h"
#include "platform/system_errors.h"

namespace vellum {
namespace {

constexpr std::size_t first_capacity = 64 * 1024;

struct close_file {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

enum class step { none, open, read, size, memory };

struct failure {
    step at = step::none;
    std::uint32_t os_code = 0;  // of open and read
};

failure failed(step at) {
    return {at, os_errors().last()};
}

// One byte more than the reported size, so that the end is met without growing.
std::size_t expected_capacity(const std::string& path, std::uint64_t limit, bool& above_limit) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path_of(path), error);
    above_limit = !error && size > limit;
    return error || size < first_capacity ? first_capacity : static_cast<std::size_t>(size) + 1;
}

failure read_to_end(std::FILE* file, std::uint64_t limit, std::size_t capacity, std::vector<std::uint8_t>& out) {
    std::size_t size = 0;
    out.resize(capacity);
    while (true) {
        const std::size_t got = std::fread(out.data() + size, 1, out.size() - size, file);
        size += got;
        if (size > limit) {
            return {step::size};
        }
        if (got == 0) {
            break;
        }
        if (size == out.size()) {
            out.resize(static_cast<std::size_t>(std::min<std::uint64_t>(2 * std::uint64_t{out.size()}, limit + 1)));
        }
    }
    if (std::ferror(file) != 0) {
        return failed(step::read);
    }
    out.resize(size);
    return {};
}

failure read_whole(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    const std::unique_ptr<std::FILE, close_file> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        return failed(step::open);
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    bool above_limit = false;
    const std::size_t capacity = expected_capacity(path, limit, above_limit);
    if (above_limit) {
        return {step::size};
    }
    try {
        return read_to_end(file.get(), limit, capacity, out);
    } catch (const std::bad_alloc&) {
        return {step::memory};
    }
}

// Leaves `out` empty unless the whole file was read.
failure read_or_clear(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    out.clear();
    const failure outcome = read_whole(path, limit, out);
    if (outcome.at != step::none) {
        out.clear();
        out.shrink_to_fit();
    }
    return outcome;
}

result result_of(const failure& outcome) {
    switch (outcome.at) {
        case step::none: return result::success;
        case step::memory: return result::internal_failure;
        default: return result::invalid;
    }
}

}  // namespace

result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    const failure outcome = read_or_clear(path, limit, out);
    switch (outcome.at) {
        case step::none: break;
        case step::open:
            static_cast<void>(push_os_error(outcome.os_code, "Cannot open file \"%s\".", path.c_str()));
            break;
        case step::read:
            static_cast<void>(push_os_error(outcome.os_code, "Cannot read file \"%s\".", path.c_str()));
            break;
        case step::size:
            static_cast<void>(push_message("File \"%s\" is too large. The limit is %llu bytes.", path.c_str(),
                                           static_cast<unsigned long long>(limit)));
            break;
        case step::memory:
            static_cast<void>(push_message("Not enough memory to read file \"%s\".", path.c_str()));
            break;
    }
    return result_of(outcome);
}

result read_file(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out, std::string& reason) {
    const failure outcome = read_or_clear(path, limit, out);
    switch (outcome.at) {
        case step::none: break;
        case step::open:
        case step::read: reason = os_error_text(outcome.os_code); break;
        case step::size: reason = "larger than " + std::to_string(limit) + " bytes"; break;
        case step::memory: reason = "not enough memory"; break;
    }
    return result_of(outcome);
}

}  // namespace vellum
