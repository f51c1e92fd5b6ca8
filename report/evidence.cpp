#include "report/evidence.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

#include "app/stages.h"
#include "base/path.h"
#include "platform/recorded/record_directory.h"
#include "report/capture.h"
#include "report/device_words.h"

namespace vellum::reporting {
namespace {

// What is read of a file that should be smaller: more than enough to see that it is too large.
constexpr std::size_t max_evidence_file = std::size_t{64} * 1024;

std::optional<std::vector<std::uint8_t>> read_file(const record_directory& record, const char* name) {
    std::vector<std::uint8_t> content;
    return ok(record.read_bounded(name, max_evidence_file, content)) ? std::optional(std::move(content))
                                                                     : std::nullopt;
}

// The stages that must have passed for what a stage looks at to be signed.
constexpr stage_set of_pcrs = slots(SLOT_RETRIEVE_PCRS);
constexpr stage_set of_log = slots(SLOT_RETRIEVE_PCRS, SLOT_LOG_MATCHES_PCRS);
// The type of an event is not signed: what runs later can measure another seal and call the first one something else.
// These tell, without so much as a warning, that the seal was measured before the system was started.
constexpr stage_set of_order = slots(SLOT_PCR5_EVENTS, SLOT_PRE_OS_SEAL);
constexpr stage_set of_seal = of_log | of_order;
// PCR 5 has the hash of the seal log, and the seal log that of the PMF.
constexpr stage_set of_seal_log = of_seal | slots(SLOT_SEAL_LOG_HASH);
constexpr stage_set of_pmf = of_seal_log | slots(SLOT_PMF_HASH);

// Stages that are not here rest on the device's word: on answers of the firmware beyond those hashes, on SMBIOS, on
// files of its volumes.
struct proof {
    std::size_t slot;
    stage_set passed;
    unsigned also = nothing_else;  // signed only where it is not the device's
};
constexpr proof proofs[] = {
    {SLOT_RETRIEVE_PCRS, of_pcrs},
    {SLOT_RETRIEVE_TPM_LOG, of_log, whole_log},
    {SLOT_RETRIEVE_PMF, of_pmf},
    {SLOT_SEALED_DEVICE_ID, of_seal_log},
    {SLOT_SEAL_CONFIG_MATCH, of_pmf | slots(SLOT_SEALED_CONFIG), configuration},
    {SLOT_SEAL_SIGNATURE, of_pmf | slots(SLOT_SEALED_CONFIG), dates | configuration | identity_file},
    {SLOT_PMF_HASH, of_seal_log},
    {SLOT_PMF_TRUST, of_pmf, dates | configuration | certificate_files},
    // Which PCRs it compares is up to the PMF.
    {SLOT_REFERENCE_LOG, of_pmf, configuration | reference_log},
    {SLOT_LOG_MATCHES_PCRS, of_pcrs},
    {SLOT_PCR5_EVENTS, of_log},
    {SLOT_PCRS_MATCH_PMF, of_pmf},
    {SLOT_PRE_OS_SEAL, of_log},
    {SLOT_SEAL_LOG_HASH, of_seal},
    {SLOT_SEALED_CONFIG, of_seal},
    {SLOT_PARTITIONS, of_pmf},
    {SLOT_SEAL_LOG, of_seal_log | slots(SLOT_SEALED_CONFIG), dates},
    {SLOT_IRONWALL, of_log, configuration},
};

[[nodiscard]] bool has_passed(const stage_record& stage) {
    return stage.result == stage_result::passed || stage.result == stage_result::hidden ||
           stage.result == stage_result::warned;
}

stage_set passed_stages(const run_record& record) {
    stage_set passed = 0;
    for (const stage_record& stage : record.stages) {
        const bool clean = stage.result == stage_result::passed;
        const bool warns = (of_order & slots(stage.slot)) != 0;
        passed |= (warns ? clean : has_passed(stage)) ? slots(stage.slot) : 0;
    }
    return passed;
}

// A partition table that was measured behind the separator can have been measured by whatever ran by then.
[[nodiscard]] bool is_table_measured_late(const run_record& record) {
    return std::any_of(record.cautions.begin(), record.cautions.end(), [](const caution_record& caution) {
        return std::string_view(caution.meaning->id) == "gpt-event-after-separator";
    });
}

[[nodiscard]] bool is_proved(std::size_t slot, stage_set passed, unsigned of_device) {
    return std::any_of(std::begin(proofs), std::end(proofs), [&](const proof& row) {
        return row.slot == slot && (row.passed & ~slots(slot) & ~passed) == 0 && (row.also & of_device) == 0;
    });
}

}  // namespace

evidence_files read_evidence(const std::string& recording) {
    const record_directory record(recording);
    evidence_files out;
    out.quote = read_file(record, recorded_quote);
    out.signature = read_file(record, recorded_quote_signature);
    out.public_area = read_file(record, recorded_quote_key);
    out.pcrs = read_file(record, "tpm/pcrs.bin");
    std::error_code error;
    out.names_tpm = std::filesystem::exists(std::filesystem::symlink_status(path_of(record.path("tpm/tcti")), error));
    return out;
}

void mark_what_is_proved(run_record& record) {
    if (!record.evidence || !record.evidence->accepted) {
        return;
    }
    const stage_set passed = passed_stages(record);
    const bool late_table = is_table_measured_late(record);
    for (stage_record& stage : record.stages) {
        const bool judged = has_passed(stage) || stage.result == stage_result::failed;
        if (judged && stage.result != stage_result::hidden) {
            const bool proved = is_proved(stage.slot, passed, record.evidence->of_device) &&
                                !(late_table && stage.slot == SLOT_PARTITIONS);
            stage.rests_on = proved ? "signed" : "device";
        }
    }
}

}  // namespace vellum::reporting
