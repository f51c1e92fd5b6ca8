// The stages, in the order in which they run.
#include "report/words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr words rows[] = {
    {"firmware-connection",
     word_kind::stage,
     cause_class::environment,
     "The firmware can be asked",
     "The program opened the PELI driver, reached the firmware's feature through it and knows its version. "
     "Nothing that the firmware holds can be judged without this, so most other stages are skipped when it "
     "fails. The line is shown only when it fails or the version check is bypassed.",
     "The driver is not installed or is used by another program, the program was not started as "
     "administrator, or the feature is off in this device.",
     {"Start the program as administrator on a device with the PELI driver, and close other programs that "
      "use it. On Windows the driver shows in Device Manager, on Linux as `/dev/peli0`. If the finding names "
      "a version, do what is told for it: a device whose version is newer needs a newer release of the "
      "program.",
      person::administrator}},
    {"feature-state",
     word_kind::stage,
     cause_class::firmware,
     "The firmware delivers its state",
     "The firmware answered with the state of feature and seal, the seal log and the seal signature, all of "
     "them whole.",
     "The firmware was busy or refused the command, or its storage is damaged.",
     {"Shut the device down, switch it on and validate again; a firmware that was busy answers then. If it "
      "fails again, note the status in the finding and the version of the firmware, and have the "
      "manufacturer look at the firmware or install its current version. A device whose state cannot be read "
      "must not be taken for sealed.",
      person::administrator}},
    {"seal-config",
     word_kind::stage,
     cause_class::firmware,
     "The seal configuration is read",
     "The options that the device was sealed with (chassis intrusion, BIOS lock, signings, opt-out keys, SED "
     "lock) were taken from the firmware's answer.",
     "It is skipped when the stage before it failed; it does not fail by itself.",
     {"Solve the stage \"Retrieving KVR Feature State\" first; the seal configuration comes with the same "
      "answer.",
      person::administrator}},
    {"tpm-pcrs",
     word_kind::stage,
     cause_class::environment,
     "The PCRs are read from the TPM",
     "The TPM 2.0 answered with the 24 PCRs of its SHA-256 bank, which sum up what this boot measured.",
     "The TPM is off or hidden in the firmware setup, its SHA-256 bank is off, the service is missing in "
     "this system, or the program is not run as administrator.",
     {"Switch on the TPM 2.0 and its SHA-256 bank in the firmware setup, and start the program as "
      "administrator. In Windows PE the image needs the component WinPE-SecureStartup. On Linux "
      "`/dev/tpmrm0` has to exist and be open to you.",
      person::administrator}},
    {"tpm-log",
     word_kind::stage,
     cause_class::environment,
     "The event log of this boot is read",
     "The list of what this boot measured is there and well-formed, in the TPM 2.0 layout with SHA-256 "
     "digests.",
     "The system does not hand out the log, the firmware wrote it in the old layout, or a file was named "
     "that is no event log.",
     {"Start the program as administrator on the system that was booted by this firmware, with the TPM's "
      "SHA-256 bank on. On Linux the log is `/sys/kernel/security/tpm0/binary_bios_measurements`, on Windows "
      "the newest file in `C:\\Windows\\Logs\\MeasuredBoot`. What is wrong with a log is told by `vellum-lab "
      "inspect eventlog FILE`.",
      person::administrator}},
    {"platform-info",
     word_kind::stage,
     cause_class::environment,
     "Device and system say who they are",
     "The firmware's SMBIOS tables and the version of the operating system could be read; the PMF's system "
     "information and the Device ID are held against them later.",
     "The program was not started as administrator, or the SMBIOS tables lack an entry: product name, SKU "
     "number, serial number, or the structure of the Orbis firmware.",
     {"Start the program as administrator; if it still fails, have the manufacturer fill in the SMBIOS "
      "fields that are missing. On Linux `dmidecode -t 1` shows product, SKU and serial number, `dmidecode "
      "-t 131` the structure of the Orbis firmware. The log file names the field that is missing.",
      person::administrator}},
    {"pmf",
     word_kind::stage,
     cause_class::firmware,
     "The PMF is there and well-formed",
     "The Platform Measurements File was read from the firmware, or from the file behind `-g`, and keeps "
     "every rule that its format demands.",
     "The firmware does not hand the PMF out, or the PMF is damaged or was made by another tool.",
     {"Ask `vellum-lab inspect pmf FILE` what is wrong with the PMF, or validate with a good copy: `vellum "
      "--validate -g FILE`. Only the very PMF that the device was sealed with passes, as the seal log holds "
      "its hash. If the firmware refuses to hand it out, restart the device first.",
      person::pmf_maker}},
    {"sealed-device-id",
     word_kind::stage,
     cause_class::firmware,
     "The seal names the device",
     "The record of the sealing in the seal log holds the Device ID that the device was sealed with.",
     "The seal log lacks the record of the sealing, or that record is damaged.",
     {"Have the device sealed again; without a sealed Device ID nobody can say for which device the seal was "
      "made. The history can be read in the log file behind \"Seal log contains\", level 3.",
      person::manufacturer}},
    {"feature-active",
     word_kind::stage,
     cause_class::firmware,
     "The feature is active",
     "The firmware says that its feature is active, so that it guards the seal.",
     "The device was unsealed (`vellum --unseal`, or by the owner's opt-out hotkey), or the sealing was "
     "never finished.",
     {"If somebody unsealed the device on purpose, have it sealed again before it is trusted; if nobody did, "
      "find out who had it. The seal log shows when the feature was disabled and why: read \"Seal Disabled\" "
      "in the log file (level 3).",
      person::administrator}},
    {"seal-intact",
     word_kind::stage,
     cause_class::tampering,
     "The seal is intact",
     "The firmware says that the seal was not broken since the device was sealed. If it was, the reasons are "
     "listed.",
     "The device was opened, its boot was interrupted or changed, its clock or storage was reset, or the "
     "owner opted out.",
     {"Take the device out of use until the reason under the stage is explained, then have it sealed again. "
      "A broken seal never becomes intact by itself. Keep `kxl.log` with the report: it holds the seal log "
      "with the time of each event.",
      person::security_officer}},
    {"seal-config-expected",
     word_kind::stage,
     cause_class::configuration,
     "The seal protects what is expected",
     "The options that the device was sealed with are those that `kxl.ini` and the PMF expect. OK with WARN "
     "means that no PMF was there to compare with.",
     "The configuration file describes another model or an older sealing, or the device was sealed with "
     "fewer protections than it should be.",
     {"Compare each option in the findings with `kxl.ini`: correct the file if the device is as it was "
      "ordered, else have the device sealed again. The section is `[Expected Seal Configuration]`; the PMF's "
      "own expectation is shown by `vellum-lab inspect pmf FILE`.",
      person::configuration_keeper}},
    {"seal-signature",
     word_kind::stage,
     cause_class::tampering,
     "The seal was made by whom it should be",
     "TL1: the seal is signed by a key that the PMF lists. TL3: the seal is the one that the manufacturer's "
     "identity file describes.",
     "The wrong PMF or identity file was given, or the seal was made by somebody else.",
     {"Validate with the PMF or the identity file that belongs to this very device; if it still fails, do "
      "not trust the seal. TL1 needs the PMF, so do not skip it and do not name another with `-g`. TL3 needs "
      "`TL3SealIdentityVerificationFile` in `kxl.ini`. The log file `kxl.log` says which field of the "
      "signature differs.",
      person::security_officer}},
    {"pmf-hash",
     word_kind::stage,
     cause_class::change,
     "The PMF is the one of the sealing",
     "The hash of this PMF stands in the seal log, so the device was sealed with it. OK with WARN means that "
     "a rule is broken that does not weaken the check.",
     "Another edition of the PMF was stored or named with `-g`.",
     {"Validate with the PMF that the device was sealed with: leave out `-g`, or name that file. If the "
      "firmware itself holds another PMF than the seal log names, somebody replaced it: have the device "
      "examined and sealed again.",
      person::administrator}},
    {"pmf-trust",
     word_kind::stage,
     cause_class::tampering,
     "The PMF is valid and its signer is trusted",
     "The PMF has not expired, its signature is valid, and its certificate leads to a CA certificate in "
     "`TrustedCaDir`.",
     "A date has passed, a CA certificate is missing in the configuration, or the PMF is not from the "
     "manufacturer.",
     {"Read the first finding: a date needs a new PMF or certificate, an untrusted signer the right CA in "
      "`TrustedCaDir`. `vellum-lab inspect pmf -c kxl.ini FILE` judges the PMF alone, and `--at YYYY-MM-DD` "
      "on another day. Never put a certificate into `TrustedCaDir` merely because the report asks for it: "
      "get it from the manufacturer by a way of your own.",
      person::configuration_keeper}},
    {"reference-log",
     word_kind::stage,
     cause_class::change,
     "This boot did what a known-good boot did",
     "The event log of this boot matches, PCR by PCR, the log named by `--reference_tpm_log_file`. The line "
     "is shown only when such a log is given.",
     "The firmware, a setting, the boot loader or the system was changed or updated since the reference log "
     "was taken; or the log is of another device.",
     {"Read the first difference of each PCR: it shows the event of this boot beside the expected one. If an "
      "update explains it, take a new reference log from a device whose update you trust. To look at one PCR "
      "only: `vellum --compare_log --reference_tpm_log_file=KNOWN_GOOD --compared_pcrs=4`.",
      person::administrator}},
    {"log-matches-pcrs",
     word_kind::stage,
     cause_class::tampering,
     "The event log is what the TPM measured",
     "The PCR values that follow from the event log are those in the TPM. Only then may the log be believed; "
     "when this fails the stages that rest on it are skipped.",
     "The log was changed, or something was measured that the log does not tell: a system that measures "
     "after the firmware (on Linux into PCR 10), or another boot's log.",
     {"Restart the device and validate at once, with its PMF; if a PCR that the PMF lists still differs, do "
      "not trust this boot. Without a PMF every PCR is compared, also those that the operating system "
      "extends, such as PCR 10 on Linux: do not use `--skip_retrieving_platform_measurements` then.",
      person::security_officer}},
    {"pcr5-events",
     word_kind::stage,
     cause_class::tampering,
     "The seal is in the event log, and genuine",
     "PCR[5] of the event log holds the seal's event, the partition table and the separator, and their data "
     "have the digests that were measured.",
     "The firmware did not measure the seal in this boot, or somebody changed the log.",
     {"Look at PCR 5 with `vellum-lab inspect eventlog FILE`: it needs GPT event, seal event and separator, "
      "in a genuine form. If the seal event is missing on a new model, its firmware lacks the measurement; "
      "on a device that passed before, treat it as an attack.",
      person::manufacturer}},
    {"pcrs-match-pmf",
     word_kind::stage,
     cause_class::change,
     "Firmware and boot loader are the sealed ones",
     "Each PCR that the PMF lists holds the value that the PMF expects. OK with WARN means that the PMF's "
     "own list breaks a rule.",
     "An update of firmware or boot loader, a changed setting in the firmware setup, another boot device, or "
     "an attack on them.",
     {"Undo what was changed since the sealing (update, setup setting, boot order, added card), or have the "
      "device sealed with a new PMF. Which event differs is told by a comparison with a known-good log: "
      "`vellum --compare_log --reference_tpm_log_file=KNOWN_GOOD`. If nothing was changed on purpose, take "
      "the device out of use.",
      person::administrator}},
    {"seal-before-os",
     word_kind::stage,
     cause_class::tampering,
     "The firmware, not a later program, measured the seal",
     "The seal's event stands before the separator of PCR[5], so that it was measured before any operating "
     "system ran. OK with WARN means that an event with a separator's digest stands before it.",
     "A program that ran later measured a seal of its own, or the firmware measures the seal too late.",
     {"Do not trust this boot: start the device without foreign media and drivers, and validate again. "
      "`vellum-lab inspect eventlog FILE` shows the order in PCR 5. If a device fresh from the factory fails "
      "so, its firmware measures the seal too late, which the manufacturer has to correct.",
      person::security_officer}},
    {"seal-log-measured",
     word_kind::stage,
     cause_class::tampering,
     "The seal log is as this boot measured it",
     "The hash of the firmware's seal log is the one that this boot measured into PCR[5].",
     "An event came into the seal log since the boot, or the log was changed.",
     {"Restart the device and validate again; a record that was added while the system ran is measured at "
      "the next boot. If it still fails, the seal log is not the one that the firmware measures: do not "
      "trust it, keep `kxl.log`, and have the device examined.",
      person::administrator}},
    {"seal-config-measured",
     word_kind::stage,
     cause_class::tampering,
     "The seal configuration is as this boot measured it",
     "The options of the seal that the firmware tells now are those that this boot measured into PCR[5].",
     "The options were changed after the boot, or the firmware measures others than it tells.",
     {"Restart the device and validate again; if an option still differs, do not trust the device and have "
      "it examined. The finding names each option with both values.",
      person::administrator}},
    {"partitions-measured",
     word_kind::stage,
     cause_class::change,
     "The disk had its partitions when it booted",
     "The partition table that this boot measured into PCR[5] has the partitions that the PMF lists, with "
     "the same ranges, types, names and order.",
     "A partition was added, resized, moved or renamed, or the device booted from another disk.",
     {"Restore the partition table that the device was sealed with, then restart, as the table is measured "
      "at each boot. Compare `vellum-lab inspect pmf FILE` with the disk (on Linux `sgdisk -p DISK`, on "
      "Windows `diskpart`). A layout that shall stay needs a new PMF and a new sealing.",
      person::administrator}},
    {"disk-measurements",
     word_kind::stage,
     cause_class::change,
     "The disk has its partitions now, and its BOM files",
     "The partition table on the boot disk is that of the PMF, and each file that lists the system's parts "
     "(BOM) has the hash that the PMF holds.",
     "The system was updated, the disk was repartitioned or exchanged, or a file was changed.",
     {"Restore partitions and BOM files as they were sealed, from the manufacturer's image if need be. If an "
      "update was wanted, the manufacturer makes a new PMF for it and the device is sealed again. Each "
      "finding names the partition by its sectors and the file.",
      person::administrator}},
    {"system-info",
     word_kind::stage,
     cause_class::change,
     "Product, BIOS and system are those of the PMF",
     "Product name, SKU number, BIOS version, Orbis version and system version are those that the PMF holds.",
     "An update of BIOS, Orbis firmware or operating system; or the PMF of another model.",
     {"Bring back the version that the finding calls that of the PMF, or have the device sealed with a PMF "
      "for the new one. If product name or SKU number differ, the PMF is that of another model.",
      person::administrator}},
    {"seal-log",
     word_kind::stage,
     cause_class::tampering,
     "The history of the seal is possible",
     "The records of the seal log follow each other as they can in the life of a seal, and where SED lock is "
     "on the disk was unlocked as it should be.",
     "The device was restarted between unlocking and validation, its clock is wrong, or the seal log was "
     "forged.",
     {"Set the clock, then let the device boot once from power-off and validate within an hour of the disk "
      "being unlocked. If a finding speaks of a wrong sequence or of a repeated event, the seal log cannot "
      "be genuine: take the device out of use. The log file `kxl.log` lists all records with their times.",
      person::administrator}},
    {"device-id",
     word_kind::stage,
     cause_class::change,
     "This is the device that was sealed",
     "The Device ID in the seal log is that of this device: its UUID, its serial number, or the value behind "
     "`--external_device_id`.",
     "The mainboard was exchanged, the wrong external Device ID was given, or the seal was copied from "
     "another device.",
     {"Compare the two Device IDs under the stage; give the right one with `--external_device_id=ID` if it "
      "comes from outside. If the mainboard was exchanged in a repair, the device has to be sealed again. If "
      "nobody repaired it, a seal was brought over from another device.",
      person::administrator}},
    {"ironwall",
     word_kind::stage,
     cause_class::tampering,
     "The TPM was started at locality 3",
     "With `IronwallEnabled=1` the event log must say that the TPM was started at locality 3. \"Not "
     "Requested\" means that `kxl.ini` does not ask for it.",
     "Ironwall is off in the firmware, or the device was started in a way that goes around it.",
     {"Switch Ironwall on in the firmware setup and restart from power-off; leave `IronwallEnabled=0` for "
      "models that do not have it. If it was on and the setting is untouched, do not trust this boot.",
      person::administrator}},
};

}  // namespace

std::span<const words> stage_words() {
    return rows;
}

}  // namespace vellum
