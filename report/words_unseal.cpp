// Unsealing, and what the whole run has to say.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr words rows[] = {
    {"unseal-already-inactive",
     word_kind::finding,
     cause_class::change,
     "The device is unsealed already",
     "The feature is inactive, so there is nothing to end. Nothing was sent.",
     "It was unsealed before, or was never sealed.",
     {"Nothing is to be done for unsealing; to use the protection again, have the device sealed. If nobody "
      "unsealed it, find out from the seal log (`kxl.log`, \"Seal Disabled\") when that happened.",
      person::administrator}},
    {"unseal-disk-locked",
     word_kind::finding,
     cause_class::change,
     "Unsealing would leave the disk locked",
     "SED lock is on, and the seal log does not tell that the disk was unlocked. Unsealing now could make "
     "its data unreachable, so nothing was sent.",
     "The disk was not unlocked in this seal's life, or its records are missing.",
     {"Unseal with the manufacturer's sealing tool, which also unlocks the disk. After a boot in which the "
      "disk was unlocked `vellum --unseal` works too: the seal log must hold \"Disk Lock Removal\" or \"Disk "
      "Lock Not Present\".",
      person::administrator}},
    {"unseal-reason-invalid",
     word_kind::finding,
     cause_class::configuration,
     "The reason for unsealing is not 0, 1 or 2",
     "The number behind `--reason` is none that the firmware knows. Nothing was sent.",
     "A spelling mistake in the command line.",
     {"Give one of these: `--reason=0` attestation successful, `--reason=1` attestation error, `--reason=2` "
      "seal aborted.",
      person::administrator}},
    {"unseal-state-undefined", word_kind::finding, cause_class::firmware, "The feature is in an undefined state",
     "The firmware names a state of the feature that is none of inactive, configured and active. Nothing was "
     "sent.",
     "Another version of the firmware, or a damaged answer.", firmware_retry_remedy},
    {"stage-state-unknown", word_kind::finding, cause_class::environment, "A stage ended in no known state",
     "The results of the stages could not be counted. There is no verdict.", program_fault_cause,
     program_fault_remedy},
    {"run-broken-off", word_kind::finding, cause_class::environment, "The run was broken off",
     "Something went wrong that belongs to no known kind of failure, and the run ended at once. The finding "
     "shows the text of it.",
     program_fault_cause, program_fault_remedy},
    {"digest-not-computed", word_kind::finding, cause_class::environment, "A digest could not be computed",
     "The library did not compute a digest that the stage needs. The finding says at which step.",
     "The memory is not enough, or a policy of the system forbids SHA-256 or SHA-384.", cryptography_remedy},
};

}  // namespace

std::span<const words> unseal_words() {
    return rows;
}

}  // namespace vellum
