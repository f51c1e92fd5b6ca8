// Certificates as they are read: files, directories, dates and keys.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy directory_remedy = {
    "Correct `TrustedCaDir` or `IntermediateCaDir` in `kxl.ini`: the path must lead to a directory that the "
    "program may read. It begins in the folder where the program is started, not beside `kxl.ini`; `ls -l "
    "DIRECTORY` or `dir DIRECTORY` from that folder shows what is there.",
    person::configuration_keeper};

constexpr remedy issue_again_remedy = {
    "Have the certificate issued again for an RSA key of 2048 bits and signed with SHA-256, and the PMF "
    "signed with that key. `openssl x509 -noout -text -in FILE` shows both methods and the key. A PMF that "
    "was signed again needs a new sealing.",
    person::pmf_maker};

constexpr words rows[] = {
    {"certificate-directory-unreadable", word_kind::finding, cause_class::configuration,
     "A directory of certificates cannot be listed",
     "The system did not list the directory that is named, `TrustedCaDir` or `IntermediateCaDir`, so that "
     "none of its certificates is used.",
     "The directory does not exist, its path begins in another folder, or the program may not read it.",
     directory_remedy},
    {"certificate-file-not-loaded",
     word_kind::finding,
     cause_class::configuration,
     "A file in a directory of certificates cannot be read",
     "A `*.crt` file in `TrustedCaDir` or `IntermediateCaDir` could not be read, and is left out. The reason "
     "stands in the finding.",
     "The program may not read the file, or it is larger than a certificate can be.",
     {"Make the file that is named readable for the program, or remove it from the directory. Nothing else is "
      "to be done if the stage passed without it.",
      person::configuration_keeper}},
    {"certificate-file-not-parsed",
     word_kind::finding,
     cause_class::configuration,
     "A file in a directory of certificates is no certificate",
     "A `*.crt` file in `TrustedCaDir` or `IntermediateCaDir` does not begin with a certificate in PEM form, "
     "and is left out. The reason stands in the finding.",
     "The certificate was saved in its binary form, or the file holds something else, such as a key.",
     {"Turn the file that is named into PEM, or remove it from the directory: `openssl x509 -inform DER -in "
      "FILE -out NEW.crt`. A PEM file begins with the line \"-----BEGIN CERTIFICATE-----\". Nothing else is to "
      "be done if the stage passed without it.",
      person::configuration_keeper}},
    {"intermediate-ca-directory-empty",
     word_kind::finding,
     cause_class::configuration,
     "IntermediateCaDir holds no certificate that can be used",
     "The directory does not exist, or none of its `*.crt` files is a certificate in PEM form. The chain is "
     "built without it, which decides nothing by itself.",
     "The path begins in another folder, the files have another ending, or the chain of this manufacturer has "
     "no intermediate certificates.",
     {"Put the manufacturer's intermediate certificates into the directory as PEM files `*.crt`, or leave "
      "`IntermediateCaDir` out where there are none. A certificate in its binary form is converted by `openssl "
      "x509 -inform DER -in FILE -out NEW.crt`.",
      person::configuration_keeper}},
    {"certificate-undecodable", word_kind::finding, cause_class::configuration,
     "The certificate in the PMF cannot be decoded",
     "The bytes in the PMF's room for the certificate do not have the form of one. The reason stands in the "
     "finding.",
     pmf_tool_cause, pmf_format_remedy},
    {"certificate-length-differs", word_kind::finding, cause_class::configuration,
     "Bytes follow the certificate in the PMF",
     "The PMF's room for the certificate holds more bytes than the certificate takes. Both numbers are shown.",
     pmf_tool_cause, pmf_format_remedy},
    {"certificate-time-missing", word_kind::finding, cause_class::configuration,
     "The certificate lacks one of its dates",
     "The first or the last day of the certificate, which is named, is not in it.",
     "The certificate is damaged or was made by an unusual program.", certificate_dates_remedy},
    {"certificate-time-unreadable", word_kind::finding, cause_class::configuration,
     "A date of the certificate has an unusual form",
     "The first or the last day of the certificate, which is named, is no time that can be counted with.",
     "The certificate is damaged or was made by an unusual program.", certificate_dates_remedy},
    {"certificate-key-missing", word_kind::finding, cause_class::configuration,
     "The key of the certificate cannot be used",
     "The public key in the certificate is of a kind that the library does not know, or damaged. Whether the "
     "certificate signs itself cannot be told.",
     "The certificate is for a key of an unusual kind, or is damaged.", issue_again_remedy},
    {"certificate-rsa-key-missing", word_kind::finding, cause_class::configuration,
     "The RSA key of the certificate cannot be used",
     "The certificate says that its key is an RSA key, and the key cannot be taken from it.",
     "The certificate is damaged or was made by an unusual program.", issue_again_remedy},
    {"certificate-signature-unverifiable", word_kind::finding, cause_class::configuration,
     "The certificate's own signature cannot be verified",
     "The certificate names itself as its issuer, and the library could not verify its signature. The reason "
     "stands in the finding.",
     "The method of the signature is unusual, or forbidden on this system.", issue_again_remedy},
    {"header-key-exponent-differs", word_kind::finding, cause_class::tampering,
     "The key of the certificate has another exponent",
     "The exponent of the key in the certificate is not that of the key in the header of the PMF. Both are "
     "shown.",
     "The certificate of another PMF was given, or somebody put a known certificate beside a PMF of his own.",
     certificate_key_remedy},
    {"header-key-modulus-differs", word_kind::finding, cause_class::tampering,
     "The key of the certificate has another modulus",
     "The modulus of the key in the certificate is not that of the key in the header of the PMF: they are "
     "different keys. Both are shown.",
     "The certificate of another PMF was given, or somebody put a known certificate beside a PMF of his own.",
     certificate_key_remedy},
    {"certificate-not-hashed", word_kind::finding, cause_class::environment,
     "The fingerprint of a certificate cannot be computed",
     "The library did not compute the SHA-256 fingerprint of a certificate, so that two of them cannot be "
     "compared.",
     "The memory is not enough, or a policy of the system forbids SHA-256.", cryptography_remedy},
    {"certificate-library-failed", word_kind::finding, cause_class::environment,
     "The chain of certificates could not be begun",
     "The library did not make what it needs to build a chain of certificates. The finding says at which "
     "step.",
     "Other programs take all memory.", memory_remedy},
};

}  // namespace

std::span<const words> certificates_words() {
    return rows;
}

}  // namespace vellum
