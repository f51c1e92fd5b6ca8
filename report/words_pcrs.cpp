// PCR values and the events of PCR 5.
#include "report/words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy seal_event_remedy = {
    "Show the log to who makes the firmware of this model: `vellum-lab inspect eventlog FILE` reads the "
    "events of PCR 5. On a device that passed before, treat it as an attack: restart without foreign media, "
    "and take it out of use if it stays. What the firmware has to measure is told in "
    "`docs/sealed-machine.md`.",
    person::manufacturer};

constexpr remedy forgery_remedy = {
    "Take the device out of use and keep the report and its event log: this looks like a forged log. Start "
    "it without foreign media, drivers and network boot, and validate again; if it stays, have the device "
    "examined. `vellum-lab inspect eventlog FILE` shows the event at the position that is named.",
    person::security_officer};

constexpr remedy sealed_option_remedy = {
    "Do not trust this boot; restart without foreign media and validate again. If it stays, take the device "
    "out of use, and show its seal event to the manufacturer: `vellum-lab inspect eventlog FILE` reads it. "
    "If each device of this model does it, the manufacturer has to correct the firmware.",
    person::security_officer};

constexpr words rows[] = {
    {"pcr-differs",
     word_kind::finding,
     cause_class::change,
     "A PCR has another value than expected",
     "The PCR that is named holds another value than the PMF or the event log says. Behind \"Expected\" "
     "stands which of them.",
     "An update, a changed setting or another boot device since the sealing; an attack on firmware or boot "
     "loader; or, against the log, something that was measured and not logged.",
     {"Find the event that differs: `vellum --compare_log --reference_tpm_log_file=KNOWN_GOOD "
      "--compared_pcrs=NUMBER`. PCR 0 and 2 stand for firmware and cards, 1 and 3 for their settings, 4 for "
      "the boot loader, 5 for partition table and seal, 7 for Secure Boot, 11 for the start of the system. "
      "Undo what was changed, or have the device sealed with a new PMF. If \"Expected(TPM Log)\" is named, "
      "the log itself is not what was measured: restart and validate at once.",
      person::administrator}},
    {"event-digest-differs",
     word_kind::finding,
     cause_class::tampering,
     "The data of an event do not have its digest",
     "An event that the stages rely on carries data whose digest is not the one that was measured. The event "
     "is not used.",
     "Somebody changed the data in the log, or the firmware measures another form of them.",
     {"Do not trust this boot; restart without foreign media and validate again. `vellum-lab inspect "
      "eventlog FILE` shows event and digest. If each device of this model does it, the manufacturer has to "
      "correct the firmware.",
      person::security_officer}},
    {"separator-missing", word_kind::finding, cause_class::firmware, "PCR 5 has no separator",
     "No event of the type EV_SEPARATOR is in PCR 5, so that it cannot be said where the firmware's own "
     "measurements end.",
     "The firmware does not measure it, or somebody changed the type of the event.", seal_event_remedy},
    {"separator-digest-missing", word_kind::finding, cause_class::firmware,
     "PCR 5 has no event with a separator's digest", "No event in PCR 5 has the digest that a separator has.",
     "The firmware measures another separator, or it was removed from the log.", seal_event_remedy},
    {"separator-digest-early", word_kind::finding, cause_class::tampering,
     "An event of another type has a separator's digest",
     "Before the separator of PCR 5 there is an event with a separator's digest and another type. The stage "
     "passes with a warning.",
     "Somebody ended the firmware's measurements early and hid it behind another type.", forgery_remedy},
    {"separator-forged", word_kind::finding, cause_class::tampering, "The separator of PCR 5 is a forgery",
     "The event with the type of a separator has another digest: the type is not measured, and was written "
     "to deceive.",
     "Somebody changed the type of an event in the log.", forgery_remedy},
    {"seal-event-missing", word_kind::finding, cause_class::firmware, "The seal was not measured",
     "PCR 5 of the event log has no seal event, so that nothing proves the firmware's seal in this boot.",
     "The firmware of this model does not measure the seal, the feature is off, or the log was changed.",
     seal_event_remedy},
    {"seal-event-size", word_kind::finding, cause_class::firmware, "The seal event has an impossible size",
     "The data of the seal event do not have the form of a firmware variable, as a length in them does not "
     "fit.",
     "The firmware measures another form, or somebody measured a false seal event.", seal_event_remedy},
    {"seal-event-variable-size", word_kind::finding, cause_class::firmware, "The seal event is too short",
     "The data of the seal event are shorter than the seal data that they must hold.",
     "The firmware measures another form, or somebody measured a false seal event.", seal_event_remedy},
    {"seal-event-after-separator", word_kind::finding, cause_class::tampering,
     "The seal was measured after the separator",
     "The seal event stands behind the separator of PCR 5, so that a program that ran after the firmware can "
     "have measured it.",
     "A program measured a seal of its own; or the firmware measures it too late.", forgery_remedy},
    {"seal-event-after-separator-digest", word_kind::finding, cause_class::tampering,
     "A separator's digest stands before the seal",
     "Before the seal event there is an event with a separator's digest and another type. The stage passes "
     "with a warning.",
     "Somebody ended the firmware's measurements before the seal and hid it behind another type.", forgery_remedy},
    {"gpt-event-missing",
     word_kind::finding,
     cause_class::firmware,
     "The partition table was not measured",
     "PCR 5 of the event log has no event of the partition table (EV_EFI_GPT_EVENT), so that nothing proves "
     "which partitions the disk had at boot.",
     "The device did not boot from a disk with a GPT, as over the network or from a disk with the old table; "
     "or the firmware does not measure it.",
     {"Boot the device from its own disk with a GPT, not from the network or another medium, and validate "
      "again. If it did so, the firmware does not measure the table: the manufacturer has to correct that. "
      "`vellum-lab inspect eventlog FILE` shows the events of PCR 5.",
      person::administrator}},
    {"gpt-event-too-short", word_kind::finding, cause_class::firmware,
     "The event of the partition table is too short", "The data of the event end before the number of partitions.",
     "The firmware measures another form, or somebody measured a false event.", seal_event_remedy},
    {"gpt-event-size", word_kind::finding, cause_class::firmware, "The event of the partition table has another size",
     "The size of the event's data is not the one that follows from its number of partitions.",
     "The firmware measures another form, or somebody measured a false event.", seal_event_remedy},
    {"startup-locality-not-ironwall",
     word_kind::finding,
     cause_class::tampering,
     "The TPM was not started at locality 3",
     "Ironwall demands that the TPM was started at locality 3. The locality that the event log tells is "
     "shown; without such an event it is 0.",
     "Ironwall is off in the firmware setup, this model does not have it, or the device was started in a way "
     "that goes around it.",
     {"Switch Ironwall on in the firmware setup and restart from power-off; set `IronwallEnabled=0` only for "
      "models without it. If the setting is untouched, do not trust this boot.",
      person::administrator}},
    {"gpt-event-entries-malformed",
     word_kind::finding,
     cause_class::tampering,
     "The measured partitions do not fill their event",
     "The event of the partition table names another number of partitions than its data hold, so that none of "
     "them is compared.",
     "Somebody measured a false event, or the firmware measures another form.",
     {"Do not trust this boot; restart without foreign media and validate again. `vellum-lab inspect eventlog "
      "FILE` reads the partitions from the event. If each device of this model does it, the manufacturer has "
      "to correct the firmware.",
      person::security_officer}},
    {"seal-option-invalid", word_kind::finding, cause_class::tampering, "A measured option is neither on nor off",
     "In the seal configuration that this boot measured, the option that is named has another value than 0 "
     "and 1, so that it cannot be compared.",
     "A program measured a forged seal event, or the firmware measures something else than its configuration.",
     sealed_option_remedy},
    {"sealed-option-differs", word_kind::finding, cause_class::tampering,
     "A measured option is not the one of the firmware",
     "In the seal configuration that this boot measured, the option that is named has another value than the "
     "firmware tells now. Both are shown.",
     "A program measured a forged seal event, the configuration was changed after the boot, or the firmware "
     "measures something else than its configuration.",
     sealed_option_remedy},
};

}  // namespace

std::span<const words> pcrs_words() {
    return rows;
}

}  // namespace vellum
