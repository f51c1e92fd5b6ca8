#include "pmf/system_info.h"

#include <algorithm>
#include <limits>
#include <string>

#include "base/format.h"
#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

constexpr const char* registry_key = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\";

result check_read(os_status read, const char* name) {
    if (ok(read)) {
        return result::success;
    }
    log_at(log_level::error, "Reading %s from registry key %s failed. Error: %d", name, registry_key,
           static_cast<int>(code_of(read)));
    note("os-version-unreadable"_id).field("name", name).field("os_error", code_of(read));
    return result::io_failure;
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

result parse_build(const std::string& text, std::uint16_t& out) {
    if (text.empty() || !std::all_of(text.begin(), text.end(), is_digit)) {
        log_at(log_level::error, "CurrentBuildNumber is not a number.");
        note("os-build-not-a-number"_id).field("value", text);
        return result::invalid;
    }
    const auto number = parse_decimal(text);
    if (!number || *number > std::numeric_limits<std::uint16_t>::max()) {
        log_at(log_level::error, "Size of the CurrentBuildNumber is too long.");
        note("os-build-too-large"_id).field("value", text).field("limit", std::numeric_limits<std::uint16_t>::max());
        return result::invalid;
    }
    out = static_cast<std::uint16_t>(*number);
    return result::success;
}

result read_values(os_version& registry, platform_registry_info& out) {
    std::string build;
    RETURN_IF_FAILED(check_read(registry.read_major(out.os_major), os_major_version_name));
    RETURN_IF_FAILED(check_read(registry.read_minor(out.os_minor), os_minor_version_name));
    RETURN_IF_FAILED(check_read(registry.read_build(build), os_build_name));
    return parse_build(build, out.os_build);
}

std::string version_text(const std::array<std::uint16_t, 4>& version) {
    return formatted("%d.%d.%d.%d", version[0], version[1], version[2], version[3]);
}

// As much of a text of the platform as the PMF's field can hold.
template <std::size_t Size>
std::string as_far_as(const std::array<std::uint8_t, Size>&, const std::string& text) {
    return shown_text(std::string_view(text).substr(0, Size));
}

void add_values(finding_lines difference, std::string_view expected, std::string_view actual) {
    difference.field("expected", expected)
        .field("expected_source", "PMF")
        .field("actual", actual)
        .field("actual_source", "SMBIOS");
}

}  // namespace

result read_registry_info(os_version& registry, platform_registry_info& out) {
    log_at(log_level::info, "Loading platform information from online Windows 10 registry\n");
    const result read = read_values(registry, out);
    if (ok(read)) {
        log_at(log_level::info, "Successfully loaded platform information from online Windows 10 registry\n");
    } else {
        log_at(log_level::error, "Loading data from online Windows 10 failed.");
    }
    return read;
}

result compare_with_smbios(const PMF::SystemInfoExtension& pmf, const platform_smbios_info& smbios) {
    log_at(log_level::info, "Comparing System Info Extension and SMBIOS values\n");
    int mismatches = 0;
    if (field_text(pmf.bios_version) != smbios.bios_version) {
        add_values(
            report("bios-version-differs"_id,
                   " - BIOS Version (%.40s) in PMF does not match BIOS Version (%.40s) in SMBIOS tables.",
                   pmf_text(pmf.bios_version).c_str(), as_far_as(pmf.bios_version, smbios.bios_version).c_str()),
            field_text(pmf.bios_version), smbios.bios_version);
        ++mismatches;
    }
    if (field_text(pmf.product_name) != smbios.product_name) {
        add_values(
            report("product-name-differs"_id,
                   " - Product Name (%.64s) in PMF does not match Product Name (%.64s) in SMBIOS tables.",
                   pmf_text(pmf.product_name).c_str(), as_far_as(pmf.product_name, smbios.product_name).c_str()),
            field_text(pmf.product_name), smbios.product_name);
        ++mismatches;
    }
    if (field_text(pmf.sku_number) != smbios.sku_number) {
        add_values(report("sku-number-differs"_id,
                          " - SKU Number (%.64s) in PMF does not match SKU Number (%.64s) in SMBIOS tables.",
                          pmf_text(pmf.sku_number).c_str(), as_far_as(pmf.sku_number, smbios.sku_number).c_str()),
                   field_text(pmf.sku_number), smbios.sku_number);
        ++mismatches;
    }
    const auto& expected = pmf.orbis_version;
    const auto& actual = smbios.orbis_version;
    if (expected != actual) {
        add_values(
            report(
                "orbis-version-differs"_id,
                " - Orbis FW Version (%hu.%hu.%hu.%hu) in PMF does not match Orbis FW Version (%hu.%hu.%hu.%hu) in SMBIOS tables.",
                expected[0], expected[1], expected[2], expected[3], actual[0], actual[1], actual[2], actual[3]),
            version_text(expected), version_text(actual));
        ++mismatches;
    }
    return mismatches == 0 ? result::success : result::check_failed;
}

result compare_with_registry(const PMF::SystemInfoExtension& pmf, const platform_registry_info& registry) {
    log_at(log_level::info, "Comparing System Info Extension and Registry values\n");
    log_at(log_level::debug, "Build Number in PMF: %hu", pmf.build_number);
    const auto [major, minor, build] = pmf.os_build;
    if (major == registry.os_major && minor == registry.os_minor && build == registry.os_build) {
        return result::success;
    }
    report("os-build-differs"_id,
           " - OS Build Number (%i.%i.%i) in PMF does not match OS Build Number (%i.%i.%i) in registry.", major,
           minor, build, static_cast<int>(registry.os_major), static_cast<int>(registry.os_minor), registry.os_build)
        .field("expected", formatted("%d.%d.%d", major, minor, build))
        .field("expected_source", "PMF")
        .field("actual", formatted("%u.%u.%d", registry.os_major, registry.os_minor, registry.os_build))
        .field("actual_source", "registry");
    return result::check_failed;
}

stage_outcome read_platform_info(firmware_tables& tables, os_version& registry, platform_smbios_info& smbios_out,
                                 platform_registry_info& registry_out) {
    const result from_registry = read_registry_info(registry, registry_out);
    if (!ok(from_registry)) {
        report("registry-unreadable"_id, "Failed to obtain data from Windows Registry.");
    }
    const result from_smbios = read_smbios_info(tables, smbios_out);
    if (!ok(from_smbios)) {
        report("smbios-unreadable"_id, "Retieving SMBIOS data failed.");
    }
    return pass_if(ok(from_registry) && ok(from_smbios));
}

stage_outcome check_system_info(const PMF::SystemInfoExtension& pmf, const platform_smbios_info& smbios,
                                const platform_registry_info& registry) {
    const result with_smbios = compare_with_smbios(pmf, smbios);
    const result with_registry = compare_with_registry(pmf, registry);
    return pass_if(ok(with_smbios) && ok(with_registry));
}

}  // namespace vellum
