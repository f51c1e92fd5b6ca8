// The rules of the system information.
#include <algorithm>

#include "base/text.h"
#include "core/findings.h"
#include "pmf/dates.h"
#include "pmf/rule_set.h"
#include "pmf/rules.h"

namespace vellum {
namespace {

using extension = PMF::SystemInfoExtension;

constexpr auto extension_type = static_cast<std::uint32_t>(PmfExtensionType::system_info);

result type_is_its_own(const extension& it) {
    return demand("pmf-system-type"_id, it.type == extension_type,
                  "PMF::SystemInfoExtension has invalid type. Actual (0x%02x), expected (0x%02x).", it.type,
                  extension_type)
        .field("expected", extension_type)
        .field("actual", it.type);
}

result length_is_fixed(const extension& it) {
    return demand("pmf-system-length"_id, it.length == pmf_size<PMF::SystemInfoExtension>,
                  "PMF::SystemInfoExtension has invalid length. Actual (%d), expected (%d).", as_int(it.length),
                  as_int(pmf_size<PMF::SystemInfoExtension>))
        .field("expected", pmf_size<PMF::SystemInfoExtension>)
        .field("actual", it.length);
}

result expire_date_is_valid(const extension& it) {
    if (valid_pmf_date(it.expire_date)) {
        return result::success;
    }
    const pmf_date date = decode_pmf_date(it.expire_date);
    return violated(
               "pmf-system-expire-date"_id,
               "PMF::SystemInfoExtension.ExpireDate(%04d-%02d-%02d) has invalid format. Expected format is YYYY-MM-DD.",
               date.year, date.month, date.day)
        .field("value", formatted("%04d-%02d-%02d", date.year, date.month, date.day));
}

constexpr pmf_rule<extension> required_rules[] = {type_is_its_own, length_is_fixed, expire_date_is_valid};

void print_system_info(const extension& it) {
    if (!log_enabled(log_level::debug)) {
        return;
    }
    log_at(log_level::debug, "PMF::SystemInfoExtension Validation of system info section START \n");
    log_at(log_level::debug, "     Product Name:%s \n", pmf_text(it.product_name).c_str());
    log_at(log_level::debug, "     SKU Number:%s \n", pmf_text(it.sku_number).c_str());
    log_at(log_level::debug, "     Build Number:%d \n", it.build_number);
    log_at(log_level::debug, "     OS Build Number:%d.%d.%d \n", it.os_build[0], it.os_build[1], it.os_build[2]);
    log_at(log_level::debug, "     BIOS Version:%s \n", pmf_text(it.bios_version).c_str());
    log_at(log_level::debug, "     Orbis FW Version:%hu.%hu.%hu.%hu \n", it.orbis_version[0], it.orbis_version[1],
           it.orbis_version[2], it.orbis_version[3]);
}

constexpr int reserved_bits[] = {2, 5, 7, 9, 10, 15};

result reserved_bits_are_clear(const extension& it) {
    const auto is_set = [&it](int bit) { return (it.seal_configuration >> bit & 1) != 0; };
    if (std::none_of(std::begin(reserved_bits), std::end(reserved_bits), is_set)) {
        return result::success;
    }
    finding_lines raised =
        report(
            "pmf-system-seal-config-reserved"_id,
            "PMF::SystemInfoExtension Seal Configuration reserved bits shall be all zeroed. Following bits have invalid value:")
            .field("value", it.seal_configuration);
    for (const int bit : reserved_bits) {
        if (is_set(bit)) {
            raised.line(" - Reserved%d is 1", bit);
        }
    }
    return result::check_failed;
}

result reserved_is_zero(const extension& it) {
    if (all_zero(it.reserved)) {
        return result::success;
    }
    return violated("pmf-system-reserved-set"_id,
                    "PMF::SystemInfoExtension reserved bytes shall contain only 0x00 data. Actual buffer: 0x%s.",
                    upper_hex(it.reserved).c_str())
        .field("actual", byte_view(it.reserved));
}

result product_name_is_terminated(const extension& it) {
    return demand(
               "pmf-system-product-name-unterminated"_id, ends_in_zeros(it.product_name),
               "PMF::SystemInfoExtension Product Name is expected to contain 0x00 bytes after first string terminator but at least one non-zero value was found in the trailing bytes.")
        .field("actual", byte_view(it.product_name));
}

result sku_number_is_terminated(const extension& it) {
    return demand(
               "pmf-system-sku-number-unterminated"_id, ends_in_zeros(it.sku_number),
               "PMF::SystemInfoExtension SKU Number is expected to contain 0x00 bytes after first string terminator but at least one non-zero value was found in the trailing bytes.")
        .field("actual", byte_view(it.sku_number));
}

result bios_version_is_terminated(const extension& it) {
    return demand(
               "pmf-system-bios-version-unterminated"_id, ends_in_zeros(it.bios_version),
               "PMF::SystemInfoExtension BIOS Version is expected to contain 0x00 bytes after first string terminator but at least one non-zero value was found in the trailing bytes.")
        .field("actual", byte_view(it.bios_version));
}

constexpr pmf_rule<extension> strict_rules[] = {reserved_bits_are_clear, reserved_is_zero, product_name_is_terminated,
                                                sku_number_is_terminated, bios_version_is_terminated};

}  // namespace

result check_required_rules(const PMF::SystemInfoExtension& extension) {
    print_system_info(extension);
    const result verdict = run_until_failure(required_rules, extension);
    log_at(log_level::debug, "Validation PMF::SystemInfoExtension finished with rval 0x%02x.\n", code_of(verdict));
    return verdict;
}

result check_strict_rules(const PMF::SystemInfoExtension& extension) {
    const std::size_t errors = count_failures(strict_rules, extension);
    log_at(log_level::debug,
           "Strict validation PMF::SystemInfoExtension finished with rval 0x%02x. %zu errors found.\n",
           code_of(verdict_of(errors)), errors);
    return verdict_of(errors);
}

}  // namespace vellum
