// Reaching the TPM, and the event log as a file.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr const char* log_damage_cause =
    "The firmware or the boot loader wrote the log wrongly, or the file was cut or changed on its way.";

constexpr remedy tpm_service_remedy = {
    "Start the program as administrator, and switch the TPM 2.0 on in the firmware setup. On Windows the "
    "service \"TPM Base Services\" must run (`sc query tbs`); in Windows PE the image needs "
    "WinPE-SecureStartup. On Linux `ls -l /dev/tpmrm0` must show the device.",
    person::administrator};

constexpr remedy log_file_remedy = {
    "Ask `vellum-lab inspect eventlog FILE` what is wrong with the log, and take a new copy of it as a "
    "binary file. On Linux the log of this boot is `/sys/kernel/security/tpm0/binary_bios_measurements`, on "
    "Windows the newest file in `C:\\Windows\\Logs\\MeasuredBoot`. If the log of this boot is wrong each "
    "time, the manufacturer has to correct the firmware.",
    person::administrator};

constexpr words rows[] = {
    {"tpm-access-unexpected", word_kind::finding, cause_class::environment,
     "The TPM could not be used for an unexpected reason",
     "Something went wrong that belongs to no known kind of failure. The finding shows the text of it.",
     "The memory is not enough, or a fault of the program.", program_fault_remedy},
    {"tpm-library-function-missing",
     word_kind::finding,
     cause_class::environment,
     "The TPM service lacks a function",
     "The library of the TPM service does not have the function that is named.",
     "The system is older than Windows 10, or its library was replaced.",
     {"Run the program on Windows 10 or later, with the system's own tbs.dll. `sfc /scannow` restores a "
      "system file that was replaced.",
      person::administrator}},
    {"tpm-library-missing",
     word_kind::finding,
     cause_class::environment,
     "The TPM service is not in this system",
     "The library of the TPM service was not found.",
     "A Windows PE image without WinPE-SecureStartup, or a system without TPM support.",
     {"Add the component WinPE-SecureStartup to the Windows PE image, and start it again: `Dism "
      "/Add-Package` with WinPE-SecureStartup.cab. It needs WinPE-WMI. On an installed Windows the library "
      "tbs.dll is always there: `sfc /scannow` restores it.",
      person::administrator}},
    {"tpm-log-grew",
     word_kind::finding,
     cause_class::environment,
     "The event log grew while it was read",
     "The TPM service delivered more bytes of the event log than it had announced.",
     "A fault of the service, or something measured at this moment.",
     {"Validate again; if it comes back, restart the device.", person::administrator}},
    {"tpm-log-too-large",
     word_kind::finding,
     cause_class::environment,
     "The event log is too large",
     "The event log is larger than the limit that is named. It was not read.",
     "Something fills the log with events, or the service names a wrong size.",
     {"Restart the device and validate again, before other software measures into the TPM. If it comes back, "
      "look at a copy of the log: `vellum-lab inspect eventlog FILE`.",
      person::administrator}},
    {"tpm-pcr-response-invalid",
     word_kind::finding,
     cause_class::firmware,
     "The TPM's answer cannot be used",
     "The TPM's answer to the command that reads PCRs has an impossible form, or an error in it.",
     "The SHA-256 bank of the TPM is off, or something between TPM and program changes answers.",
     {"Switch the SHA-256 bank of the TPM on in the firmware setup, and restart. `tpm2_getcap pcrs` shows "
      "the banks on Linux. If the bank is on, update the firmware of the TPM.",
      person::administrator}},
    {"tpm-service-call-failed", word_kind::finding, cause_class::environment, "The TPM service refused a call",
     "The call that is named failed. The system's reason stands on the console and in the log file.",
     "The TPM is off, the program is not run as administrator, or the service does not run.", tpm_service_remedy},
    {"tpm-service-obstacle", word_kind::finding, cause_class::environment, "The TPM cannot be reached",
     "The device or the interface of the TPM that is named could not be opened. The system's reason stands "
     "behind it.",
     "The TPM is off in the firmware setup, or the program is not run as administrator.", tpm_service_remedy},
    {"tpm-version-unsupported",
     word_kind::finding,
     cause_class::environment,
     "The TPM is not of version 2.0",
     "The device has a TPM 1.2, which has no SHA-256 PCRs.",
     "The TPM is set to version 1.2 in the firmware setup, or is that old.",
     {"Set the TPM to version 2.0 in the firmware setup, if it offers that; a device with a TPM 1.2 only "
      "cannot be validated. A change of the version empties the TPM: keep the recovery key of an encrypted "
      "disk at hand.",
      person::administrator}},
    {"log-bank-missing",
     word_kind::finding,
     cause_class::configuration,
     "The event log has no SHA-256 digests",
     "The event log was written for other banks of the TPM than SHA-256, so that no PCR can be computed from "
     "it.",
     "The SHA-256 bank is off in the firmware setup.",
     {"Switch the SHA-256 bank of the TPM on in the firmware setup, and restart from power-off. `tpm2_getcap "
      "pcrs` shows the banks on Linux. A log that was taken before stays without it.",
      person::administrator}},
    {"log-not-tpm20",
     word_kind::finding,
     cause_class::firmware,
     "The event log is not in the TPM 2.0 layout",
     "The first event of the log is not the one that begins a log of a TPM 2.0.",
     "The firmware writes its log in the old layout, or another file was named.",
     {"Switch the TPM to 2.0 and its SHA-256 bank on in the firmware setup, and restart; for a file, name "
      "the log of a TPM 2.0. `vellum-lab inspect eventlog FILE` says what a file is.",
      person::administrator}},
    {"log-without-header", word_kind::finding, cause_class::configuration, "The event log has no beginning",
     "The log is shorter than its first event, or larger than a log can be.",
     "Another file was named, or it is empty.", log_file_remedy},
    {"log-malformed", word_kind::finding, cause_class::firmware, "The event log has an invalid structure",
     "An event of the log cannot be read to its end.", log_damage_cause, log_file_remedy},
    {"log-locality-invalid", word_kind::finding, cause_class::firmware,
     "The event log names an impossible start of the TPM",
     "The event on how the TPM was started names a locality other than 0 and 3.", log_damage_cause, log_file_remedy},
    {"log-locality-late",
     word_kind::finding,
     cause_class::tampering,
     "The event on the start of the TPM comes too late",
     "The event on how the TPM was started stands behind an event that was measured into PCR 0. It must "
     "stand before all of them.",
     "Somebody added the event to make the values fit, or the firmware writes it at the wrong place.",
     {"Do not trust this boot; restart from power-off and validate again. If each device of this model does "
      "it, the manufacturer has to correct the firmware. `vellum-lab inspect eventlog FILE` shows the order.",
      person::security_officer}},
    {"log-of-boot-unparsable", word_kind::finding, cause_class::firmware, "The event log of this boot cannot be used",
     "The log that the system handed out breaks a rule. The finding below it says which.", log_damage_cause,
     log_file_remedy},
    {"log-file-unparsable", word_kind::finding, cause_class::configuration,
     "The file behind --tpm_event_log_file is no usable log",
     "The file could not be read as an event log. The finding below it says why.",
     "The path is wrong, or the file is no log of a TPM 2.0 with SHA-256 digests.", log_file_remedy},
    {"log-reference-unparsable", word_kind::finding, cause_class::configuration,
     "The file behind --reference_tpm_log_file is no usable log",
     "The reference log could not be read as an event log, so the run ended. The finding below it says why.",
     "The path is wrong, or the file is no log of a TPM 2.0 with SHA-256 digests.", log_file_remedy},
    {"log-from-file",
     word_kind::finding,
     cause_class::configuration,
     "A log from a file is not held against this TPM",
     "The event log was named with `--tpm_event_log_file`. The PCRs are those of this boot, so the two are "
     "not compared, and the log proves nothing of this boot.",
     "The option was given.",
     {"Leave out `--tpm_event_log_file` to have the log of this boot judged and compared with the PCRs. With "
      "the option the run is good for a look at that log only.",
      person::configuration_keeper}},
    {"log-untrusted",
     word_kind::finding,
     cause_class::tampering,
     "The event log is not trusted",
     "The log is not what the TPM measured, so that nothing in it may be believed. The stage was skipped.",
     "The stage \"TPM Event Log matches PCR values\" failed.",
     {"Solve the stage \"TPM Event Log matches PCR values\" first; a skipped stage says neither good nor "
      "bad. What it would have found may be there.",
      person::security_officer}},
    {"log-pcr-compared",
     word_kind::finding,
     cause_class::change,
     "The value of a PCR in the two logs",
     "This finding shows the value that follows from each log, and whether they match. With MATCH it is no "
     "complaint.",
     "It is shown for each PCR that is compared with the reference log.",
     {"Look only at the PCRs with MISMATCH, and read the first difference below them. `--compared_pcrs=4,7` "
      "compares those only.",
      person::administrator}},
    {"log-event-differs",
     word_kind::finding,
     cause_class::change,
     "The first event that differs",
     "Up to here the two logs agree. The events that follow are shown side by side; from here on the values "
     "differ.",
     "An update, another boot device, a changed setting, an added card; or a boot that somebody interfered "
     "with.",
     {"Find out what the event of this boot stands for: file name, variable or text in its data tell it. If "
      "an update explains it, take a new reference log from a device whose update you trust; if nothing "
      "explains it, take the device out of use. `vellum-lab inspect eventlog FILE` reads the event in words.",
      person::administrator}},
    {"log-event-type-differs",
     word_kind::finding,
     cause_class::tampering,
     "Two events agree in digest, not in type",
     "The type of an event is not measured. The two logs name different types for the same digest.",
     "The firmware was updated, or somebody changed the type in the log.",
     {"Ask which of the two types is right for this event, and do not rely on the type: only the digest is "
      "measured. A new firmware may name its events in another way; without an update, somebody edited the "
      "log.",
      person::security_officer}},
    {"log-event-without-counterpart",
     word_kind::finding,
     cause_class::change,
     "An informing event stands in one log only",
     "An event that changes no PCR has no counterpart in the other log. It decides nothing.",
     "The firmware was updated, or somebody added or removed it.",
     {"Read the event as a hint; nothing is to be done if the PCR values match. Such events are not "
      "measured, so anybody may write them.",
      person::administrator}},
    {"log-empty", word_kind::finding, cause_class::configuration, "The event log has no bytes",
     "The event log is empty, so that nothing is known of what this boot, or the boot of the file, measured.",
     "An empty file was named, or the firmware kept no log.", log_file_remedy},
    {"log-no-memory", word_kind::finding, cause_class::environment, "No memory for the events of a log",
     "The events of an event log did not get the memory they need.",
     "Other programs take all memory, or a log is filled with events.", memory_remedy},
    {"log-first-event-malformed", word_kind::finding, cause_class::configuration,
     "The first event of the log cannot be read",
     "The bytes with which the event log begins are no event, or the event reaches beyond the end of the log.",
     "Another file was named, or the firmware or the boot loader wrote the log wrongly.", log_file_remedy},
    {"log-spec-id-cut", word_kind::finding, cause_class::firmware, "The event that begins the log is cut",
     "The first event of the log lists the digests that the log holds, and ends before that list does.",
     log_damage_cause, log_file_remedy},
    {"log-spec-id-version", word_kind::finding, cause_class::firmware, "The event log has an older layout",
     "The first event of the log names an older version of the layout than is supported. Both are shown.",
     "The firmware of the device is old, or the log was changed.", log_file_remedy},
    {"log-spec-id-algorithms", word_kind::finding, cause_class::firmware, "The event log names too many digests",
     "The first event of the log says that it has digests of more kinds than any TPM. The limit is shown.",
     log_damage_cause, log_file_remedy},
    {"log-event-unreadable", word_kind::finding, cause_class::firmware, "An event of the log has no SHA-256 digest",
     "The event at the position that is named has digests of other kinds only, so that no PCR can be computed "
     "from it.",
     "The firmware does not measure this event into the SHA-256 bank, or the log was changed.", log_file_remedy},
    {"log-event-oversized", word_kind::finding, cause_class::firmware,
     "An event claims more data than a log can hold",
     "The size of the event at the position that is named reaches beyond anything that a log can be.",
     log_damage_cause, log_file_remedy},
    {"tpm-log-not-allocated",
     word_kind::finding,
     cause_class::environment,
     "There is no room for the event log",
     "The event log did not get the memory for the size that the TPM service names. The size is shown; 0 "
     "means that the service has no log.",
     "The firmware kept no log of this boot, or other programs take all memory.",
     {"Look at the size in the finding: for 0 restart from power-off with the TPM 2.0 switched on, else close "
      "other programs. On Linux `wc -c /sys/kernel/security/tpm0/binary_bios_measurements`, as administrator, "
      "counts the bytes of the log. A log that stays empty is for the manufacturer of the firmware.",
      person::administrator}},
};

}  // namespace

std::span<const words> tpm_words() {
    return rows;
}

}  // namespace vellum
