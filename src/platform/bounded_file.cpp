#include "platform/bounded_file.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace vellum {
namespace {

constexpr std::size_t first_room = std::size_t{64} * 1024;  // bytes

file_read open_file(const std::string& path, regular_file& out) {
    switch (open_regular_file(path, out)) {
        case file_open::done: return file_read::done;
        case file_open::missing: return file_read::missing;
        case file_open::failed: return file_read::not_opened;
        case file_open::not_regular: break;
    }
    return file_read::not_regular;
}

file_read open_file_in(const file_place& directory, const std::string& path, regular_file& out) {
    const file_read outcome = open_file(path, out);
    return outcome == file_read::done && !lies_below(out.place, directory) ? file_read::outside : outcome;
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

// The room is one byte more than the reported size, so that the end is met without growing.
template <typename Container>
file_read read_whole(const regular_file& file, std::uint64_t limit, Container& out) {
    if (file.size > limit) {
        return file_read::too_large;
    }
    const std::size_t room = std::max(first_room, static_cast<std::size_t>(file.size) + 1);
    return read_to_end(file.handle.get(), limit, room, out);
}

file_read read_first(const regular_file& file, std::uint64_t size, std::string& out) {
    out.resize(static_cast<std::size_t>(size));
    out.resize(std::fread(out.data(), 1, out.size(), file.handle.get()));
    return std::ferror(file.handle.get()) != 0 ? file_read::unreadable : file_read::done;
}

// Opens and reads; what is not read whole leaves nothing.
template <typename Open, typename Read, typename Container>
file_read read_or_clear(Open open, Read read, std::uint64_t limit, Container& out) {
    out.clear();
    file_read outcome = file_read::no_memory;
    try {
        regular_file file;
        outcome = open(file);
        outcome = outcome == file_read::done ? read(file, limit, out) : outcome;
    } catch (const std::bad_alloc&) {
    }
    if (outcome != file_read::done) {
        out = Container();
    }
    return outcome;
}

template <typename Container>
file_read read_named(const std::string& path, std::uint64_t limit, Container& out) {
    const auto open = [&path](regular_file& file) { return open_file(path, file); };
    return read_or_clear(open, read_whole<Container>, limit, out);
}

template <typename Container>
file_read read_named_in(const file_place& directory, const std::string& path, std::uint64_t limit, Container& out) {
    const auto open = [&](regular_file& file) { return open_file_in(directory, path, file); };
    return read_or_clear(open, read_whole<Container>, limit, out);
}

}  // namespace

file_read read_bounded(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    return read_named(path, limit, out);
}

file_read read_bounded(const std::string& path, std::uint64_t limit, std::string& out) {
    return read_named(path, limit, out);
}

file_read read_bounded_in(const file_place& directory, const std::string& path, std::uint64_t limit,
                          std::vector<std::uint8_t>& out) {
    return read_named_in(directory, path, limit, out);
}

file_read read_bounded_in(const file_place& directory, const std::string& path, std::uint64_t limit,
                          std::string& out) {
    return read_named_in(directory, path, limit, out);
}

file_read read_beginning(const std::string& path, std::size_t size, std::string& out) {
    const auto open = [&path](regular_file& file) { return open_file(path, file); };
    return read_or_clear(open, read_first, size, out);
}

}  // namespace vellum
