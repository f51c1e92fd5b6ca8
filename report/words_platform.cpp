// The facts of the platform that the PMF names: SMBIOS tables and the version of the system.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy os_version_remedy = {
    "Start the program as administrator on Windows 10 or later, or on a Linux whose `uname -r` begins with "
    "three numbers. The log file names the value that is missing.",
    person::administrator};

constexpr remedy smbios_access_remedy = {
    "Start the program as administrator; if it still fails, have the manufacturer fill in the field that "
    "the log file names. On Linux `dmidecode -t 1` and `dmidecode -t 131` show the tables.",
    person::administrator};

constexpr remedy smbios_field_remedy = {
    "Have the manufacturer of the device set what the finding names in its SMBIOS tables, then validate "
    "again. On Linux `dmidecode -t 0`, `dmidecode -t 1` and `dmidecode -t 131` show the tables. If the "
    "device passed before, find out who exchanged its mainboard or changed its firmware; a value that is not "
    "the one in the PMF needs a new sealing.",
    person::manufacturer};

constexpr words rows[] = {
    {"bios-version-differs",
     word_kind::finding,
     cause_class::change,
     "The BIOS has another version",
     "The BIOS version in the SMBIOS tables is not the one in the PMF. Both are shown.",
     "The BIOS was updated or set back.",
     {"Install the BIOS version that the finding names for the PMF, or have the device sealed with a PMF for "
      "the new one. If nobody updated it, take the device out of use: a foreign BIOS can undo all "
      "protections. PCR 0 differs with it.",
      person::administrator}},
    {"product-name-differs",
     word_kind::finding,
     cause_class::change,
     "The device has another product name",
     "The product name in the SMBIOS tables is not the one in the PMF. Both are shown.",
     "The PMF of another model was used, or the mainboard was exchanged.",
     {"Validate with the PMF of this very device; if the mainboard was exchanged, have the SMBIOS fields set "
      "and the device sealed again. `dmidecode -s system-product-name` shows the name on Linux.",
      person::administrator}},
    {"sku-number-differs",
     word_kind::finding,
     cause_class::change,
     "The device has another SKU number",
     "The SKU number in the SMBIOS tables is not the one in the PMF. Both are shown.",
     "The PMF of another variant was used, or the mainboard was exchanged.",
     {"Validate with the PMF of this very device; if the mainboard was exchanged, have the SMBIOS fields set "
      "and the device sealed again. `dmidecode -s system-sku-number` shows the number on Linux.",
      person::administrator}},
    {"orbis-version-differs",
     word_kind::finding,
     cause_class::change,
     "The Orbis firmware has another version",
     "The version of the Orbis firmware in the SMBIOS tables is not the one in the PMF. Both are shown.",
     "The Orbis firmware was updated or set back, often together with the BIOS.",
     {"Install the firmware version that the finding names for the PMF, or have the device sealed with a PMF "
      "for the new one. If nobody updated it, take the device out of use.",
      person::administrator}},
    {"os-build-differs",
     word_kind::finding,
     cause_class::change,
     "The operating system has another version",
     "The version of the running system is not the one in the PMF. Both are shown.",
     "The system was updated, or the validation runs on another system than the sealed one, such as a "
     "pre-installation environment.",
     {"Validate on the system that was sealed, in the version that the PMF names, or have the device sealed "
      "with a new PMF. On Windows `ver` shows the version, on Linux `uname -r`. Hold system updates back on "
      "sealed devices until their PMF is there.",
      person::administrator}},
    {"registry-unreadable", word_kind::finding, cause_class::environment, "The version of the system cannot be read",
     "The system does not tell its version, or its build is no number. The log file names the value.",
     "The program lacks rights, or the system is of an unusual kind.", os_version_remedy},
    {"smbios-unreadable", word_kind::finding, cause_class::environment, "The SMBIOS tables cannot be read",
     "The firmware's description of the device is missing, not readable, or lacks a field: product name, SKU "
     "number, serial number, or the structure of the Orbis firmware.",
     "The program was not started as administrator, or the manufacturer left the field empty.", smbios_access_remedy},
    {"os-version-unreadable", word_kind::finding, cause_class::environment,
     "A part of the system's version is missing",
     "The system did not tell the part of its version that is named. Its code stands in the finding.",
     "The program lacks rights, or the system is of an unusual kind.", os_version_remedy},
    {"os-build-not-a-number", word_kind::finding, cause_class::environment, "The build of the system is no number",
     "The build, which is the last part of the system's version, has other characters than digits, or none.",
     "The system is of an unusual kind, or somebody changed the value.", os_version_remedy},
    {"os-build-too-large", word_kind::finding, cause_class::environment, "The build of the system is too large",
     "The build, which is the last part of the system's version, is beyond 65535, so that no PMF can name it.",
     "The system is of an unusual kind, or somebody changed the value.", os_version_remedy},
    {"smbios-not-read", word_kind::finding, cause_class::environment,
     "The system does not hand out the SMBIOS tables",
     "The firmware's description of the device could not be fetched. The system's code stands in the finding.",
     "The program was not started as administrator, or this system gives no access to the tables.",
     smbios_access_remedy},
    {"smbios-too-large", word_kind::finding, cause_class::firmware, "The SMBIOS tables are too large",
     "The firmware's description of the device is larger than the limit that is named. It was not read.",
     "The firmware writes wrong tables, or something between firmware and program changes them.",
     smbios_field_remedy},
    {"smbios-structure-missing", word_kind::finding, cause_class::firmware, "The SMBIOS tables lack a structure",
     "The structure that is named, with its type, is not in the firmware's description of the device.",
     "The mainboard was exchanged and not set up, the manufacturer left the structure out, or the tables end "
     "too early.",
     smbios_field_remedy},
    {"smbios-structure-cut", word_kind::finding, cause_class::firmware,
     "The SMBIOS structure of the Orbis firmware is cut",
     "The structure that holds the version of the Orbis firmware ends before it.",
     "The firmware is of another version, or writes wrong tables.", smbios_field_remedy},
    {"smbios-text-missing", word_kind::finding, cause_class::firmware, "The SMBIOS tables lack a text",
     "The text that is named, such as the product name, is empty or not there.",
     "The manufacturer left the field empty, or the mainboard was exchanged and not set up.", smbios_field_remedy},
    {"smbios-text-too-long", word_kind::finding, cause_class::firmware, "A text in the SMBIOS tables is too long",
     "The text that is named has more characters than it may have. The limit is shown.",
     "The manufacturer filled in something else, or the mainboard was exchanged and set up by another tool.",
     smbios_field_remedy},
};

}  // namespace

std::span<const words> platform_words() {
    return rows;
}

}  // namespace vellum
