#include "disk/bom_file.h"

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "disk/file_names.h"
#include "platform/regular_file.h"

namespace vellum {
namespace {

constexpr std::size_t block_size = std::size_t{64} * 1024;
constexpr std::uint64_t max_bom_file_size = std::uint64_t{4} * 1024 * 1024 * 1024;  // a sparse file has no end

result refuse(finding_id id, const char* what, const std::string& path) {
    report(id, "    %s \"%s\".", what, shown_text(path).c_str()).field("file", path);
    return result::invalid;
}

result refuse_with_error(finding_id id, const char* what, const std::string& path, os_status reason) {
    report(id, "    %s \"%s\".", what, shown_text(path).c_str()).system_error(reason).field("file", path);
    return result::invalid;
}

// Asked again for each file: a recording may be changed while it is replayed.
result locate_volume(const disk_volume& volume, file_place& out) {
    if (const os_status located = locate(volume.root + "/", out); !ok(located)) {
        return refuse_with_error("bom-volume-not-opened"_id, "Cannot open volume", volume.root, located);
    }
    file_place recording;
    const bool held =
        volume.recording.empty() || (ok(locate(volume.recording, recording)) && lies_below(out, recording));
    return held
               ? result::success
               : refuse("bom-volume-linked-outside"_id, "A link leads out of the recording from volume", volume.root);
}

// The file lies on the volume, neither elsewhere by a link nor on another volume that is mounted in this one.
result open_on_volume(const disk_volume& on, const std::string& path, regular_file& out) {
    file_place volume;
    RETURN_IF_FAILED(locate_volume(on, volume));
    const file_opening opened = open_regular_file(path, out);
    switch (opened.how) {
        case file_opening::done: break;
        case file_opening::missing:
        case file_opening::failed:
            return refuse_with_error("bom-file-not-opened"_id, "Cannot open file", path, opened.reason);
        case file_opening::not_regular: return refuse("bom-file-not-regular"_id, "This is not a regular file:", path);
    }
    if (!lies_below(out.place, volume)) {
        return refuse("bom-file-linked-outside"_id, "A link leads out of the volume from file", path);
    }
    return share_volume(out.place, volume) ? result::success
                                           : refuse("bom-file-on-other-volume"_id, "Another volume holds file", path);
}

result hash_blocks(const regular_file& file, const std::string& path, hasher& sha256) {
    std::vector<std::uint8_t> block(block_size);
    std::uint64_t size = 0;
    while (true) {
        std::size_t got = 0;
        if (const os_status read = read_block(file, block, got); !ok(read)) {
            return refuse_with_error("bom-file-not-read"_id, "Cannot read file", path, read);
        }
        size += got;
        if (size > max_bom_file_size) {
            report("bom-file-too-large"_id, "    File \"%s\" is too large. The limit is %llu bytes.",
                   shown_text(path).c_str(), as_ull(max_bom_file_size))
                .field("file", path)
                .field("limit", max_bom_file_size);
            return result::invalid;
        }
        RETURN_IF_FAILED(sha256.add(byte_view(block).first(got)));
        if (got < block.size()) {
            return result::success;
        }
    }
}

}  // namespace

result hash_bom_file(const disk_volume& volume, const std::string& path, sha256_value& out) {
    const std::string on_volume = volume.names_ignore_case ? spelling_on_volume(volume.root, path) : path;
    const std::string name = volume.root + "/" + on_volume;
    regular_file file;
    RETURN_IF_FAILED(open_on_volume(volume, name, file));
    hasher sha256 = hasher::sha256();
    RETURN_IF_FAILED(sha256.start());
    RETURN_IF_FAILED(hash_blocks(file, name, sha256));
    return sha256.finish(out);
}

}  // namespace vellum
