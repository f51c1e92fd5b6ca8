#include "platform/bounded_file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <new>

#include "core/file_handle.h"
#include "core/path.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t first_room = std::size_t{64} * 1024;  // bytes

// Opening a FIFO would already block. A file whose kind cannot be told is left to the system to refuse, so that its
// last error says why.
file_read open_regular(const std::string& path, file_handle& out) {
    std::error_code error;
    const fs::file_status status = fs::status(path_of(path), error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        return file_read::not_regular;
    }
    out.reset(std::fopen(path.c_str(), "rb"));
    if (!out) {
        return status.type() == fs::file_type::not_found ? file_read::missing : file_read::not_opened;
    }
    std::setvbuf(out.get(), nullptr, _IONBF, 0);
    return file_read::done;
}

// One byte more than the reported size, so that the end is met without growing.
file_read expected_room(const std::string& path, std::uint64_t limit, std::size_t& out) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path_of(path), error);
    if (!error && size > limit) {
        return file_read::too_large;
    }
    out = error || size < first_room ? first_room : static_cast<std::size_t>(size) + 1;
    return file_read::done;
}

template <typename Container>
file_read read_to_end(std::FILE* file, std::uint64_t limit, std::size_t room, Container& out) {
    std::size_t size = 0;
    out.resize(room);
    while (const std::size_t got = std::fread(out.data() + size, 1, out.size() - size, file)) {
        size += got;
        if (size > limit) {
            return file_read::too_large;
        }
        if (size == out.size()) {
            out.resize(static_cast<std::size_t>(std::min<std::uint64_t>(2 * std::uint64_t{out.size()}, limit + 1)));
        }
    }
    out.resize(size);
    return std::ferror(file) != 0 ? file_read::unreadable : file_read::done;
}

template <typename Container>
file_read read_whole(const std::string& path, std::uint64_t limit, Container& out) {
    file_handle file;
    std::size_t room = 0;
    file_read outcome = open_regular(path, file);
    if (outcome == file_read::done) {
        outcome = expected_room(path, limit, room);
    }
    return outcome == file_read::done ? read_to_end(file.get(), limit, room, out) : outcome;
}

file_read read_first(const std::string& path, std::uint64_t size, std::string& out) {
    file_handle file;
    const file_read outcome = open_regular(path, file);
    if (outcome != file_read::done) {
        return outcome;
    }
    out.resize(static_cast<std::size_t>(size));
    out.resize(std::fread(out.data(), 1, out.size(), file.get()));
    return std::ferror(file.get()) != 0 ? file_read::unreadable : file_read::done;
}

template <typename Read, typename Container>
file_read read_or_clear(Read read, const std::string& path, std::uint64_t limit, Container& out) {
    out.clear();
    file_read outcome = file_read::no_memory;
    try {
        outcome = read(path, limit, out);
    } catch (const std::bad_alloc&) {
    }
    if (outcome != file_read::done) {
        out = Container();
    }
    return outcome;
}

}  // namespace

file_read read_bounded(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    return read_or_clear(read_whole<std::vector<std::uint8_t>>, path, limit, out);
}

file_read read_bounded(const std::string& path, std::uint64_t limit, std::string& out) {
    return read_or_clear(read_whole<std::string>, path, limit, out);
}

file_read read_beginning(const std::string& path, std::size_t size, std::string& out) {
    return read_or_clear(read_first, path, size, out);
}

}  // namespace vellum
