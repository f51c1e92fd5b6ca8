// The rules of the manifest header.
#include "base/text.h"
#include "pmf/dates.h"
#include "pmf/parser.h"
#include "pmf/rule_set.h"
#include "pmf/rules.h"

namespace vellum {
namespace {

using header = PMF::ManifestHeader;

constexpr std::uint32_t header_type = 4;
constexpr std::uint32_t header_version = 0x00010000;
constexpr std::uint32_t header_size = 161;       // dwords
constexpr std::uint32_t header_id = 0x324E4D24;  // "$MN2"
constexpr std::uint32_t max_size = 2000;         // dwords
constexpr std::uint32_t exponent_size = 1;       // dwords
constexpr std::uint32_t modulus_size = 64;       // dwords
constexpr std::uint32_t forbidden_flags = 0x7FFFFFFE;

static_assert(header_size * pmf_dword_size == pmf_header_size);

result type_is_known(const header& it) {
    return demand("pmf-header-type"_id, it.type == header_type,
                  "PMF::ManifestHeader has invalid type. Actual (0x%02x), expected (0x%02x).", it.type, header_type)
        .field("expected", header_type)
        .field("actual", it.type);
}

result version_is_known(const header& it) {
    return demand("pmf-header-version"_id, it.version == header_version,
                  "PMF::ManifestHeader has invalid version. Actual (0x%02x), expected (0x%02x).", it.version,
                  header_version)
        .field("expected", header_version)
        .field("actual", it.version);
}

result header_has_its_size(const header& it) {
    return demand("pmf-header-size"_id, it.header_size == header_size,
                  "PMF::ManifestHeader Header Size has invalid length. Actual (%d), expected (%d).",
                  as_int(it.header_size), as_int(header_size))
        .field("expected", header_size)
        .field("actual", it.header_size);
}

result id_is_known(const header& it) {
    return demand("pmf-header-id"_id, it.id == header_id,
                  "PMF::ManifestHeader has invalid header id. Actual (0x%02x), expected(0x%02x).", it.id, header_id)
        .field("expected", header_id)
        .field("actual", it.id);
}

result expire_date_is_valid(const header& it) {
    if (valid_pmf_date(it.expire_date)) {
        return result::success;
    }
    const pmf_date date = decode_pmf_date(it.expire_date);
    return violated(
               "pmf-header-expire-date"_id,
               "PMF::ManifestHeader.ExpireDate(%04d-%02d-%02d) has invalid format. Expected format is YYYY-MM-DD.",
               date.year, date.month, date.day)
        .field("value", formatted("%04d-%02d-%02d", date.year, date.month, date.day));
}

result size_is_allowed(const header& it) {
    return demand(
               "pmf-size-too-large"_id, it.size <= max_size,
               "PMF::ManifestHeader size exceeded maximum allowed length. Actual (0x%02x), Maximum allowed(0x%02x).",
               it.size, max_size)
        .field("size", it.size)
        .field("limit", max_size);
}

result internal_data_is_the_marker(const header& it) {
    return demand("pmf-header-internal-data"_id, it.internal_data == pmf_marker,
                  "PMF::ManifestHeader has invalid internal data. Actual (0x%02x), expected(0x%02x).",
                  it.internal_data, pmf_marker)
        .field("expected", pmf_marker)
        .field("actual", it.internal_data);
}

result security_version_is_zero(const header& it) {
    return demand("pmf-header-security-version"_id, it.security_version == 0,
                  "PMF::ManifestHeader has invalid security version number. Actual (0x%02x), expected(0x%02x).",
                  it.security_version, 0U)
        .field("expected", 0)
        .field("actual", it.security_version);
}

result exponent_has_its_size(const header& it) {
    return demand(
               "pmf-header-exponent-size"_id, it.exponent_size == exponent_size,
               "PMF::ManifestHeader exponent size (%d) is not supported by this release. Supported exponent size: (%d).",
               as_int(it.exponent_size), 0)
        .field("expected", exponent_size)
        .field("actual", it.exponent_size);
}

result modulus_has_its_size(const header& it) {
    return demand(
               "pmf-header-modulus-size"_id, it.modulus_size == modulus_size,
               "PMF::ManifestHeader modulus size (%d) is not supported by this release. Supported modulus size: (%d).",
               as_int(it.modulus_size), as_int(modulus_size))
        .field("expected", modulus_size)
        .field("actual", it.modulus_size);
}

constexpr pmf_rule<header> required_rules[] = {
    type_is_known,         version_is_known,     header_has_its_size,         id_is_known,
    expire_date_is_valid,  size_is_allowed,      internal_data_is_the_marker, security_version_is_zero,
    exponent_has_its_size, modulus_has_its_size,
};

result no_forbidden_flag(const header& it) {
    return demand(
               "pmf-header-flags"_id, (it.flags & forbidden_flags) == 0,
               "PMF::ManifestHeader at least one flag at position from 1 to 30 is set. Actual(0x%08x), following flags (x%08x) shall be disabled.",
               it.flags, it.flags & forbidden_flags)
        .field("value", it.flags);
}

result reserved1_is_zero(const header& it) {
    if (all_zero(it.reserved1)) {
        return result::success;
    }
    return violated("pmf-header-reserved1-set"_id,
                    "PMF::ManifestHeader reserved[1] bytes shall contain only 0x00 data. Actual buffer: 0x%s.",
                    upper_hex(it.reserved1).c_str())
        .field("actual", byte_view(it.reserved1));
}

result reserved2_is_zero(const header& it) {
    if (all_zero(it.reserved2)) {
        return result::success;
    }
    return violated("pmf-header-reserved2-set"_id,
                    "PMF::ManifestHeader reserved[2] bytes shall contain only 0x00 data. Actual buffer: 0x%s.",
                    upper_hex(it.reserved2).c_str())
        .field("actual", byte_view(it.reserved2));
}

constexpr pmf_rule<header> strict_rules[] = {no_forbidden_flag, reserved1_is_zero, reserved2_is_zero};

}  // namespace

result check_required_rules(const PMF::ManifestHeader& header) {
    const result verdict = run_until_failure(required_rules, header);
    log_at(log_level::debug, "Validation PMF::ManifestHeader finished with rval 0x%02x.\n", code_of(verdict));
    return verdict;
}

result check_strict_rules(const PMF::ManifestHeader& header) {
    const result verdict = run_until_failure(strict_rules, header);
    log_at(log_level::debug, "Strict validation PMF::ManifestHeader finished with rval 0x%02x.\n", code_of(verdict));
    return verdict;
}

}  // namespace vellum
