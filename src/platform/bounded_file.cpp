#include "platform/bounded_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "core/path.h"

namespace vellum {
namespace {

template <typename Container>
file_read read_into(const std::string& path, std::uint64_t limit, Container& out) {
    out.clear();
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path_of(path), error);
    if (!std::filesystem::exists(status)) {
        return status.type() == std::filesystem::file_type::not_found ? file_read::missing : file_read::unreadable;
    }
    std::ifstream file;
    if (std::filesystem::is_regular_file(status)) {
        file.open(path_of(path), std::ios::binary);
    }
    if (!file.is_open()) {
        return file_read::unreadable;
    }
    std::array<char, 16 * 1024> block;
    while (file.read(block.data(), block.size()), file.gcount() > 0) {
        const auto got = static_cast<std::size_t>(file.gcount());
        if (limit - out.size() < got) {
            out.clear();
            return file_read::too_large;
        }
        out.insert(out.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(got));
    }
    if (file.bad()) {
        out.clear();
        return file_read::unreadable;
    }
    return file_read::done;
}

}  // namespace

file_read read_bounded(const std::string& path, std::uint64_t limit, std::vector<std::uint8_t>& out) {
    return read_into(path, limit, out);
}

file_read read_bounded(const std::string& path, std::uint64_t limit, std::string& out) {
    return read_into(path, limit, out);
}

}  // namespace vellum
