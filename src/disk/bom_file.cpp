#include "disk/bom_file.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/os_error.h"
#include "disk/file_names.h"
#include "platform/regular_file.h"

namespace vellum {
namespace {

constexpr std::size_t block_size = std::size_t{64} * 1024;
constexpr std::uint64_t max_bom_file_size = std::uint64_t{4} * 1024 * 1024 * 1024;  // a sparse file has no end

result refuse(finding_id id, const char* what, const std::string& path) {
    report(id, "    %s \"%s\".", what, shown_text(path).c_str());
    return result::invalid;
}

result refuse_with_error(finding_id id, const char* what, const std::string& path) {
    report(id, "    %s \"%s\".", what, shown_text(path).c_str()).system_error(last_os_status());
    return result::invalid;
}

// Asked again for each file: a recording may be changed while it is replayed.
result locate_volume(const disk_volume& volume, file_place& out) {
    if (!locate(volume.root + "/", out)) {
        return refuse_with_error("bom-volume-not-opened"_id, "Cannot open volume", volume.root);
    }
    file_place recording;
    const bool held = volume.recording.empty() || (locate(volume.recording, recording) && lies_below(out, recording));
    return held
               ? result::success
               : refuse("bom-volume-linked-outside"_id, "A link leads out of the recording from volume", volume.root);
}

// The file lies on the volume, neither elsewhere by a link nor on another volume that is mounted in this one.
result open_on_volume(const disk_volume& on, const std::string& path, regular_file& out) {
    file_place volume;
    if (const result located = locate_volume(on, volume); !ok(located)) {
        return located;
    }
    switch (open_regular_file(path, out)) {
        case file_open::done: break;
        case file_open::missing:
        case file_open::failed: return refuse_with_error("bom-file-not-opened"_id, "Cannot open file", path);
        case file_open::not_regular: return refuse("bom-file-not-regular"_id, "This is not a regular file:", path);
    }
    if (!lies_below(out.place, volume)) {
        return refuse("bom-file-linked-outside"_id, "A link leads out of the volume from file", path);
    }
    return share_volume(out.place, volume) ? result::success
                                           : refuse("bom-file-on-other-volume"_id, "Another volume holds file", path);
}

result hash_blocks(std::FILE* file, const std::string& path, hasher& sha256) {
    std::vector<std::uint8_t> block(block_size);
    std::uint64_t size = 0;
    while (true) {
        const std::size_t got = std::fread(block.data(), 1, block.size(), file);
        size += got;
        if (size > max_bom_file_size) {
            report("bom-file-too-large"_id, "    File \"%s\" is too large. The limit is %llu bytes.",
                   shown_text(path).c_str(), as_ull(max_bom_file_size));
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
        report("bom-file-not-read"_id, "    Cannot read file \"%s\".", shown_text(path).c_str())
            .system_error(last_os_status());
        return result::invalid;
    }
    return result::success;
}

}  // namespace

result hash_bom_file(const disk_volume& volume, const std::string& path, sha256_value& out) {
    const std::string on_volume = volume.names_ignore_case ? spelling_on_volume(volume.root, path) : path;
    const std::string name = volume.root + "/" + on_volume;
    regular_file file;
    if (const result opened = open_on_volume(volume, name, file); !ok(opened)) {
        return opened;
    }
    hasher sha256 = hasher::sha256();
    result hashed = sha256.start();
    if (ok(hashed)) {
        hashed = hash_blocks(file.handle.get(), name, sha256);
    }
    return ok(hashed) ? sha256.finish(out) : hashed;
}

}  // namespace vellum
