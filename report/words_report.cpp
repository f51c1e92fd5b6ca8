// Findings that only a report has: the validation prints no line for them under a stage.
#include "report/words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy reseal_untrusted_remedy = {
    "Do not trust this seal: have the device examined, and sealed again by the manufacturer. Before that, "
    "restart it and validate once more, as a damaged answer of the firmware may look the same. Keep the "
    "report and `kxl.log`: it names the field.",
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
    {"sealed-option-differs",
     word_kind::finding,
     cause_class::firmware,
     "A measured option is neither on nor off",
     "In the seal configuration that this boot measured, an option has another value than 0 and 1, so that "
     "it cannot be compared.",
     "The firmware measured something else than its configuration, or a program measured a forged seal event.",
     {"Look at the seal event with `vellum-lab inspect eventlog FILE` and show its data to the manufacturer "
      "of the firmware. If the device passed before, do not trust this boot: the event is forged rather than "
      "wrong.",
      person::manufacturer}},
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
    {"run-ended-early",
     word_kind::finding,
     cause_class::configuration,
     "The run ended before its first stage",
     "The validation could not begin: the command line, the configuration file or a file that they name was "
     "refused. Nothing was judged.",
     "A spelling mistake in an option or in `kxl.ini`, or a file that is not there.",
     {"Read the last line of the console: it names the option, the line of `kxl.ini` or the file to be "
      "corrected. `vellum` without arguments prints all options; the documented sample `kxl.ini` comes with "
      "the program.",
      person::configuration_keeper}},
    {"run-interrupted",
     word_kind::finding,
     cause_class::environment,
     "The run was ended by a signal",
     "The program was stopped before it had judged everything. There is no verdict: treat the device as not "
     "validated.",
     "Somebody pressed Ctrl-C, the system was shut down, or a time limit ended the program.",
     {"Start the validation again and let it end by itself; give it at least a minute where a limit ends it. "
      "A firmware that does not answer takes ten seconds a command.",
      person::administrator}},
    {"out-of-memory",
     word_kind::finding,
     cause_class::environment,
     "The memory was not enough",
     "The program got no memory from the system and ended or left something out. Treat the device as not "
     "validated.",
     "Other programs take all memory, or a limit is set for this one.",
     {"Close other programs or raise the memory limit, and validate again. In a pre-installation environment "
      "start it before other tools.",
      person::administrator}},
};

}  // namespace

std::span<const words> report_words() {
    return rows;
}

}  // namespace vellum
