// The tables of words, one a subject. Who looks something up asks report/words.h.
#pragma once

#include <span>

#include "report/words.h"

namespace vellum {

std::span<const words> stage_words();
std::span<const words> caution_words();
// Findings.
std::span<const words> certificates_words();
std::span<const words> config_words();
std::span<const words> device_id_words();
std::span<const words> disk_words();
std::span<const words> evidence_words();
std::span<const words> firmware_words();
std::span<const words> pcrs_words();
std::span<const words> pmf_words();
std::span<const words> pmf_rules_words();
std::span<const words> platform_words();
std::span<const words> seal_words();
std::span<const words> seal_keys_words();
std::span<const words> seal_log_words();
std::span<const words> tpm_words();
std::span<const words> trust_words();
std::span<const words> unseal_words();

}  // namespace vellum
