// Whether a quote proves the PCRs of a device: it is held against what is expected of it, check by check, and all of
// the checks that can be done are done, so that everything that is wrong is known at once.
//
// Nothing here logs and nothing is taken from the evidence but what it is: the nonce and the key are the verifier's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "core/findings.h"
#include "core/pcr.h"
#include "tpm/attestation/attestation_key.h"

namespace vellum {

// As it came; what is missing is not there.
struct evidence_files {
    std::optional<std::vector<std::uint8_t>> quote;        // TPMS_ATTEST
    std::optional<std::vector<std::uint8_t>> signature;    // TPMT_SIGNATURE
    std::optional<std::vector<std::uint8_t>> public_area;  // TPMT_PUBLIC
    std::optional<std::vector<std::uint8_t>> pcrs;         // 24 values of the SHA-256 bank
    bool names_tpm = false;  // in place of values: they could be others each time they are asked for
};

// An item that is absent is not checked: a device that is enrolled has no key that is known, and may have no nonce.
struct evidence_expectation {
    std::optional<std::vector<std::uint8_t>> nonce;
    std::optional<std::string> name;  // of the key, lower-case hexadecimal
    std::string public_key;           // PEM, beside the name
};

struct quote_facts {
    std::uint64_t clock = 0;  // milliseconds
    std::uint32_t reset_count = 0;
    std::uint32_t restart_count = 0;
    bool safe = false;
    std::uint64_t firmware_version = 0;
};

struct evidence_judgement {
    std::vector<finding> findings;  // none: accepted
    std::optional<attestation_key> key;
    std::optional<quote_facts> facts;  // of a quote that could be read, proved or not
    pcr_value_list pcrs{};             // those that are proved, when it is accepted
};

// The Device ID in the seal log, as it is printed; both empty: there is none.
struct evidence_device_id {
    std::string source;
    std::string id;
};

// What is wrong with that of a device; nothing when it is the expected one.
std::optional<finding> judge_device_id(const evidence_device_id& expected, const evidence_device_id& actual);

// What is wrong with a recording that cannot be read, for the reason given: one line without a full stop.
finding unreadable_recording(const std::string& why);

evidence_judgement judge_evidence(const evidence_files& files, const evidence_expectation& expected);

}  // namespace vellum
