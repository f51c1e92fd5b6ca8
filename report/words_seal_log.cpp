// The records of the seal log and their order.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy history_remedy = {
    "Take the device out of use: its seal log cannot be the history of a seal. Keep the report and "
    "`kxl.log`, which lists all records with their times (level 3), have the device examined, and sealed "
    "again.",
    person::security_officer};

constexpr remedy counters_remedy = {
    "Read the records in `kxl.log` (level 3) and ask who started the device in another way than usual; "
    "validate again after a restart from power-off. The stage passes with this warning. If nobody did, or "
    "the warning comes with others, have the device examined.",
    person::administrator};

constexpr remedy clock_remedy = {
    "Set the clock of the device and validate again. If it is right, look in `kxl.log` (level 3) at the "
    "times of the records: a clock that was wrong when a record was written leaves this warning for the life "
    "of the seal. The stage passes with it.",
    person::administrator};

constexpr words rows[] = {
    {"seal-log-cut", word_kind::finding, cause_class::firmware, "The seal log is cut",
     "The seal log names more bytes than the firmware delivered.",
     "Another version of the firmware, or a damaged answer.", firmware_retry_remedy},
    {"seal-log-invalid", word_kind::finding, cause_class::tampering, "The seal log cannot be the history of a seal",
     "A rule on the order of the records is broken. The finding below it names the record.",
     "Records were added, removed or exchanged by somebody.", history_remedy},
    {"seal-record-repeated", word_kind::finding, cause_class::tampering,
     "A record that occurs once stands there twice",
     "A disk's password is retrieved, and its lock removed, once in the life of a seal. The record of it "
     "stands in the seal log twice.",
     "The disk's password was asked for a second time, or the seal log was forged.", history_remedy},
    {"seal-record-misplaced", word_kind::finding, cause_class::tampering,
     "A record stands behind one that it cannot follow",
     "The two records that are named cannot follow each other in the life of a seal.",
     "Records were added, removed or exchanged by somebody.", history_remedy},
    {"seal-record-without-predecessor", word_kind::finding, cause_class::tampering,
     "A record stands first that cannot", "The seal log begins with a record that needs another before it.",
     "The beginning of the seal log was removed.", history_remedy},
    {"seal-record-unknown",
     word_kind::finding,
     cause_class::firmware,
     "A record of an unknown kind",
     "The seal log holds a record whose kind this release does not know. It was passed over.",
     "A newer firmware writes further kinds of records.",
     {"Install the release of the program that belongs to the firmware; until then the stage passes with "
      "this warning. If the firmware was not updated since the sealing, ask the manufacturer what the record "
      "means.",
      person::administrator}},
    {"seal-record-in-future", word_kind::finding, cause_class::environment, "A record lies in the future",
     "The time of a record of the seal log is later than the clock says it is now.",
     "The clock of this machine is wrong, or was wrong when the record was written.", clock_remedy},
    {"seal-record-time-reversed", word_kind::finding, cause_class::environment,
     "A record is older than the one before it", "The times of two records run backwards.",
     "The clock was set back between them, as after an empty clock battery.", clock_remedy},
    {"seal-record-counters-differ", word_kind::finding, cause_class::tampering, "The two counters of a record differ",
     "The device's boots and the feature's runs are counted. In this record they differ: there was a boot in "
     "which the feature did not run.",
     "The device was started in a way that goes around the feature, or power failed while it started.",
     counters_remedy},
    {"seal-record-boot-counter-not-one", word_kind::finding, cause_class::tampering,
     "The disk was unlocked in another boot than the first",
     "The disk's password is retrieved, and its lock removed, in the first boot after the sealing. The "
     "counter of this record is not 1.",
     "The first start was interrupted, or the record was changed.", counters_remedy},
    {"seal-record-boot-counter-too-low", word_kind::finding, cause_class::tampering,
     "A later boot is counted as the first",
     "The record \"Disk Lock Not Present\" is written from the second boot on. Its counter is lower.",
     "The first start was interrupted, or the record was changed.", counters_remedy},
    {"seal-record-boot-counter-jumps", word_kind::finding, cause_class::tampering, "The counter of boots jumps",
     "From one record to the next the counter of boots may stay or grow by one. It did something else.",
     "The device was started several times between two records, or a record was removed.", counters_remedy},
    {"seal-record-execution-counter-jumps", word_kind::finding, cause_class::tampering,
     "The counter of the feature's runs jumps",
     "From one record to the next the counter of the feature's runs may stay or grow by one. It did "
     "something else.",
     "The device was started several times between two records, or a record was removed.", counters_remedy},
    {"seal-disk-lock-not-present",
     word_kind::finding,
     cause_class::change,
     "The disk was found without its lock",
     "In a boot after the first the disk was not locked. The stage passes with this warning.",
     "The device was started more than once since the disk was unlocked, or the firmware could not lock it "
     "again.",
     {"Read in `kxl.log` (level 3) how often and when the record was written; expect one for each restart "
      "since the unlocking. Validate right after the first start to be free of the warning. While the disk "
      "has no lock, whoever takes it out can read it.",
      person::administrator}},
    {"seal-unlock-record-missing",
     word_kind::finding,
     cause_class::tampering,
     "The unlocking of the disk was not recorded",
     "SED lock is on, and the seal log lacks a step of unlocking the disk.",
     "The seal broke before the disk was unlocked, the disk was unlocked in another way, or the disk is not "
     "the one that was sealed.",
     {"Look for a broken seal first: where the stage \"Seal is intact\" fails, the disk is not unlocked and "
      "this follows. Else find out how this disk came to be open, and whether it is the one that was sealed. "
      "Have the device sealed again afterwards.",
      person::security_officer}},
    {"seal-unlocked-long-ago",
     word_kind::finding,
     cause_class::change,
     "The disk was unlocked more than an hour ago",
     "Validation should follow soon on the start that unlocked the disk. Since then there was time to change "
     "it.",
     "The device was started and left standing before it was validated, or the clock is wrong.",
     {"Validate within an hour of the start that unlocks the disk; set the clock if it is wrong. The stage "
      "passes with this warning. The other stages say whether anything was changed meanwhile.",
      person::administrator}},
    {"seal-record-hash-differs",
     word_kind::finding,
     cause_class::tampering,
     "The seal log has another hash than was measured",
     "The hash of the seal log that the firmware tells now is not the one in the seal's event of PCR[5].",
     "A record was added to the seal log since the boot, or the log was changed.",
     {"Restart the device and validate again, as the firmware measures the seal log anew at each boot. If "
      "the hashes still differ, the firmware tells another log than it measures: take the device out of use "
      "and keep `kxl.log`.",
      person::administrator}},
};

}  // namespace

std::span<const words> seal_log_words() {
    return rows;
}

}  // namespace vellum
