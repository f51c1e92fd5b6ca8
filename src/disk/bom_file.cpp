#include "disk/bom_file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "core/file_handle.h"
#include "core/log.h"
#include "core/path.h"
#include "core/text.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t block_size = std::size_t{64} * 1024;
constexpr std::uint64_t max_bom_file_size = std::uint64_t{4} * 1024 * 1024 * 1024;  // a sparse file has no end

result push_system_reason(const std::error_code& error, const char* what, const std::string& path) {
    static_cast<void>(
        push_os_error(static_cast<std::uint32_t>(error.value()), "    %s \"%s\".", what, shown_text(path).c_str()));
    return result::invalid;
}

result push_reason(const char* what, const std::string& path) {
    static_cast<void>(push_message("    %s \"%s\".", what, shown_text(path).c_str()));
    return result::invalid;
}

// The path with every link followed; the file is there and lies below the root.
result resolve(const std::string& root, const std::string& path, fs::path& out) {
    const std::string shown = root + "/" + path;
    std::error_code error;
    const fs::path resolved_root = fs::canonical(path_of(root + "/"), error);
    if (error) {
        return push_system_reason(error, "Cannot open volume", root);
    }
    out = fs::canonical(path_of(shown), error);
    if (error) {
        return push_system_reason(error, "Cannot open file", shown);
    }
    const auto [end_of_root, rest] =
        std::mismatch(resolved_root.begin(), resolved_root.end(), out.begin(), out.end());
    if (end_of_root != resolved_root.end()) {
        return push_reason("A link leads out of the volume from file", shown);
    }
    const fs::file_status status = fs::status(out, error);
    if (error) {
        return push_system_reason(error, "Cannot open file", shown);
    }
    return fs::is_regular_file(status) ? result::success : push_reason("This is not a regular file:", shown);
}

result hash_blocks(std::FILE* file, const std::string& path, hasher& sha256) {
    std::vector<std::uint8_t> block(block_size);
    std::uint64_t size = 0;
    while (true) {
        const std::size_t got = std::fread(block.data(), 1, block.size(), file);
        size += got;
        if (size > max_bom_file_size) {
            static_cast<void>(push_message("    File \"%s\" is too large. The limit is %llu bytes.",
                                           shown_text(path).c_str(), as_ull(max_bom_file_size)));
            return result::invalid;
        }
        if (const result added = sha256.add(byte_view(block).first(got)); !ok(added)) {
            return added;
        }
        if (got < block.size()) {
            break;
        }
    }
    if (std::ferror(file) != 0) {
        static_cast<void>(push_last_os_error("    Cannot read file \"%s\".", shown_text(path).c_str()));
        return result::invalid;
    }
    return result::success;
}

}  // namespace

result hash_bom_file(const disk_volume& volume, const std::string& path, sha256_value& out) {
    fs::path resolved;
    if (const result found = resolve(volume.root, path, resolved); !ok(found)) {
        return found;
    }
    const std::string name = text_of(resolved);
    const file_handle file(std::fopen(name.c_str(), "rb"));
    if (!file) {
        static_cast<void>(push_last_os_error("    Cannot open file \"%s\".", shown_text(name).c_str()));
        return result::invalid;
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    hasher sha256 = hasher::sha256();
    result hashed = sha256.start();
    if (ok(hashed)) {
        hashed = hash_blocks(file.get(), name, sha256);
    }
    return ok(hashed) ? sha256.finish(out) : hashed;
}

}  // namespace vellum
