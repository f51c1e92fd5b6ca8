#include "platform/bounded_file.h"

#include <algorithm>
#include <new>
#include <span>

#include "base/result.h"

namespace vellum {
namespace {

constexpr std::size_t first_room = std::size_t{64} * 1024;  // bytes

file_read open_file(const std::string& path, regular_file& out) {
    const file_opening opened = open_regular_file(path, out);
    switch (opened.how) {
        case file_opening::done: return {};
        case file_opening::missing: return {file_read::missing, opened.reason};
        case file_opening::failed: return {file_read::not_opened, opened.reason};
        case file_opening::not_regular: break;
    }
    return {file_read::not_regular};
}

file_read open_file_in(const file_place& directory, const std::string& path, regular_file& out) {
    const file_read opened = open_file(path, out);
    return ok(opened) && !lies_below(out.place, directory) ? file_read{file_read::outside} : opened;
}

// Fills the container from its place `size` on, which is moved behind what was read.
template <typename Container>
file_read read_into(const regular_file& file, Container& out, std::size_t& size) {
    std::size_t got = 0;
    const std::span<std::uint8_t> room(reinterpret_cast<std::uint8_t*>(out.data()), out.size());
    const os_status read = read_block(file, room.subspan(size), got);
    size += got;
    return ok(read) ? file_read{} : file_read{file_read::unreadable, read};
}

template <typename Container>
file_read read_to_end(const regular_file& file, std::uint64_t limit, std::size_t room, Container& out) {
    std::size_t size = 0;
    out.resize(room);
    while (true) {
        RETURN_IF_FAILED(read_into(file, out, size));
        if (size > limit) {
            return {file_read::too_large};
        }
        if (size < out.size()) {
            break;
        }
        out.resize(static_cast<std::size_t>(std::min<std::uint64_t>(2 * std::uint64_t{out.size()}, limit + 1)));
    }
    out.resize(size);
    return {};
}

// The room is one byte more than the reported size, so that the end is met without growing.
template <typename Container>
file_read read_whole(const regular_file& file, std::uint64_t limit, Container& out) {
    if (file.size > limit) {
        return {file_read::too_large};
    }
    const std::size_t room = std::max(first_room, static_cast<std::size_t>(file.size) + 1);
    return read_to_end(file, limit, room, out);
}

file_read read_first(const regular_file& file, std::uint64_t size, std::string& out) {
    std::size_t got = 0;
    out.resize(static_cast<std::size_t>(size));
    RETURN_IF_FAILED(read_into(file, out, got));
    out.resize(got);
    return {};
}

// Opens and reads; what is not read whole leaves nothing.
template <typename Open, typename Read, typename Container>
file_read read_or_clear(Open open, Read read, std::uint64_t limit, Container& out) {
    out.clear();
    file_read outcome{file_read::no_memory};
    try {
        regular_file file;
        outcome = open(file);
        outcome = ok(outcome) ? read(file, limit, out) : outcome;
    } catch (const std::bad_alloc&) {
        outcome = {file_read::no_memory};
    }
    if (!ok(outcome)) {
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
