// The keys, numbers and digests of the seal signature, and what speaks against an RSA key.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy reseal_untrusted_remedy = {
    "Do not trust this seal: have the device examined, and sealed again by the manufacturer. Before that, "
    "restart it and validate once more, as a damaged answer of the firmware may look the same. Keep the "
    "report and `kxl.log`: it names the field.",
    person::security_officer};

constexpr remedy foreign_key_remedy = {
    "Do not trust what this key signed, the seal or the PMF: the finding beside this one tells which. For "
    "the PMF get the manufacturer's original and validate with it, `vellum --validate -g FILE`; `vellum-lab "
    "inspect pmf FILE` shows its key. For the seal have the device examined, and sealed again with an RSA "
    "key of 2048 bits. If the finding names a step that has nothing to do with a key, close other programs, "
    "allow RSA and SHA-256 on this system and validate again.",
    person::security_officer};

constexpr words rows[] = {
    {"seal-key-id-differs", word_kind::finding, cause_class::tampering,
     "The seal's key identifier is that of a seal without a key",
     "A signed seal of level TL1 names its key by a number up to 65534. This one carries 65535, which stands "
     "for no key.",
     "The seal signature was changed or put together from two seals.", reseal_untrusted_remedy},
    {"seal-key-differs", word_kind::finding, cause_class::tampering,
     "The key beside the seal signature cannot be used",
     "The public key that stands beside the signature of the seal is no RSA key, or its length is not one "
     "that the field can hold. The signature cannot be verified.",
     "The seal signature was changed, or the firmware's storage is damaged.", reseal_untrusted_remedy},
    {"tl3-key-id-differs", word_kind::finding, cause_class::tampering, "A seal without a key has a key identifier",
     "A seal of level TL3 has no key, and its key identifier must be 65535.",
     "The seal signature was changed or put together from two seals.", reseal_untrusted_remedy},
    {"tl3-key-differs", word_kind::finding, cause_class::tampering, "A seal without a key carries key bytes",
     "The room of the public key must be all zeros in a seal of level TL3. It is not.",
     "The seal signature was changed, or the firmware's storage is damaged.", reseal_untrusted_remedy},
    {"tl3-digest-differs", word_kind::finding, cause_class::tampering,
     "The digest in the seal is not that of its content",
     "A seal of level TL3 carries the SHA-256 digest of what it seals. The digest that was computed is "
     "another.",
     "The sealed data or the seal signature were changed, or the firmware's storage is damaged.",
     reseal_untrusted_remedy},
    {"seal-signature-incomplete", word_kind::finding, cause_class::environment, "The seal signature is cut",
     "The firmware's answer was accepted, and has fewer bytes than a seal signature.", program_fault_cause,
     program_fault_remedy},
    {"seal-signature-unverifiable", word_kind::finding, cause_class::environment,
     "The seal signature cannot be verified",
     "The library could not do the work of verifying the seal signature, so that nothing is known of it. The "
     "finding beside it says at which step.",
     "The memory is not enough, or a policy of the system forbids RSA or SHA-256.", cryptography_remedy},
    {"rsa-check-failed", word_kind::finding, cause_class::tampering, "A key of the seal or the PMF cannot be used",
     "A step with the key of the seal or of the PMF failed, and the finding says which: the bytes are no RSA "
     "key, the exponent is none that a key can have, or the library refused.",
     "The key was changed or exchanged, or damaged on its way. A lack of memory, or a policy of the system "
     "that forbids RSA or SHA-256, is rare.",
     foreign_key_remedy},
    {"rsa-key-length-differs", word_kind::finding, cause_class::tampering,
     "A key of the seal or the PMF has another length",
     "Seals and PMFs are signed with RSA keys of 2048 bits. This key has another length. Both are shown.",
     "Somebody put a key of his own in its place, or the manufacturer signed with a key of another size.",
     foreign_key_remedy},
    {"rsa-key-size-without-digest", word_kind::finding, cause_class::environment,
     "There is no digest for a key of this size",
     "The length of the key was accepted, and then no digest was found for it.", program_fault_cause,
     program_fault_remedy},
    {"rsa-signature-error", word_kind::finding, cause_class::tampering, "A signature led the library into an error",
     "While the signature of the seal or of the PMF was verified, the library met an error of its own. The "
     "signature counts as false.",
     "The signature was changed so that it is none, or the memory is not enough.", foreign_key_remedy},
};

}  // namespace

std::span<const words> seal_keys_words() {
    return rows;
}

}  // namespace vellum
