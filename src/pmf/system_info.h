// The platform that a PMF was made for (its PMF::SystemInfoExtension) against the platform that the program runs on,
// as SMBIOS and the operating system's version values tell.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "core/stage.h"
#include "platform/os_version.h"
#include "pmf/format.h"
#include "pmf/smbios.h"

namespace vellum {

struct platform_registry_info {
    std::uint32_t os_major = 0;
    std::uint32_t os_minor = 0;
    std::uint16_t os_build = 0;
};

// Reads the three version values. A failure is logged: io_failure for a value that cannot be read, invalid for a
// build number that is none. The record must not be used then.
result read_registry_info(os_version& registry, platform_registry_info& out);

// Each compares all of its fields, and every mismatch is a finding; check_failed when there is one.
result compare_with_smbios(const PMF::SystemInfoExtension& pmf, const platform_smbios_info& smbios);
result compare_with_registry(const PMF::SystemInfoExtension& pmf, const platform_registry_info& registry);

// The check of the stage "Retrieve Platform Information from Registry and SMBIOS". Both are tried.
stage_outcome read_platform_info(firmware_tables& tables, os_version& registry, platform_smbios_info& smbios_out,
                                 platform_registry_info& registry_out);

// The check of the stage "PMF System Info Extension matches current platform". Both comparisons are made.
stage_outcome check_system_info(const PMF::SystemInfoExtension& pmf, const platform_smbios_info& smbios,
                                const platform_registry_info& registry);

}  // namespace vellum
