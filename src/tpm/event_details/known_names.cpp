#include "tpm/event_details/known_names.h"

#include <algorithm>
#include <span>

#include "tpm/event_details/guid_literal.h"

namespace vellum {
namespace {

using guid = std::array<std::uint8_t, guid_size>;

struct known_guid {
    guid value;
    const char* name;
};

constexpr known_guid variable_vendors[] = {
    {guid_literal("8BE4DF61-93CA-11D2-AA0D-00E098032B8C"), "EFI_GLOBAL_VARIABLE"},
    {guid_literal("D719B2CB-3D3A-4596-A3BC-DAD00E67656F"), "EFI_IMAGE_SECURITY_DATABASE"},
    {guid_literal("605DAB50-E046-4300-ABB6-3DD810DD8B23"), "SHIM_LOCK"},
    {guid_literal("4A67B082-0A4C-41CF-B6C7-440B29BB8C4F"), "boot loader interface"},
    {guid_literal("77FA9ABD-0359-4D32-BD60-28F4E78F784B"), "Microsoft"},
    {guid_literal("E20939BE-32D4-41BE-A150-897F85D49829"), "MEMORY_ONLY_RESET_CONTROL"},
    {guid_literal("BB983CCF-151D-40E1-A07B-4A17BE168292"), "MEMORY_OVERWRITE_REQUEST_CONTROL_LOCK"},
    {guid_literal("4C19049F-4137-4DD3-9C10-8B97A83FFDFA"), "EFI_MEMORY_TYPE_INFORMATION"},
    {guid_literal("C076EC0C-7028-4399-A072-71EE5C448B9F"), "EFI_CUSTOM_MODE_ENABLE"},
    {guid_literal("F0A30BC7-AF08-4556-99C4-001009C93A44"), "EFI_SECURE_BOOT_ENABLE_DISABLE"},
    {guid_literal("9073E4E0-60EC-4B6E-9903-4C223C260F3C"), "EFI_VENDOR_KEYS_NV"},
    {guid_literal("158DEF5A-F656-419C-B027-7A3192C079D2"), "SHELL_VARIABLE"},
    {guid_literal("16A34A5A-F16A-454A-8F23-BAA58786BEAC"), "seal event"},
    {guid_literal("07DB44B3-85DC-46C5-B038-8273B7AE75BC"), "disk measurements"},
};

constexpr known_guid configuration_tables[] = {
    {guid_literal("F2FD1544-9794-4A2C-992E-E5BBCF20E394"), "SMBIOS 3"},
    {guid_literal("EB9D2D31-2D88-11D3-9A16-0090273FC14D"), "SMBIOS"},
    {guid_literal("8868E871-E4F1-11D3-BC22-0080C73C8881"), "ACPI 2.0"},
    {guid_literal("EB9D2D30-2D88-11D3-9A16-0090273FC14D"), "ACPI 1.0"},
    {guid_literal("EB9D2D32-2D88-11D3-9A16-0090273FC14D"), "SAL system table"},
    {guid_literal("EB9D2D2F-2D88-11D3-9A16-0090273FC14D"), "multiprocessor table"},
    {guid_literal("B1B621D5-F19C-41A5-830B-D9152C69AAE0"), "device tree"},
    {guid_literal("EB66918A-7EEF-402A-842E-931D21C38AE9"), "runtime properties"},
    {guid_literal("DCFA911D-26EB-469F-A220-38B7DC461220"), "memory attributes"},
    {guid_literal("B122A263-3661-4F68-9929-78F8B0D62180"), "system resources"},
    {guid_literal("36122546-F7E7-4C8F-BD9B-EB8525B50C0B"), "conformance profiles"},
    {guid_literal("D719B2CB-3D3A-4596-A3BC-DAD00E67656F"), "image execution information"},
    {guid_literal("49152E77-1ADA-4764-B7A2-7AFEFED95E8B"), "debug image information"},
    {guid_literal("05AD34BA-6F02-4214-952E-4DA0398E2BB9"), "DXE services"},
    {guid_literal("7739F24C-93D7-11D4-9A3A-0090273FC14D"), "hand-off blocks"},
    {guid_literal("4C19049F-4137-4DD3-9C10-8B97A83FFDFA"), "memory type information"},
    {guid_literal("1E2ED096-30E2-4254-BD89-863BBEF82325"), "TPM final events"},
    {guid_literal("93BB96AF-B9F2-4EB8-9462-E0BA74564236"), "OVMF"},
};

constexpr known_guid partition_types[] = {
    {guid_literal("C12A7328-F81F-11D2-BA4B-00A0C93EC93B"), "EFI system"},
    {guid_literal("21686148-6449-6E6F-744E-656564454649"), "BIOS boot"},
    {guid_literal("024DEE41-33E7-11D3-9D69-0008C781F39F"), "MBR scheme"},
    {guid_literal("E3C9E316-0B5C-4DB8-817D-F92DF00215AE"), "Microsoft reserved"},
    {guid_literal("EBD0A0A2-B9E5-4433-87C0-68B6B72699C7"), "Microsoft basic data"},
    {guid_literal("DE94BBA4-06D1-4D40-A16A-BFD50179D6AC"), "Windows recovery"},
    {guid_literal("5808C8AA-7E8F-42E0-85D2-E1E90434CFB3"), "Windows LDM metadata"},
    {guid_literal("AF9B60A0-1431-4F62-BC68-3311714A69AD"), "Windows LDM data"},
    {guid_literal("E75CAF8F-F680-4CEE-AFA3-B001E56EFC2D"), "Windows Storage Spaces"},
    {guid_literal("558D43C5-A1AC-43C0-AAC8-D1472B2923D1"), "Windows Storage Replica"},
    {guid_literal("D3BFE2DE-3DAF-11DF-BA40-E3A556D89593"), "Intel Rapid Start"},
    {guid_literal("BFBFAFE7-A34F-448A-9A5B-6213EB736C22"), "Lenovo boot"},
    {guid_literal("F4019732-066E-4E12-8273-346C5641494F"), "Sony boot"},
    {guid_literal("0FC63DAF-8483-4772-8E79-3D69D8477DE4"), "Linux filesystem"},
    {guid_literal("0657FD6D-A4AB-43C4-84E5-0933C84B4F4F"), "Linux swap"},
    {guid_literal("E6D6D379-F507-44C2-A23C-238F2A3DF928"), "Linux LVM"},
    {guid_literal("A19D880F-05FC-4D3B-A006-743F0F84911E"), "Linux RAID"},
    {guid_literal("CA7D7CCB-63ED-4C53-861C-1742536059CC"), "Linux LUKS"},
    {guid_literal("7FFEC5C9-2D00-49B7-8941-3EA10A5586B7"), "Linux dm-crypt"},
    {guid_literal("933AC7E1-2EB4-4F13-B844-0E14E2AEF915"), "Linux home"},
    {guid_literal("3B8F8425-20E0-4F3B-907F-1A25A76F98E8"), "Linux server data"},
    {guid_literal("4D21B016-B534-45C2-A9FB-5C16E091FD2D"), "Linux variable data"},
    {guid_literal("7EC6F557-3BC5-4ACA-B293-16EF5DF639D1"), "Linux temporary data"},
    {guid_literal("BC13C2FF-59E6-4262-A352-B275FD6F7172"), "Linux extended boot"},
    {guid_literal("8DA63339-0007-60C0-C436-083AC8230908"), "Linux reserved"},
    {guid_literal("4F68BCE3-E8CD-4DB1-96E7-FBCAF984B709"), "Linux root (x86-64)"},
    {guid_literal("44479540-F297-41B2-9AF7-D131D5F0458A"), "Linux root (x86)"},
    {guid_literal("B921B045-1DF0-41C3-AF44-4C6F280D3FAE"), "Linux root (ARM64)"},
    {guid_literal("69DAD710-2CE4-4E3C-B16C-21A1D49ABED3"), "Linux root (ARM)"},
    {guid_literal("2C7357ED-EBD2-46D9-AEC1-23D437EC2BF5"), "Linux root verity (x86-64)"},
    {guid_literal("41092B05-9FC8-4523-994F-2DEF0408B176"), "Linux root verity signature (x86-64)"},
    {guid_literal("8484680C-9521-48C6-9C11-B0720656F69E"), "Linux /usr (x86-64)"},
    {guid_literal("77FF5F63-E7B6-4633-ACF4-1565B864C0E6"), "Linux /usr verity (x86-64)"},
    {guid_literal("48465300-0000-11AA-AA11-00306543ECAC"), "Apple HFS+"},
    {guid_literal("7C3457EF-0000-11AA-AA11-00306543ECAC"), "Apple APFS"},
    {guid_literal("53746F72-6167-11AA-AA11-00306543ECAC"), "Apple Core Storage"},
    {guid_literal("426F6F74-0000-11AA-AA11-00306543ECAC"), "Apple boot"},
    {guid_literal("52414944-0000-11AA-AA11-00306543ECAC"), "Apple RAID"},
    {guid_literal("55465300-0000-11AA-AA11-00306543ECAC"), "Apple UFS"},
    {guid_literal("83BD6B9D-7F41-11DC-BE0B-001560B84F0F"), "FreeBSD boot"},
    {guid_literal("516E7CB4-6ECF-11D6-8FF8-00022D09712B"), "FreeBSD data"},
    {guid_literal("516E7CB5-6ECF-11D6-8FF8-00022D09712B"), "FreeBSD swap"},
    {guid_literal("516E7CB6-6ECF-11D6-8FF8-00022D09712B"), "FreeBSD UFS"},
    {guid_literal("516E7CBA-6ECF-11D6-8FF8-00022D09712B"), "FreeBSD ZFS"},
    {guid_literal("FE3A2A5D-4F32-41A7-B725-ACCC3285A309"), "ChromeOS kernel"},
    {guid_literal("3CB8E202-3B7E-47DD-8A3C-7FF2A13CFCEC"), "ChromeOS root"},
    {guid_literal("2E0A753D-9E48-43B0-8337-B15192CB1B5E"), "ChromeOS reserved"},
    {guid_literal("AA31E02A-400F-11DB-9590-000C2911D1B8"), "VMware VMFS"},
    {guid_literal("9D275380-40AD-11DB-BF97-000C2911D1B8"), "VMware core dump"},
    {guid_literal("9E1A2D38-C612-4316-AA26-8B49521E5A8B"), "PReP boot"},
};

constexpr known_guid signature_owners[] = {
    {guid_literal("77FA9ABD-0359-4D32-BD60-28F4E78F784B"), "Microsoft"},
    {guid_literal("605DAB50-E046-4300-ABB6-3DD810DD8B23"), "machine owner"},
    {guid_literal("6DC40AE4-2EE8-9C4C-A314-0FC7B2008710"), "Canonical"},
    {guid_literal("70564DCE-9AFC-4EE3-85FC-949649D7E45C"), "Dell"},
    {guid_literal("A65F1588-A90B-4C2E-9633-A4DA468C66E7"), "Dell"},
    {guid_literal("F5A96B31-DBA0-4FAA-A42A-7A0C9832768E"), "HP"},
    {guid_literal("7D217020-52F3-4356-9B92-3D12C32FA5EE"), "Lenovo"},
    {guid_literal("A3D5E95B-0A8F-4753-8735-445AFB708F62"), "VMware"},
};

// A GUID that stands twice in a table would have a name that is never found.
template <std::size_t Rows>
constexpr bool all_differ(const known_guid (&table)[Rows]) {
    for (std::size_t i = 0; i < Rows; ++i) {
        for (std::size_t j = i + 1; j < Rows; ++j) {
            if (table[i].value == table[j].value) {
                return false;
            }
        }
    }
    return true;
}
static_assert(all_differ(variable_vendors) && all_differ(configuration_tables));
static_assert(all_differ(partition_types) && all_differ(signature_owners));

const char* name_in(std::span<const known_guid> table, const guid& value) {
    const auto row =
        std::find_if(table.begin(), table.end(), [&value](const known_guid& entry) { return entry.value == value; });
    return row != table.end() ? row->name : nullptr;
}

struct known_bank {
    std::uint16_t algorithm;
    const char* name;
};

// TPM_ALG_ID.
constexpr known_bank banks[] = {
    {0x0004, "sha1"},    {0x000B, "sha256"},   {0x000C, "sha384"},   {0x000D, "sha512"},
    {0x0012, "sm3_256"}, {0x0027, "sha3_256"}, {0x0028, "sha3_384"}, {0x0029, "sha3_512"},
};

}  // namespace

const char* variable_vendor_name(const guid& value) {
    return name_in(variable_vendors, value);
}

const char* configuration_table_name(const guid& value) {
    return name_in(configuration_tables, value);
}

const char* partition_type_name(const guid& value) {
    return name_in(partition_types, value);
}

const char* signature_owner_name(const guid& value) {
    return name_in(signature_owners, value);
}

const char* bank_name(std::uint16_t algorithm) {
    const auto* row = std::find_if(std::begin(banks), std::end(banks),
                                   [algorithm](const known_bank& entry) { return entry.algorithm == algorithm; });
    return row != std::end(banks) ? row->name : nullptr;
}

}  // namespace vellum
