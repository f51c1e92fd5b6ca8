// What can be wrong with a quote, and with the recording that it comes in.
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy capture_again = {
    "Capture the device again with a new nonce, `vellum-report capture DIR --nonce HEX`, and verify that recording. "
    "Send the folder as it is, with all files below `tpm`. If it comes damaged again, look at the way that it takes; "
    "if it is whole on the device, have the device examined.",
    person::administrator};

constexpr remedy examine = {
    "Treat the device as compromised until it has been examined. Start it from media that you trust, capture it "
    "there with a new nonce and verify that recording. What passes there and fails here was changed on the device or "
    "on the way.",
    person::security_officer};

constexpr words rows[] = {
    {"evidence-missing",
     word_kind::finding,
     cause_class::environment,
     "The recording lacks a part of the quote",
     "A recording can be verified only with what the TPM signed: `tpm/quote.bin`, `tpm/quote.sig` and `tpm/ak.pub`. "
     "Without them everything in it is the device's word.",
     "It was captured without a nonce, the TPM could not quote, or a file was lost on the way.",
     {"Capture the device with a nonce, `vellum-report capture DIR --nonce HEX`, and look for lines \"not recorded\". "
      "One about `tpm/quote.bin` says what the TPM refuses: where the authorization of its endorsement hierarchy is "
      "set, have who knows it empty it for the capture, or clear the TPM, which takes the keys of other programs with "
      "it; a TPM 1.2 cannot quote so.",
      person::administrator}},
    {"evidence-recording-unreadable", word_kind::finding, cause_class::tampering, "The recording cannot be read",
     "A file of the recording holds what no capture writes, or is a link that leads out of it. So nothing in it was "
     "looked at, and whatever was accepted before says nothing of the device now.",
     "The recording was damaged on the way, or somebody wants an earlier verdict to stay.", capture_again},
    {"evidence-malformed", word_kind::finding, cause_class::tampering, "A part of the quote is not well-formed",
     "A file of the quote is cut, goes on behind its end, or is no structure of a TPM. A TPM makes no such file.",
     "The file was damaged on the way, or somebody wrote it.", capture_again},
    {"evidence-pcrs-missing", word_kind::finding, cause_class::environment,
     "The recording lacks the values of the PCRs",
     "A quote signs a digest of the PCRs; their values have to come with it, in `tpm/pcrs.bin`, 24 times 32 bytes.",
     "The file was lost or cut on the way, or the TPM has no SHA-256 bank.", capture_again},
    {"evidence-names-tpm",
     word_kind::finding,
     cause_class::configuration,
     "The recording names a TPM in place of values",
     "`tpm/tcti` sends whoever replays the recording to a TPM of its choice. What that answers has nothing to do with "
     "the quote, and it is not asked.",
     "The recording was written by hand for a trial, or somebody wants another TPM to be believed.",
     {"Capture that recording with a nonce, `vellum-report capture DIR --nonce HEX --device RECORDING`, and verify "
      "what comes of it. Where nobody put the file there on purpose, have the device examined.",
      person::administrator}},
    {"evidence-key-unsuitable",
     word_kind::finding,
     cause_class::tampering,
     "The key can sign what no TPM has said",
     "A quote proves something only when its key signs nothing but what its own TPM says: restricted, fixed to the "
     "TPM and its parent, made inside, for signing alone. This one is made from another template.",
     "The quote was made by another program with a key of its own, or by somebody who holds the key.",
     {"Capture the device with `vellum-report capture DIR --nonce HEX`, which makes the right key. If the quote came "
      "from there, somebody exchanged it on the way: have the device examined.",
      person::security_officer}},
    {"evidence-key-differs",
     word_kind::finding,
     cause_class::tampering,
     "The quote is by the key of another TPM",
     "The name of the key, a digest of all that it is, is not that of the identity. Whatever was signed was not "
     "signed by the TPM of the device that was enrolled.",
     "The file of another device was named with `--identity`; the TPM was exchanged, or the main board with it, or got "
     "a new endorsement seed, which clearing it does not give; or another machine answers in place of the device.",
     {"Check that the identity is that of this device. After a repair that exchanged the TPM or the board, capture "
      "the device in its good state and enrol it again with `vellum-report enrol`; without such a repair, have the "
      "device examined.",
      person::security_officer}},
    {"evidence-signer-differs", word_kind::finding, cause_class::tampering,
     "The quote names another signer than its key",
     "The TPM writes into each quote which key signs it, and under which hierarchy that key stands. It is not the key "
     "that came with the quote, at the top of the endorsement hierarchy.",
     "Parts of two quotes were put together, or the quote was made by another program.", examine},
    {"evidence-nonce-differs",
     word_kind::finding,
     cause_class::tampering,
     "The quote answers another nonce",
     "The nonce proves that the quote was made after it was asked for. This one was made for another question, "
     "perhaps long ago.",
     "An earlier recording was sent in place of a new one, or the nonces of two devices were confused.",
     {"Capture the device again with a new nonce, `vellum-report capture DIR --nonce HEX`, and verify with that one. "
      "Never use a nonce twice, and take each from a random source. If the wrong nonce comes again, somebody replays "
      "an old recording: have the device examined.",
      person::security_officer}},
    {"evidence-not-quoted", word_kind::finding, cause_class::tampering, "What is signed is not a quote",
     "Everything that a TPM signs about itself begins with a mark that a restricted key signs in no other case, and "
     "says what it is. This does not bear the mark, or is another statement than one about PCRs.",
     "Somebody built the file, or took another statement of the TPM for a quote.", examine},
    {"evidence-pcrs-not-covered", word_kind::finding, cause_class::tampering, "The quote is not about all PCRs",
     "A quote has to be about PCRs 0 to 23 of the SHA-256 bank. Of others, or of fewer, it does not prove what a "
     "validation looks at.",
     "The quote was made by another program with another selection, or somebody left out what would tell.",
     capture_again},
    {"evidence-pcrs-differ", word_kind::finding, cause_class::tampering,
     "The values of the PCRs are not those signed",
     "The TPM signed the digest of other values than `tpm/pcrs.bin` holds.",
     "Somebody wrote values that would pass; or the file is of another boot than the quote.", examine},
    {"evidence-signature-invalid", word_kind::finding, cause_class::tampering,
     "The signature of the quote is not valid",
     "The key in `tpm/ak.pub` did not sign the quote in `tpm/quote.bin`. Nothing in the quote is proved.",
     "The quote, its signature or the key was changed or exchanged.", examine},
    {"evidence-device-id-differs",
     word_kind::finding,
     cause_class::change,
     "The device is another than the identity names",
     "The seal log in the recording names another Device ID than was enrolled, or none.",
     "The file of another device was named with `--identity`, or the device was sealed again with another Device ID.",
     {"Check that the identity is that of this device, as its field \"device_id\" says. After a new sealing, enrol "
      "the device again with `vellum-report enrol`; without one, have it examined.",
      person::security_officer}},
};

}  // namespace

std::span<const words> evidence_words() {
    return rows;
}

}  // namespace vellum
