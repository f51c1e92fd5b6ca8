// What a person should know of a validation whose stages do not count it.
#include "report/words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr words rows[] = {
    {"pcr-not-in-pmf",
     word_kind::caution,
     cause_class::configuration,
     "The PMF leaves out PCR 4, 7 or 11",
     "PCR 4 holds the boot loader, PCR 7 the Secure Boot state, PCR 11 the start of the system. A PCR that "
     "the PMF does not list is not judged: what it measures may change unseen.",
     "The PMF was made with a short list of PCRs, as some values change from boot to boot on this model.",
     {"Have the next PMF list PCRs 0 to 4, 6, 7 and 11, as far as they stay the same on this model, and seal "
      "with it. `vellum-lab seal RECORDING DIR --pcrs 0-4,6,7,11` makes one for trials. Until then compare "
      "with a known-good boot: `vellum --validate --reference_tpm_log_file=KNOWN_GOOD`.",
      person::pmf_maker}},
    {"gpt-event-after-separator",
     word_kind::caution,
     cause_class::firmware,
     "The partition table was measured after the separator",
     "The event of the partition table stands behind the separator of PCR[5]. Any program that ran later "
     "could have measured it.",
     "Some firmware measures the table late. A boot loader that measures a false table would look the same.",
     {"Compare with the log of a known-good boot of this model: `vellum --validate "
      "--reference_tpm_log_file=KNOWN_GOOD`. If its event stands at the same place, this firmware measures "
      "late. The stage \"PMF Disk Measurements matches the platform\" judges the disk itself in either case.",
      person::administrator}},
    {"several-seal-events",
     word_kind::caution,
     cause_class::tampering,
     "There are several seal events",
     "PCR[5] of the event log holds more than one event that looks like the seal's. The first counts.",
     "A program measured a second seal event to see which of them is believed, or the firmware measures it "
     "twice.",
     {"Read both events with `vellum-lab inspect eventlog FILE`; if they differ, do not trust this boot. "
      "Restart without foreign media and validate again. Equal events at each boot are a habit of the "
      "firmware, which the manufacturer can confirm.",
      person::security_officer}},
    {"event-not-proved",
     word_kind::caution,
     cause_class::tampering,
     "The data of an event are not proved by its digest",
     "Only the digest of an event is measured. The data beside this one do not have that digest, so anybody "
     "could have written them.",
     "Many kinds of events measure something else than their data, such as a program for whose name they "
     "stand. For others it is a sign that the log was changed.",
     {"Take what this event says as a hint only, and rely on its digest. Compare the digest with that of a "
      "known-good boot: `vellum --compare_log --reference_tpm_log_file=KNOWN_GOOD`. The type of an event is "
      "never measured.",
      person::administrator}},
    {"evidence-log-not-proved",
     word_kind::caution,
     cause_class::environment,
     "A part of the event log is not proved by the quote",
     "The log does not lead to the values of these PCRs that the TPM signed. The PMF does not list them, so no stage "
     "compares them; what the log says of them is the device's word.",
     "The running system extends PCRs without the firmware's log, as Linux does PCR 10 and systemd PCRs 11 and 15. "
     "Events that were invented or left out look the same.",
     {"Take what the log says of these PCRs for a hint only. Where the system extends none of them itself, have the "
      "device examined: `vellum-lab inspect eventlog FILE` shows the events. Have the next PMF list those PCRs that "
      "stay the same on this model.",
      person::security_officer}},
    {"stage-skipped",
     word_kind::caution,
     cause_class::configuration,
     "A stage was skipped behind a PASSED",
     "The verdict is PASSED although a stage was skipped or bypassed. A skipped stage proves nothing, and "
     "what it would have found may be there.",
     "An option such as `--skip_retrieving_pcrs`, `--tpm_event_log_file` or `--bypass_version_check` left it "
     "out.",
     {"Start the validation without the options that skip, and demand \"skipped: 0\" where a program reads "
      "the verdict. Write the command line down as fixed: `vellum --validate -c kxl.ini`.",
      person::configuration_keeper}},
    {"signing-off",
     word_kind::caution,
     cause_class::configuration,
     "Neither seal nor PMF has to be signed",
     "Seal signing is off on the device and PMF signing in the configuration. No signer is asked for: "
     "anybody could have made seal and PMF.",
     "The device was sealed for trials, or the configuration was taken over from them.",
     {"Have the device sealed with both signings on, then set `SealSigningEnabled=1` and "
      "`PMFSigningEnabled=1` in `kxl.ini`. `TrustedCaDir` must name the directory with the CA certificates "
      "of the manufacturer. Set before the sealing, the keys only make the validation fail.",
      person::configuration_keeper}},
    {"pmf-expires-soon",
     word_kind::caution,
     cause_class::expiry,
     "The PMF expires within 30 days",
     "From the day after the PMF's last day on, the stage \"Platform Measurements File trustworthiness "
     "verification\" fails.",
     "PMFs are made for a limited time.",
     {"Have a PMF with a later date made and the device sealed with it before that day. `vellum-lab inspect "
      "pmf --at YYYY-MM-DD FILE` says whether a PMF still passes on a day.",
      person::pmf_maker}},
    {"certificate-expires-soon",
     word_kind::caution,
     cause_class::expiry,
     "A certificate of the PMF's signer expires soon",
     "Within 30 days the time of the signer's certificate ends, or that of a CA certificate above it. With "
     "PMF signing on, the validation fails from then on.",
     "Certificates are issued for a limited time.",
     {"Have the certificate renewed before that day, and the PMF signed again if it is the signer's own. A "
      "PMF that was signed again needs a new sealing; a renewed CA certificate goes into `TrustedCaDir` or "
      "`IntermediateCaDir`. `openssl x509 -noout -enddate -in FILE` shows the end of a certificate, "
      "`vellum-lab inspect pmf -c kxl.ini --at YYYY-MM-DD FILE` what a validation will say.",
      person::pmf_maker}},
    {"pmf-pcr-listed-twice",
     word_kind::caution,
     cause_class::configuration,
     "Of a PCR in the PMF the last value counts",
     "The PMF lists this PCR twice. A validation takes the last value, and who reads the first is misled.",
     "A fault of the program that made the PMF.",
     {"Read the PMF with `vellum-lab inspect pmf FILE`, and have the next one made with each PCR once. Do "
      "not approve such a PMF: its readers and the validation see different values.",
      person::pmf_maker}},
    {"partition-attributes-differ",
     word_kind::caution,
     cause_class::change,
     "A partition has other attributes",
     "The attributes of a partition on the disk, such as hidden or read-only, are not those that this boot "
     "measured. The stages do not compare them.",
     "A disk tool or the system changed the attributes since the boot.",
     {"Look at the attributes with `sgdisk -i NUMBER DISK` or `diskpart`, and restore them if nobody changed "
      "them on purpose. Restart, so that the table is measured again. Attributes decide which partition a "
      "loader starts, so an unexplained change deserves a question.",
      person::administrator}},
    {"partition-unique-guid-differs",
     word_kind::caution,
     cause_class::change,
     "A partition has another GUID of its own",
     "The unique GUID of a partition on the disk is not the one that this boot measured. The stages do not "
     "compare it.",
     "The partition was deleted and made anew, or the disk was cloned.",
     {"Ask who made the partition anew or cloned the disk, and look at its content. `sgdisk -i NUMBER DISK` "
      "shows the GUID. Restart, so that the present table is measured; the files on the partition are judged "
      "only where the PMF names a BOM file.",
      person::administrator}},
    {"seal-log-of-broken-seal",
     word_kind::caution,
     cause_class::tampering,
     "The log of an intact seal tells that it was broken",
     "The firmware calls the seal intact, and its seal log holds a record that it was broken or disabled. "
     "The stages do not hold one against the other.",
     "The device was sealed again and kept its old records; or the state was set back by somebody.",
     {"Compare the time of that record with the time of the last sealing, both in `kxl.log`. If the record "
      "is older, it belongs to an earlier seal. If it is younger, the state cannot be genuine: take the "
      "device out of use.",
      person::security_officer}},
};

}  // namespace

std::span<const words> caution_words() {
    return rows;
}

}  // namespace vellum
