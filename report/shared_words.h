// Causes and remedies that rows of more than one source share.
#pragma once

#include "report/words.h"

namespace vellum {

inline constexpr const char* program_fault_cause = "A fault of the program: no input should lead here.";

inline constexpr const char* pmf_tool_cause =
    "The program that made the PMF lays it out in another way than this release demands, or the file was "
    "damaged on its way.";

inline constexpr const char* pmf_careless_cause = "The program that made the PMF left bytes in it that mean nothing.";

inline constexpr remedy firmware_retry_remedy = {
    "Shut the device down, switch it on and validate again; wait while a firmware update is running. If it "
    "comes back, install the current firmware and PELI driver of the manufacturer. A device that cannot be "
    "asked counts as failed.",
    person::administrator};

inline constexpr remedy memory_remedy = {
    "Close other programs or raise the memory limit, and start the command again.", person::administrator};

inline constexpr remedy program_fault_remedy = {
    "Start the command again with `-l 3 -o kxl.log`, and report the log file with the command line to who "
    "maintains the program. The verdict of this run does not count.",
    person::program_maintainer};

inline constexpr remedy seal_again_remedy = {
    "Have the device sealed again, and do not trust the present seal. First restart the device and validate "
    "once more, as a damaged answer of the firmware may look the same.",
    person::manufacturer};

inline constexpr remedy pmf_format_remedy = {
    "Have the PMF made again, and let `vellum-lab inspect pmf FILE` call it fit before a device is sealed "
    "with it. If the device was sealed with a PMF that is whole, name a copy of that one: `vellum --validate "
    "-g FILE`. A PMF made anew passes only after the device was sealed with it, as the seal log holds its "
    "hash.",
    person::pmf_maker};

inline constexpr remedy pmf_strict_remedy = {
    "Have the next PMF made without this flaw; `vellum-lab inspect pmf FILE` names all of them. The stage "
    "passes with a warning, and the device may stay in use: the flaw does not weaken what is compared.",
    person::pmf_maker};

inline constexpr remedy pmf_key_remedy = {
    "Have the PMF signed with an RSA key of 2048 bits and the usual exponent 65537, and the device sealed "
    "with it. `vellum-lab inspect pmf FILE` shows the key; `openssl genrsa 2048` makes one.",
    person::pmf_maker};

inline constexpr remedy certificate_dates_remedy = {
    "Have the certificate issued again and the PMF signed with it. `openssl x509 -noout -dates -in FILE` "
    "shows what can be read.",
    person::pmf_maker};

inline constexpr remedy certificate_key_remedy = {
    "Get the certificate that belongs to this PMF from the manufacturer, and do not use the PMF until it "
    "fits. `openssl x509 -noout -pubkey -in FILE` shows the key of a certificate, `vellum-lab inspect pmf "
    "FILE` that of the PMF.",
    person::security_officer};

inline constexpr remedy cryptography_remedy = {
    "Close other programs and validate again; if a policy restricts cryptography on this system, allow RSA, "
    "SHA-256 and SHA-384. Until then the device counts as not validated.",
    person::administrator};

inline constexpr remedy path_remedy = {
    "Correct the path; it begins in the folder where the program is started, not beside `kxl.ini`. It must "
    "lead to an ordinary file that the program may read: `ls -l FILE` or `dir FILE` from that folder shows "
    "it.",
    person::configuration_keeper};

inline constexpr remedy token_remedy = {
    "Correct the token in the path: ::UUID::, ::SERIAL_NUMBER::, ::OEM_DEFINED_LITERAL:: or "
    "::OEM_DEFINED_BLOB::. The last two also need `--external_device_id=ID`. A token begins and ends with "
    "two colons; a path has no other two colons side by side.",
    person::configuration_keeper};

}  // namespace vellum
