#include "pmf/parser.h"

#include <algorithm>
#include <new>

#include "base/text.h"
#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"
#include "platform/bounded_file.h"
#include "pmf/rules.h"

namespace vellum {
namespace {

constexpr std::size_t size_modulus = max_pmf_file_size + 1;

result read_content(const std::string& path, std::vector<std::uint8_t>& out) {
    const file_read read = read_bounded(path, max_pmf_file_size, out);
    switch (read.how) {
        case file_read::done: break;
        case file_read::missing:
        case file_read::not_opened:
        case file_read::unreadable:
            report("pmf-file-not-opened"_id, "Cannot open Platform Measurement File: %s.", shown_text(path).c_str())
                .field("file", path)
                .system_error(read.reason);
            return result::invalid;
        case file_read::not_regular:
        case file_read::outside:
            report("pmf-file-not-regular"_id,
                   "Cannot open Platform Measurement File: %s. Error: It is not a regular file.",
                   shown_text(path).c_str())
                .field("file", path);
            return result::invalid;
        case file_read::too_large:
            report("pmf-file-too-large"_id, "Platform Measurement File is too big.")
                .field("file", path)
                .field("limit", max_pmf_file_size);
            return result::invalid;
        case file_read::no_memory: note("pmf-file-no-memory"_id).field("file", path); return result::internal_failure;
    }
    if (out.empty()) {
        report("pmf-file-empty"_id, "Platform Measurement File is empty.").field("file", path);
        return result::invalid;
    }
    const result marker = pmf_marker_check(out);
    if (!ok(marker)) {
        report("pmf-file-without-header"_id, "Given file does not start with Platform Measurement File header.")
            .field("file", path);
    }
    return marker;
}

result parse_header(byte_view pmf, PmfDocument& document) {
    const byte_view rest = pmf.subspan(pmf_marker_size);
    if (rest.size() <= pmf_header_size) {
        report("pmf-too-short"_id, "PMF file length is too short. Actual (%d bytes), minimum (%d bytes).",
               static_cast<int>(rest.size()), static_cast<int>(pmf_header_size))
            .field("size", rest.size())
            .field("expected", pmf_header_size);
        return result::check_failed;
    }
    if (!byte_reader(rest).copy(document.header_bytes) || !decode(document.header_bytes, document.header)) {
        return result::internal_failure;
    }
    RETURN_IF_FAILED(check_required_rules(document.header));
    const std::uint64_t claimed = std::uint64_t{document.header.size} * pmf_dword_size;
    if (claimed != rest.size()) {
        report("pmf-size-differs"_id,
               "PMF::ManifestHeader size does not match PMF size. Actual (%d bytes), Expected (%d bytes).",
               static_cast<int>(claimed), static_cast<int>(rest.size()))
            .field("expected", rest.size())
            .field("actual", claimed);
        return result::check_failed;
    }
    return result::success;
}

bool holds_type(const PmfDocument& document, std::uint32_t type) {
    return std::any_of(document.extensions.begin(), document.extensions.end(),
                       [type](const pmf_extension& extension) { return extension.type == type; });
}

// Type and length. An extension that ends before its length word needs the room of a head all the same.
[[nodiscard]] bool read_head(byte_view rest, pmf_extension& out) {
    byte_reader reader(rest);
    if (!reader.u32_le(out.type)) {
        return false;
    }
    if (!reader.u32_le(out.length)) {
        out.length = pmf_extension_head_size;
    }
    return true;
}

result parse_extension(byte_reader& reader, PmfDocument& document) {
    pmf_extension extension;
    if (!read_head(reader.rest(), extension)) {
        return result::internal_failure;
    }
    const std::uint32_t type = extension.type;
    if (type != 0 && holds_type(document, type)) {
        report("pmf-extension-repeated"_id, "Invalid number of appearance of extension type %s(0x%02x) in PMF.",
               extension_type_name(type), type)
            .field("name", extension_type_name(type))
            .field("value", type);
        return result::check_failed;
    }
    const bool sized = type != static_cast<std::uint32_t>(PmfExtensionType::body_header);
    const std::uint32_t length = sized ? extension.length : std::uint32_t{pmf_extension_head_size};
    byte_view bytes;
    if (!reader.view(length, bytes)) {
        report("pmf-extension-too-long"_id, "PMF extension of type %s(0x%02x) length %d exceeds PMF file size.",
               extension_type_name(type), type, static_cast<int>(length))
            .field("name", extension_type_name(type))
            .field("value", type)
            .field("size", length)
            .field("limit", reader.remaining());
        return result::check_failed;
    }
    if (length < pmf_extension_head_size || document.extensions.size() == max_pmf_extensions) {
        note("pmf-extension-refused"_id)
            .field("name", extension_type_name(type))
            .field("size", length)
            .field("expected", pmf_extension_head_size)
            .field("entry", document.extensions.size() + 1)
            .field("limit", max_pmf_extensions);
        return result::check_failed;
    }
    extension.bytes.assign(bytes.begin(), bytes.end());
    document.extensions.push_back(std::move(extension));
    return result::success;
}

result parse_extensions(byte_view bytes, PmfDocument& document) {
    constexpr std::size_t max_trailing_bytes = 3;
    byte_reader reader(bytes);
    while (reader.remaining() > max_trailing_bytes) {
        RETURN_IF_FAILED(parse_extension(reader, document));
    }
    document.trailing_bytes = static_cast<std::uint8_t>(reader.remaining());
    return result::success;
}

void print_extensions(const PmfDocument& document) {
    log_at(log_level::debug, "List of PMF extensions: \n");
    for (std::size_t i = 0; i < document.extensions.size(); ++i) {
        const std::uint32_t type = document.extensions[i].type;
        log_at(log_level::debug, "%d: %s(%d)\n", static_cast<int>(i + 1), extension_type_name(type),
               static_cast<int>(type));
    }
}

result parse_document(byte_view pmf, PmfDocument& document) {
    if (!ok(pmf_marker_check(pmf))) {
        return result::check_failed;
    }
    RETURN_IF_FAILED(parse_header(pmf, document));
    RETURN_IF_FAILED(parse_extensions(pmf.subspan(pmf_marker_size + pmf_header_size), document));
    print_extensions(document);
    return check_required_rules(document);
}

}  // namespace

result load_pmf_file(const std::string& path, std::vector<std::uint8_t>& out) {
    out.clear();
    const result loaded = read_content(path, out);
    if (!ok(loaded)) {
        out.clear();
        return loaded;
    }
    log_at(log_level::trace, "PMF content (%d bytes): \n\n", static_cast<int>(out.size()));
    dump_at_level(log_level::trace, out);
    log_at(log_level::trace, "\n\n");
    return loaded;
}

result pmf_marker_check(byte_view pmf) {
    std::uint32_t marker = 0;
    if (!byte_reader(pmf).u32_le(marker)) {
        report("pmf-without-marker"_id, "PMF too small.").field("size", pmf.size());
        return result::invalid;
    }
    if (marker != pmf_marker) {
        report("pmf-marker-invalid"_id, "Invalid Partition Marker of PMF.")
            .field("expected", pmf_marker)
            .field("actual", marker);
        return result::invalid;
    }
    return result::success;
}

result parse_pmf(byte_view buffer, std::optional<PmfDocument>& out) {
    out.reset();
    result parsed = result::internal_failure;
    try {
        PmfDocument document;
        parsed = parse_document(buffer.first(buffer.size() % size_modulus), document);
        if (ok(parsed)) {
            out = std::move(document);
        }
    } catch (const std::bad_alloc&) {
    }
    if (!ok(parsed)) {
        report("pmf-malformed"_id, "Platform Measurement File structure is invalid.");
    }
    return parsed;
}

result pmf_digest(byte_view pmf, sha384_value& out) {
    return sha384(pmf, out);
}

}  // namespace vellum
