// Who signed the PMF, until when it holds, and the facts of the platform that it names.
#include "report/shared_words.h"
#include "report/words_rows.h"

namespace vellum {
namespace {

constexpr remedy trusted_remedy = {
    "Name the directory of the manufacturer's CA certificates in `kxl.ini`: `TrustedCaDir=DIRECTORY`, each "
    "certificate as a PEM file `*.crt`. The path begins where the program is started. `openssl x509 -noout "
    "-text -in FILE` must show \"CA:TRUE\". A certificate in its binary form is converted by `openssl x509 "
    "-inform DER -in FILE -out FILE.crt`.",
    person::configuration_keeper};

constexpr words rows[] = {
    {"pmf-hash-differs",
     word_kind::finding,
     cause_class::change,
     "The PMF is not the one of the sealing",
     "The seal log holds the hash of the PMF that the device was sealed with. This PMF has another.",
     "Another edition of the PMF was named with `-g`, or the PMF in the firmware was replaced.",
     {"Validate with the PMF that the device was sealed with: leave out `-g`, or name that very file. "
      "`sha384sum FILE` shows the hash of a file, to be compared with \"Expected (Seal Log)\". If the "
      "firmware itself holds the wrong one, somebody replaced it: have the device examined.",
      person::administrator}},
    {"pmf-signature-invalid",
     word_kind::finding,
     cause_class::tampering,
     "The signature of the PMF is not valid",
     "The PMF was changed after it was signed, or signed with another key than its header holds.",
     "The file was damaged on its way, or somebody changed what the PMF expects.",
     {"Do not use this PMF: get the manufacturer's original and validate with it, `vellum --validate -g "
      "FILE`. If the original passes, the PMF in the firmware was damaged or changed: have the device "
      "examined and sealed again.",
      person::security_officer}},
    {"pmf-signature-unverifiable", word_kind::finding, cause_class::configuration,
     "The signature of the PMF cannot be verified",
     "The key in the header of the PMF cannot be used, so its signature proves nothing.",
     "The key is not an RSA key of 2048 bits, or the header is damaged.", pmf_key_remedy},
    {"pmf-only-pseudo-signed",
     word_kind::finding,
     cause_class::configuration,
     "The PMF is signed for trials only",
     "PMF signing is on in the configuration, and the PMF carries the mark of a signature that is not meant "
     "for production.",
     "The device was sealed with a PMF for trials.",
     {"Have the PMF signed for production and the device sealed with it; for a trial device set "
      "`PMFSigningEnabled=0` in its own `kxl.ini`. Do not change the `kxl.ini` of production devices.",
      person::pmf_maker}},
    {"pmf-production-signed",
     word_kind::finding,
     cause_class::configuration,
     "PMF signing is off, though the PMF is signed",
     "The PMF is signed for production, and the configuration does not ask for it, so its signer is not "
     "verified. The stage passes with a warning.",
     "`PMFSigningEnabled` is 0 or missing in `kxl.ini`.",
     {"Set `PMFSigningEnabled=1` and `TrustedCaDir` in `kxl.ini`, if the device was sealed with PMF signing "
      "on. If it was sealed with it off, the stage \"Seal Config matches the expected configuration (KXL "
      "Config, PMF)\" would fail: then have the device sealed again.",
      person::configuration_keeper}},
    {"pmf-expired",
     word_kind::finding,
     cause_class::expiry,
     "The PMF has expired",
     "The last day of the PMF is over. Both times are shown.",
     "PMFs are made for a limited time, or the clock of this machine is wrong.",
     {"Have a PMF with a later date made and the device sealed with it; if the current time in the finding "
      "is wrong, set the clock. `vellum-lab inspect pmf FILE` shows the last day. Setting the clock back is "
      "no remedy: it makes every expired PMF and certificate pass.",
      person::pmf_maker}},
    {"pmf-expiry-unknown",
     word_kind::finding,
     cause_class::configuration,
     "The last day of the PMF cannot be told",
     "The PMF's expiry date could not be turned into a time in the time zone of this machine.",
     "The date is beyond what the system's clock can show.",
     {"Have the PMF made with a last day within the next ten years, and the device sealed with it. "
      "`vellum-lab inspect pmf FILE` shows the date.",
      person::pmf_maker}},
    {"pmf-expiry-against-certificate-unknown",
     word_kind::finding,
     cause_class::configuration,
     "PMF and certificate cannot be compared by date",
     "The PMF's expiry date could not be turned into a time, so it is not known which of the two ends first. "
     "The stage passes with a warning.",
     "The date is beyond what the system's clock can show.",
     {"Have the next PMF made with a last day within the next ten years. `vellum-lab inspect pmf FILE` shows "
      "the date.",
      person::pmf_maker}},
    {"certificate-missing",
     word_kind::finding,
     cause_class::configuration,
     "There is no certificate of the PMF's signer",
     "PMF signing is on, and neither the PMF nor the configuration holds the certificate of its signer.",
     "The PMF was made without it, as its certificate is handed out beside it.",
     {"Name the signer's certificate (PEM): `PMFExternalCertificatePath` in `kxl.ini`, or "
      "`--pmf_external_certificate_path=FILE`. The manufacturer hands it out, or makes a PMF that holds it.",
      person::configuration_keeper}},
    {"certificate-malformed", word_kind::finding, cause_class::configuration,
     "What the PMF carries is no certificate", "The certificate in the PMF cannot be decoded, or bytes follow it.",
     pmf_tool_cause, pmf_format_remedy},
    {"certificate-extension-length", word_kind::finding, cause_class::configuration,
     "The room of the certificate has an impossible length",
     "The length of the section for the certificate in the PMF is shorter than its own head.", pmf_tool_cause,
     pmf_format_remedy},
    {"certificate-key-differs",
     word_kind::finding,
     cause_class::tampering,
     "The certificate is for another key",
     "The public key in the certificate is not the one in the header of the PMF, so it says nothing of this "
     "PMF's signer.",
     "The certificate of another PMF was given, or somebody put a known certificate beside a PMF of his own.",
     {"Get the certificate that belongs to this PMF from the manufacturer, and do not use the PMF until it "
      "fits. `openssl x509 -noout -pubkey -in FILE` shows the key of a certificate, `vellum-lab inspect pmf "
      "FILE` that of the PMF.",
      person::security_officer}},
    {"certificate-key-algorithm", word_kind::finding, cause_class::configuration,
     "The certificate is not for an RSA key", "The key in the certificate is of another kind than RSA.",
     "The PMF was signed with a key of another kind.", pmf_key_remedy},
    {"certificate-file-unreadable", word_kind::finding, cause_class::configuration,
     "The certificate file cannot be read",
     "The file of the signer's certificate could not be opened or read. The finding below it says why.",
     "The path in `PMFExternalCertificatePath` is wrong, or relative to another folder.", path_remedy},
    {"certificate-file-malformed",
     word_kind::finding,
     cause_class::configuration,
     "The certificate file is not PEM",
     "The file of the signer's certificate holds no certificate in PEM form.",
     "The certificate was saved in its binary form, or the file holds a key.",
     {"Turn the file into PEM: `openssl x509 -inform DER -in FILE -out FILE.pem`, and name that one. A PEM "
      "file begins with the line \"-----BEGIN CERTIFICATE-----\".",
      person::configuration_keeper}},
    {"certificate-fingerprint-size", word_kind::finding, cause_class::environment,
     "The fingerprints cannot be compared", "The fingerprints of the two certificates have different lengths.",
     program_fault_cause, program_fault_remedy},
    {"certificates-differ",
     word_kind::finding,
     cause_class::configuration,
     "The given certificate is not the one in the PMF",
     "The PMF holds a certificate, and the one behind `PMFExternalCertificatePath` is another.",
     "The path names the certificate of another PMF, or an older one.",
     {"Remove `PMFExternalCertificatePath` from `kxl.ini`, as the PMF brings its certificate; or name the "
      "right file. `openssl x509 -noout -fingerprint -sha256 -in FILE` shows the fingerprint of a file. If "
      "the file is surely the manufacturer's, the PMF is not.",
      person::configuration_keeper}},
    {"certificate-dates-unreadable",
     word_kind::finding,
     cause_class::configuration,
     "The dates of the certificate cannot be read",
     "The certificate's first and last day have a form that cannot be read.",
     "The certificate is damaged or was made by an unusual program.",
     {"Have the certificate issued again and the PMF signed with it. `openssl x509 -noout -dates -in FILE` "
      "shows what can be read.",
      person::pmf_maker}},
    {"certificate-expired",
     word_kind::finding,
     cause_class::expiry,
     "The certificate is outside its dates",
     "The certificate of the PMF's signer is not valid at this time: its last day is over, or its first has "
     "not come. All three times are shown.",
     "Certificates are issued for a limited time, or the clock of this machine is wrong.",
     {"Have the PMF signed with a renewed certificate and the device sealed with it; if the current time in "
      "the finding is wrong, set the clock. Setting the clock back is no remedy: it makes every expired "
      "certificate pass.",
      person::pmf_maker}},
    {"certificate-expires-before-pmf",
     word_kind::finding,
     cause_class::expiry,
     "The certificate ends before the PMF does",
     "The certificate of the signer ends before the PMF's last day. From then on a validation with PMF "
     "signing fails. The stage passes with a warning.",
     "The PMF's last day was chosen without a look at the certificate.",
     {"Have the next PMF end no later than its signer's certificate. `vellum-lab inspect pmf -c kxl.ini --at "
      "YYYY-MM-DD FILE` says whether it passes on a day.",
      person::pmf_maker}},
    {"certificate-expiry-unknown",
     word_kind::finding,
     cause_class::configuration,
     "The end of the certificate cannot be told",
     "The certificate's last day has a form that cannot be read, so it is not known whether it ends before "
     "the PMF. The stage passes with a warning.",
     "The certificate is damaged or was made by an unusual program.",
     {"Have the certificate issued again before PMF signing is switched on. `openssl x509 -noout -dates -in "
      "FILE` shows what can be read.",
      person::pmf_maker}},
    {"certificate-not-self-signed",
     word_kind::finding,
     cause_class::configuration,
     "A PMF for trials is signed with a certificate of a CA",
     "The PMF carries the mark of a signature for trials, and its certificate was issued by a CA. One of the "
     "two is a mistake. The stage passes with a warning.",
     "The PMF was signed with the production key and not marked so.",
     {"Have the PMF signed for production if it is meant for it, else with a certificate that signs itself. "
      "`vellum-lab inspect pmf FILE` shows mark and certificate.",
      person::pmf_maker}},
    {"certificate-self-signing-unknown", word_kind::finding, cause_class::configuration,
     "It is not known whether the certificate signs itself",
     "The key of the certificate cannot be used, so that its own signature cannot be verified. The stage "
     "passes with a warning.",
     "The certificate is for a key of an unusual kind.", pmf_key_remedy},
    {"certificate-trust-failed", word_kind::finding, cause_class::configuration,
     "The trust in the certificate could not be judged",
     "The chain of the certificate could not be built. The finding below it says why.",
     "`TrustedCaDir` is missing in `kxl.ini`, or its directory holds no certificate that can be used.",
     trusted_remedy},
    {"certificate-untrusted",
     word_kind::finding,
     cause_class::tampering,
     "The signer of the PMF is not trusted",
     "The chain of certificates does not lead to a CA certificate in `TrustedCaDir`. The findings below it "
     "show the chain and where it breaks.",
     "A CA certificate is missing in the directories, a certificate has expired, or the PMF was not signed "
     "by the manufacturer.",
     {"Get the manufacturer's CA certificates by a way of your own and put them into `TrustedCaDir` and "
      "`IntermediateCaDir` as `*.crt` files. If those are in place, the PMF is not the manufacturer's: do "
      "not use it. `openssl verify -trusted ROOT.crt -untrusted LINE.crt SIGNER.pem` tries the same chain.",
      person::configuration_keeper}},
    {"certificate-chain",
     word_kind::finding,
     cause_class::configuration,
     "The chain as far as it was built",
     "This finding shows which certificates were found, from the signer upwards. The chain breaks at the one "
     "that the finding beside it names.",
     "It is shown when the chain could not be verified.",
     {"Look at the last certificate of the list: its issuer is the one that is missing, or the one that "
      "another took the name of. A missing intermediate belongs into `IntermediateCaDir`, the topmost into "
      "`TrustedCaDir`.",
      person::configuration_keeper}},
    {"certificate-chain-invalid",
     word_kind::finding,
     cause_class::configuration,
     "A certificate of the chain was refused",
     "The certificate at the depth that is named broke a rule: 0 is the signer, the next its issuer. The "
     "reason stands in the finding.",
     "The issuer is missing, a date has passed, a CA certificate lacks the CA mark, or a signature is false "
     "or weak (SHA-1).",
     {"Do what the reason asks for: add the missing issuer, renew an expired certificate, or have a weak one "
      "issued again. \"certificate signature failure\" means that another took the issuer's name: do not add "
      "anything then, and do not use this PMF. `openssl x509 -noout -text -in FILE` shows dates, issuer and "
      "the CA mark.",
      person::configuration_keeper}},
    {"trusted-ca-directory-not-given", word_kind::finding, cause_class::configuration, "TrustedCaDir is not set",
     "PMF signing is on, and the configuration does not say whom to trust.",
     "`TrustedCaDir` is missing or empty in `kxl.ini`.", trusted_remedy},
    {"trusted-ca-directory-empty", word_kind::finding, cause_class::configuration,
     "TrustedCaDir holds no certificate that can be used",
     "The directory does not exist, or none of its `*.crt` files holds a CA certificate in PEM form.",
     "The path is relative to another folder, the files have another ending, or they are in binary form.",
     trusted_remedy},
    {"trusted-ca-is-no-ca", word_kind::finding, cause_class::configuration,
     "A certificate in TrustedCaDir is no CA certificate",
     "A certificate in the directory may not sign others, so it is left out.",
     "The signer's own certificate was put there in place of its CA's.", trusted_remedy},
    {"trusted-ca-repeated",
     word_kind::finding,
     cause_class::configuration,
     "A CA certificate stands in TrustedCaDir twice",
     "Two files hold the same certificate. The second is left out, which changes nothing.",
     "A file was copied under a second name.",
     {"Remove one of the two files from `TrustedCaDir`; `openssl x509 -noout -fingerprint -sha256 -in FILE` "
      "shows which are the same. Nothing else is to be done.",
      person::configuration_keeper}},
    {"bios-version-differs",
     word_kind::finding,
     cause_class::change,
     "The BIOS has another version",
     "The BIOS version in the SMBIOS tables is not the one in the PMF. Both are shown.",
     "The BIOS was updated or set back.",
     {"Install the BIOS version that the finding names for the PMF, or have the device sealed with a PMF for "
      "the new one. If nobody updated it, take the device out of use: a foreign BIOS can undo all "
      "protections. PCR 0 differs with it.",
      person::administrator}},
    {"product-name-differs",
     word_kind::finding,
     cause_class::change,
     "The device has another product name",
     "The product name in the SMBIOS tables is not the one in the PMF. Both are shown.",
     "The PMF of another model was used, or the mainboard was exchanged.",
     {"Validate with the PMF of this very device; if the mainboard was exchanged, have the SMBIOS fields set "
      "and the device sealed again. `dmidecode -s system-product-name` shows the name on Linux.",
      person::administrator}},
    {"sku-number-differs",
     word_kind::finding,
     cause_class::change,
     "The device has another SKU number",
     "The SKU number in the SMBIOS tables is not the one in the PMF. Both are shown.",
     "The PMF of another variant was used, or the mainboard was exchanged.",
     {"Validate with the PMF of this very device; if the mainboard was exchanged, have the SMBIOS fields set "
      "and the device sealed again. `dmidecode -s system-sku-number` shows the number on Linux.",
      person::administrator}},
    {"orbis-version-differs",
     word_kind::finding,
     cause_class::change,
     "The Orbis firmware has another version",
     "The version of the Orbis firmware in the SMBIOS tables is not the one in the PMF. Both are shown.",
     "The Orbis firmware was updated or set back, often together with the BIOS.",
     {"Install the firmware version that the finding names for the PMF, or have the device sealed with a PMF "
      "for the new one. If nobody updated it, take the device out of use.",
      person::administrator}},
    {"os-build-differs",
     word_kind::finding,
     cause_class::change,
     "The operating system has another version",
     "The version of the running system is not the one in the PMF. Both are shown.",
     "The system was updated, or the validation runs on another system than the sealed one, such as a "
     "pre-installation environment.",
     {"Validate on the system that was sealed, in the version that the PMF names, or have the device sealed "
      "with a new PMF. On Windows `ver` shows the version, on Linux `uname -r`. Hold system updates back on "
      "sealed devices until their PMF is there.",
      person::administrator}},
    {"registry-unreadable",
     word_kind::finding,
     cause_class::environment,
     "The version of the system cannot be read",
     "The system does not tell its version, or its build is no number. The log file names the value.",
     "The program lacks rights, or the system is of an unusual kind.",
     {"Start the program as administrator on Windows 10 or later, or on a Linux whose `uname -r` begins with "
      "three numbers. The log file names the value that is missing.",
      person::administrator}},
    {"smbios-unreadable",
     word_kind::finding,
     cause_class::environment,
     "The SMBIOS tables cannot be read",
     "The firmware's description of the device is missing, not readable, or lacks a field: product name, SKU "
     "number, serial number, or the structure of the Orbis firmware.",
     "The program was not started as administrator, or the manufacturer left the field empty.",
     {"Start the program as administrator; if it still fails, have the manufacturer fill in the field that "
      "the log file names. On Linux `dmidecode -t 1` and `dmidecode -t 131` show the tables.",
      person::administrator}},
};

}  // namespace

std::span<const words> trust_words() {
    return rows;
}

}  // namespace vellum
