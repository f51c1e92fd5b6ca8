// The seal: its state, its configuration, its signature and what names the device.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy fix_config_remedy = {
    "Correct the key in `kxl.ini` if the device is as it was ordered; else have the device sealed anew with "
    "the right option. The finding shows both values. The sample `kxl.ini` that comes with the program "
    "explains each key.",
    person::configuration_keeper};

constexpr remedy option_here_remedy = {
    "Find out which of the two is right, the device or what it is compared with, and correct the other. An "
    "expectation of the configuration stands in `[Expected Seal Configuration]` of `kxl.ini`, that of the "
    "PMF is shown by `vellum-lab inspect pmf FILE`. Where the value measured in PCR[5] differs, restart "
    "first, as the firmware measures at each boot. An option of the device changes only by sealing it again.",
    person::configuration_keeper};

constexpr remedy tl3_file_remedy = {
    "Get the identity file of this very device from the manufacturer, and name it with "
    "`--tl3_seal_identity_verification_file=FILE` or in `kxl.ini`. If the file is the right one, the seal on "
    "the device is another than the manufacturer made: do not trust it. Do not edit the file to make it fit.",
    person::configuration_keeper};

constexpr remedy seal_version_remedy = {
    "Install the release of the program that belongs to the firmware of this device. Until then the seal "
    "cannot be judged: treat the device as not validated.",
    person::administrator};

constexpr words rows[] = {
    {"feature-state-wrong",
     word_kind::finding,
     cause_class::change,
     "The feature or the seal is not in the state it should be",
     "The firmware names the state of feature and seal, and it is not \"ACTIVE and the Seal is INTACT\".",
     "Somebody unsealed the device or disabled its seal, or the sealing was not finished.",
     {"If it was unsealed on purpose, have it sealed again; if it says CONFIGURED, have the manufacturer "
      "finish the sealing. If nobody did it, look in `kxl.log` for \"Seal Disabled\": it shows when and why, "
      "and treat the device as opened.",
      person::administrator}},
    {"seal-broken",
     word_kind::finding,
     cause_class::tampering,
     "The seal is broken",
     "The seal log holds a record that the seal was broken, for the reason that is named.",
     "The reason says it: the chassis was opened, the owner opted out, the clock or the storage was reset, "
     "the boot was changed, or the disk was found unlocked.",
     {"Find out who did what the reason names, and examine the device before it is used; then have it sealed "
      "again. An opened chassis or a reset clock may be a repair or an empty clock battery; a replay attack, "
      "a corrupt boot or a retrieved password is not. `kxl.log` (level 3) shows the time of the record.",
      person::security_officer}},
    {"seal-broken-record-missing",
     word_kind::finding,
     cause_class::tampering,
     "The seal is broken and its log does not say why",
     "The firmware calls the seal broken, and there is no record of it in the seal log.",
     "The seal log was changed or lost.",
     {"Take the device out of use and have it examined: a broken seal without its record is not something a "
      "device does by itself. Keep the report and `kxl.log`.",
      person::security_officer}},
    {"seal-config-against-ini",
     word_kind::finding,
     cause_class::configuration,
     "Result of the comparison with the configuration",
     "This line only says whether the seal configuration agrees with `kxl.ini`. What differs stands in the "
     "findings below it.",
     "An option differs, the source of the Device ID, or the signing algorithm.",
     {"Read the findings below this line; each names an option with both values. With OK nothing is to be "
      "done here.",
      person::configuration_keeper}},
    {"seal-config-against-pmf",
     word_kind::finding,
     cause_class::configuration,
     "Result of the comparison with the PMF",
     "This line only says whether the seal configuration agrees with the PMF, or that there was no PMF.",
     "An option differs, or the PMF was skipped or could not be read.",
     {"With FAILED read the findings below this line; with SKIPPED validate with the PMF. Leave out "
      "`--skip_retrieving_platform_measurements`, or name a copy of the PMF with `-g FILE`.",
      person::configuration_keeper}},
    {"seal-config-differs-from-event",
     word_kind::finding,
     cause_class::tampering,
     "The seal configuration is not the one that was measured",
     "One or more options that the firmware tells now differ from those that this boot measured into PCR[5].",
     "The configuration was changed after the boot, or a false seal event was measured.",
     {"Restart the device and validate again; if an option still differs, take the device out of use. The "
      "findings name each option with both values.",
      person::administrator}},
    {"seal-config-differs-from-ini", word_kind::finding, cause_class::configuration,
     "The seal configuration is not the one of the configuration",
     "One or more options of the seal differ from what `kxl.ini` expects.",
     "The file is for another model, or the device was sealed with other options.", fix_config_remedy},
    {"seal-config-differs-from-pmf",
     word_kind::finding,
     cause_class::configuration,
     "The seal configuration is not the one of the PMF",
     "One or more options of the seal differ from what the PMF expects.",
     "The PMF was made for other options than the device was sealed with.",
     {"Compare `vellum-lab inspect pmf FILE` with the options in the findings, and have the one that is "
      "wrong made again. A new PMF needs a new sealing.",
      person::pmf_maker}},
    {"seal-config-inconvertible", word_kind::finding, cause_class::firmware,
     "The seal configuration has an impossible option",
     "An option in the firmware's answer is neither on nor off, so that the configuration cannot be shown.",
     "Another version of the firmware, or a damaged answer.", firmware_retry_remedy},
    {"seal-config-option-differs", word_kind::finding, cause_class::configuration, "An option of the seal differs",
     "The option that is named is on on one side and off on the other.",
     "`kxl.ini` or the PMF expects another option than the device was sealed with; or the option was changed "
     "since.",
     option_here_remedy},
    {"seal-algorithm-differs",
     word_kind::finding,
     cause_class::configuration,
     "The seal is signed by another method than expected",
     "The method of the seal signature is not the one behind `ExpectedSealSigningAlgorithm`.",
     "`kxl.ini` is written for the other trusted level (TL1 or TL3).",
     {"Set `ExpectedSealSigningAlgorithm` in `kxl.ini`: SHA256-RSA-2048-PKCS1 for TL1, "
      "SHA256-NULL-ENCRYPTION for TL3. TL3 also needs `TL3SealIdentityVerificationFile`. If all devices of "
      "this kind were ordered with the other level, the seal is not the manufacturer's.",
      person::configuration_keeper}},
    {"seal-opt-out-hotkey-differs", word_kind::finding, cause_class::configuration, "The opt-out hotkey is another",
     "The keys with which the owner may end the seal are not those behind `OptOutHotKey`.",
     "`kxl.ini` has other keys than the device was sealed with.", fix_config_remedy},
    {"seal-opt-out-interval-differs", word_kind::finding, cause_class::configuration,
     "The opt-out interval is another",
     "The seconds in which the owner may opt out while the device starts are not those behind "
     "`OptOutIntervalSeconds`.",
     "`kxl.ini` has another number than the device was sealed with.", fix_config_remedy},
    {"seal-opt-out-length-differs", word_kind::finding, cause_class::configuration,
     "The opt-out hotkey has another length",
     "The number of bytes of the opt-out hotkey differs from that of `OptOutHotKey`.",
     "`kxl.ini` has more or fewer keys than the device was sealed with.", fix_config_remedy},
    {"seal-signed-over-unsigned-pmf",
     word_kind::finding,
     cause_class::configuration,
     "A signed seal over a PMF that need not be signed",
     "The device was sealed with seal signing on and PMF signing off. At level TL1 that proves nothing, as "
     "the key is looked up in a PMF that anybody may write.",
     "The device was sealed with options that do not belong together.",
     {"Have the device sealed again with PMF signing on, or with a seal of level TL3. Changing `kxl.ini` "
      "does not help, as the options are those of the seal.",
      person::manufacturer}},
    {"seal-configured-record-missing", word_kind::finding, cause_class::firmware,
     "The seal log lacks the record of the sealing",
     "No record \"Seal Configured\" is in the seal log. It holds the Device ID and the hash of the PMF.",
     "The sealing was not finished, or the seal log was changed or lost.", seal_again_remedy},
    {"seal-data-missing", word_kind::finding, cause_class::firmware, "The seal log lacks the data that were signed",
     "No record \"Seal Configured\" is in the seal log, so there is nothing that the signature could prove.",
     "The sealing was not finished, or the seal log was changed or lost.", seal_again_remedy},
    {"seal-data-marker-unknown", word_kind::finding, cause_class::firmware, "The sealed data begin in an unknown way",
     "The data in the record of the sealing do not begin with the marker of seal data.",
     "Another version of the firmware, or the record was changed.", seal_again_remedy},
    {"seal-data-version-unknown", word_kind::finding, cause_class::firmware,
     "The sealed data have an unknown version",
     "The data in the record of the sealing have another version than 1.1.",
     "The device was sealed by a newer firmware or sealing tool.", seal_version_remedy},
    {"seal-signature-version-unknown", word_kind::finding, cause_class::firmware,
     "The seal signature has an unknown version", "The seal signature has another version than 1.0.",
     "The device was sealed by a newer firmware or sealing tool.", seal_version_remedy},
    {"seal-signature-algorithm-unknown", word_kind::finding, cause_class::firmware,
     "The seal is signed by an unknown method",
     "The method of the seal signature is neither that of TL1 nor that of TL3, so it cannot be verified.",
     "The device was sealed by a newer sealing tool, or the signature was changed.", seal_version_remedy},
    {"seal-signature-reserved-set",
     word_kind::finding,
     cause_class::firmware,
     "Reserved bytes of the seal signature are set",
     "Bytes that have no meaning are not zero. This is a remark and decides nothing.",
     "A newer sealing tool gives them a meaning.",
     {"Nothing is to be done if the stage passed; ask the manufacturer whether a newer release of the "
      "program knows these bytes.",
      person::administrator}},
    {"seal-signature-size", word_kind::finding, cause_class::tampering, "The seal signature is longer than its room",
     "The length of the signature that the firmware names is more than its field can hold.",
     "The seal signature was changed, or the firmware's storage is damaged.", seal_again_remedy},
    {"seal-signature-invalid",
     word_kind::finding,
     cause_class::tampering,
     "The seal signature is not valid",
     "The signature does not belong to the sealed data and the key beside it: at least one of the three was "
     "changed.",
     "The seal was forged, or the firmware's storage is damaged.",
     {"Take the device out of use; the seal is not what its key signed. Restart and validate once more, as a "
      "damaged answer may look the same. If it stays, have the device examined and sealed again.",
      person::security_officer}},
    {"seal-instance-unsigned", word_kind::finding, cause_class::tampering,
     "A signed seal carries the number of an unsigned one",
     "Seal signing is on, and the instance of the seal is 1, which stands for an unsigned seal.",
     "Seal signing was switched on after an unsigned sealing, or the record was changed.", seal_again_remedy},
    {"seal-instance-differs", word_kind::finding, cause_class::tampering,
     "Seal and signature are of different instances",
     "Each sealing has a number. The record of the sealing and the signature carry different ones, so the "
     "signature is of another sealing.",
     "An older signature was put beside the seal, or the sealing was interrupted.", seal_again_remedy},
    {"seal-instance-signed", word_kind::finding, cause_class::tampering,
     "An unsigned seal carries the number of a signed one",
     "Seal signing is off, and the instance of the seal is not 1.",
     "Seal signing was switched off after a signed sealing: the signature may have been taken away.",
     seal_again_remedy},
    {"seal-key-without-pmf",
     word_kind::finding,
     cause_class::configuration,
     "The seal's key cannot be looked up without a PMF",
     "A seal of level TL1 is trusted when the PMF lists its key. There was no PMF.",
     "`--skip_retrieving_platform_measurements` was given, or the PMF could not be read.",
     {"Validate with the PMF: leave out `--skip_retrieving_platform_measurements`, or name a copy with `-g "
      "FILE`. If the stage that retrieves the PMF failed, solve that first.",
      person::configuration_keeper}},
    {"seal-key-manifest-missing", word_kind::finding, cause_class::configuration, "The PMF has no list of seal keys",
     "The PMF lacks the key manifest, in which the key of a seal of level TL1 is looked up.", pmf_tool_cause,
     pmf_format_remedy},
    {"key-manifest-algorithm", word_kind::finding, cause_class::configuration,
     "The PMF lists keys by an unsupported digest",
     "The keys in the PMF's key manifest are listed by another digest than SHA-256.", pmf_tool_cause,
     pmf_format_remedy},
    {"key-manifest-empty",
     word_kind::finding,
     cause_class::configuration,
     "The PMF lists no seal keys",
     "The key manifest of the PMF has no entries, so no key of a seal can be trusted.",
     "The PMF was made for devices with seals of level TL3, or the key was forgotten.",
     {"Have the PMF made with the hash of the seal's public key in its key manifest, and the device sealed "
      "with it. `vellum-lab inspect pmf FILE` shows the keys that a PMF lists.",
      person::pmf_maker}},
    {"key-manifest-key-missing",
     word_kind::finding,
     cause_class::tampering,
     "The seal's key is not one that the PMF lists",
     "The seal was signed with a key whose hash does not stand in the PMF. The hash is shown.",
     "The seal was made by somebody else, or the PMF does not list a new key of the manufacturer yet.",
     {"Ask the manufacturer, by a way of your own, whether the key with this hash is theirs; if not, the "
      "seal is forged. If it is, a PMF that lists it has to be made and the device sealed with it. "
      "`vellum-lab inspect pmf FILE` shows the listed keys.",
      person::security_officer}},
    {"key-manifest-repeated-key", word_kind::finding, cause_class::configuration,
     "The PMF lists the seal's key twice",
     "The same key stands in the key manifest more than once, so that it is not clear which entry counts.",
     "A fault of the program that made the PMF.", pmf_format_remedy},
    {"seal-date-in-future",
     word_kind::finding,
     cause_class::environment,
     "The sealing lies in the future",
     "The seal was made later than the clock of this machine says it is now. The stage passes with a warning.",
     "The clock of this machine is wrong, or that of the factory was.",
     {"Set the clock of this machine (date, time and time zone) and validate again. If it is right, the "
      "clock of the factory was wrong: tell the manufacturer. A clock that is set back also makes expired "
      "certificates pass.",
      person::administrator}},
    {"seal-date-counter-exceeded",
     word_kind::finding,
     cause_class::environment,
     "The date is beyond the counter of the seal",
     "The seal's date is kept in 32 bits, which end in January 2038. Comparisons with it are no longer sure.",
     "The clock of this machine is set after that time.",
     {"Set the clock of this machine if the date is wrong. If it is right, the warning stays, and the other "
      "findings still count.",
      person::administrator}},
    {"seal-device-id-too-long", word_kind::finding, cause_class::tampering,
     "The sealed Device ID is longer than its room",
     "The length of the Device ID in the record of the sealing is more than the 64 bytes that it may have.",
     "The record was changed, or the firmware's storage is damaged.", seal_again_remedy},
    {"seal-device-id-type-differs",
     word_kind::finding,
     cause_class::configuration,
     "The Device ID comes from another source than expected",
     "The seal takes its Device ID from another source than `DeviceIdSource` names.",
     "`kxl.ini` was written for devices that were sealed in another way.",
     {"Set `DeviceIdSource` in `kxl.ini` to the source that the finding names, if the manufacturer seals "
      "these devices so. OEM_DEFINED_LITERAL and OEM_DEFINED_BLOB also need `--external_device_id=ID`.",
      person::configuration_keeper}},
    {"seal-device-id-type-unknown", word_kind::finding, cause_class::firmware,
     "The seal log does not say where the Device ID comes from",
     "The seal log lacks the record \"Seal Configured\", which names the source of the Device ID.",
     "The sealing was not finished, or the seal log was changed or lost.", seal_again_remedy},
    {"seal-identity-missing",
     word_kind::finding,
     cause_class::configuration,
     "No identity file for a seal of level TL3",
     "The seal is of level TL3, and no file says what it should be.",
     "`kxl.ini` is written for TL1, or the file is not named.",
     {"Set `ExpectedSealSigningAlgorithm=SHA256-NULL-ENCRYPTION` in `kxl.ini` and name the manufacturer's "
      "identity file. The file is named by `TL3SealIdentityVerificationFile` or "
      "`--tl3_seal_identity_verification_file=FILE`; its format is told in `docs/tl3-file.md`.",
      person::configuration_keeper}},
    {"seal-identity-time-differs", word_kind::finding, cause_class::tampering,
     "The seal was made at another time than the file says",
     "The time of the sealing in the seal log is not that of the identity file. Both are shown.",
     "The file belongs to another sealing of this device or to another device; or the seal is not the "
     "manufacturer's.",
     tl3_file_remedy},
    {"seal-identity-device-id-type-differs", word_kind::finding, cause_class::tampering,
     "The file names another source of the Device ID",
     "The source of the Device ID in the seal is not that of the identity file. Both are shown.",
     "The file belongs to another device; or the seal is not the manufacturer's.", tl3_file_remedy},
    {"seal-identity-device-id-skipped", word_kind::finding, cause_class::configuration,
     "The Device ID was not compared with the file",
     "As the sources of the two Device IDs differ, comparing them would say nothing.",
     "The finding beside it, that the sources differ.", tl3_file_remedy},
    {"seal-identity-device-id-differs", word_kind::finding, cause_class::tampering, "The file names another device",
     "The Device ID in the seal is not that of the identity file. Both are shown.",
     "The file of another device was given; or the seal was copied from another device.", tl3_file_remedy},
    {"seal-identity-instance-differs", word_kind::finding, cause_class::tampering,
     "The file names another sealing of the device",
     "The number of the sealing is not that of the identity file. Both are shown.",
     "The device was sealed again since the file was written; or the seal is not the manufacturer's.",
     tl3_file_remedy},
    {"seal-identity-algorithm-differs", word_kind::finding, cause_class::tampering,
     "The file names another method of signing",
     "The method of the seal signature is not that of the identity file. Both are shown.",
     "The file was written for another kind of seal.", tl3_file_remedy},
    {"seal-identity-digest-differs", word_kind::finding, cause_class::tampering,
     "The seal is not the one that the file describes",
     "The digest in the seal signature is not that of the identity file. Both are shown.",
     "The file belongs to another sealing; or the seal is not the manufacturer's.", tl3_file_remedy},
    {"tl3-file-not-given",
     word_kind::finding,
     cause_class::configuration,
     "The identity file is not named",
     "A seal of level TL3 is expected, and no path to the identity file is given.",
     "`TL3SealIdentityVerificationFile` is missing or empty in `kxl.ini`.",
     {"Name the manufacturer's identity file: `TL3SealIdentityVerificationFile` in `kxl.ini`, or "
      "`--tl3_seal_identity_verification_file=FILE`. For devices with seals of level TL1 set "
      "`ExpectedSealSigningAlgorithm=SHA256-RSA-2048-PKCS1`.",
      person::configuration_keeper}},
    {"tl3-file-unreadable", word_kind::finding, cause_class::configuration, "The identity file cannot be read",
     "The file that describes the seal could not be opened or read. The finding below it says why.",
     "The path is wrong, or relative to another folder: it begins where the program is started.", path_remedy},
    {"tl3-file-malformed",
     word_kind::finding,
     cause_class::configuration,
     "The identity file has another form",
     "One of the first four lines of the file is not as it has to be.",
     "The file was edited or saved by a spreadsheet program, or is another file.",
     {"Get the file anew from the manufacturer, and compare it with `docs/tl3-file.md`: three fixed lines, "
      "then six fields with commas between. No field may be empty. A spreadsheet program changes dates and "
      "quotes when it saves: do not save it there.",
      person::configuration_keeper}},
    {"tl3-path-untranslatable", word_kind::finding, cause_class::configuration,
     "The path of the identity file cannot be used",
     "A token in the path of the identity file could not be replaced. The finding below it says why.",
     "A token is misspelt, or its value is missing.", token_remedy},
};

}  // namespace

std::span<const words> seal_words() {
    return rows;
}

}  // namespace vellum
