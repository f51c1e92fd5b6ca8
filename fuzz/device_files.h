// How an input of the device target holds a recorded device: a byte that chooses the command line, then its files,
// each as its place in the table below (one byte) and its content behind its length (32 bits, little-endian).
#pragma once

#include <cstdint>

namespace vellum::fuzz {

// Added to the command line: the device is run a second time, which costs as much again.
inline constexpr std::uint8_t run_twice = 0x80;

// What may go into a device. "tpm/tcti" is not among them: it would reach out to a TPM of this machine.
inline constexpr const char* device_files[] = {
    "kxl.ini",
    "tl3_identity.csv",
    "trusted/root.crt",
    "intermediate/line.crt",
    "now",
    "timezone",
    "os_version",
    "smbios.bin",
    "disk/sectors.bin",
    "disk/sector_size",
    "disk/volumes",
    "disk/C/bom/system.bom",
    "tpm/event_log.bin",
    "tpm/pcrs.bin",
    "tpm/version",
    "tpm/no_log_ex",
    "firmware/get_version.bin",
    "firmware/feature_get_state.bin",
    "firmware/gm_file_get.bin",
    "firmware/feature_deactivate.bin",
    "firmware/driver_version",
    "firmware/max_message_length",
    "firmware/client_absent",
    "firmware/faults",
    "firmware/sent/0001.bin",
    "reference.bin",
    "pmf.bin",
};

}  // namespace vellum::fuzz
