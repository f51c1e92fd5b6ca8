#include "pmf/rules.h"

#include <algorithm>
#include <cstdarg>
#include <string>

#include "base/format.h"
#include "base/text.h"
#include "core/findings.h"
#include "pmf/rule_set.h"

namespace vellum {
namespace {

result required_header(const PmfDocument& document) {
    const result checked = check_required_rules(document.header);
    if (!ok(checked)) {
        report("pmf-header-malformed"_id, "PMF::ManifestHeader has invalid structure.");
    }
    return checked;
}

result incomplete(const pmf_extension& extension) {
    note("pmf-extension-incomplete"_id)
        .field("name", extension_type_name(extension.type))
        .field("size", extension.bytes.size());
    return result::check_failed;
}

// The rules run on what fits of a cut extension: they begin with its length.
template <typename Extension, PmfExtensionType Type>
result required_extension(const PmfDocument& document) {
    const pmf_extension* found = nullptr;
    RETURN_IF_FAILED(find_pmf_extension(document, Type, found));
    Extension extension;
    const bool complete = decode(found->bytes, extension);
    RETURN_IF_FAILED(check_required_rules(extension));
    return complete ? result::success : incomplete(*found);
}

constexpr pmf_rule<PmfDocument> required_sets[] = {
    required_header,
    required_extension<PMF::PCRMetadataFileExtension, PmfExtensionType::pcr_metadata>,
    required_extension<PMF::DiskMetadataFileExtension, PmfExtensionType::disk_metadata>,
    required_extension<PMF::SystemInfoExtension, PmfExtensionType::system_info>,
    required_extension<PMF::KeyManifestExtension, PmfExtensionType::key_manifest>,
};

result strict_header(const PmfDocument& document) {
    return check_strict_rules(document.header);
}

template <typename Extension>
result strict_extension(const PmfDocument& document) {
    Extension extension;
    RETURN_IF_FAILED(get_pmf_extension(document, extension));
    return check_strict_rules(extension);
}

constexpr pmf_rule<PmfDocument> strict_sets[] = {
    strict_header,
    strict_extension<PMF::PCRMetadataFileExtension>,
    strict_extension<PMF::KeyManifestExtension>,
    strict_extension<PMF::DiskMetadataFileExtension>,
    strict_extension<PMF::SystemInfoExtension>,
};

result run_required_sets(const PmfDocument& document, std::size_t& errors) {
    for (const auto set : required_sets) {
        const result checked = set(document);
        if (checked == result::check_failed) {
            ++errors;
        } else {
            RETURN_IF_FAILED(checked);
        }
    }
    return verdict_of(errors);
}

}  // namespace

result check_required_rules(const PmfDocument& document) {
    std::size_t errors = 0;
    const result verdict = run_required_sets(document, errors);
    log_at(log_level::debug, "Finished validation of required KVR extensions. Rval(0x%02x), Errors(%zu)\n",
           code_of(verdict), errors);
    return verdict;
}

result run_strict_rules(const PmfDocument& document) {
    return verdict_of(count_failures(strict_sets, document));
}

rule_outcome demand(finding_id id, bool holds, const char* format, ...) {
    if (holds) {
        return rule_outcome(result::success);
    }
    va_list arguments;
    va_start(arguments, format);
    report_text(id, format_text(format, arguments));
    va_end(arguments);
    return rule_outcome(result::check_failed);
}

rule_outcome violated(finding_id id, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    report_text(id, format_text(format, arguments));
    va_end(arguments);
    return rule_outcome(result::check_failed);
}

bool ends_in_zeros(byte_view text) {
    const auto terminator = std::find(text.begin(), text.end(), std::uint8_t{0});
    return terminator != text.end() && all_zero({terminator, text.end()});
}

bool digest_fits(const pmf_hash_field& field, std::size_t digest_size) {
    return all_zero(byte_view(field).subspan(digest_size));
}

void show_digest_field(finding_lines lines, const pmf_hash_field& field, std::size_t digest_size) {
    const std::string digest(2 * digest_size, '.');
    const std::string rest(2 * (field.size() - digest_size), '0');
    lines.line("  Expected: %s", (digest + rest).c_str()).line("  Actual:   %s", upper_hex(field).c_str());
}

}  // namespace vellum
