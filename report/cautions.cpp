#include "report/cautions.h"

#include <algorithm>
#include <string>

#include "app/stages.h"
#include "core/times.h"
#include "firmware/status.h"
#include "report/device_words.h"
#include "report/verdict.h"

namespace vellum::reporting {
namespace {

constexpr std::int64_t soon = std::int64_t{30} * 24 * 60 * 60;  // seconds
constexpr std::size_t max_unproved_events = 20;                 // one by one

void add(const char* id, std::string says, std::vector<finding_field> fields, run_record& out) {
    out.cautions.push_back({words_of(id), std::move(says), std::move(fields)});
}

// What the boot loader, Secure Boot and disk encryption add: a PMF without them leaves these free to change.
void look_at_listed_pcrs(const validation_state& state, run_record& out) {
    if (!state.pmf) {
        return;
    }
    for (const std::size_t pcr : {4U, 7U, 11U}) {
        if (!out.pcrs[pcr].pmf) {
            add("pcr-not-in-pmf", "The PMF does not list PCR " + std::to_string(pcr) + ".",
                {{"pcr", std::to_string(pcr)}}, out);
        }
    }
    PMF::PCRMetadataFileExtension listed;
    for (const pmf_extension& extension : state.pmf->extensions) {
        if (static_cast<PmfExtensionType>(extension.type) == PmfExtensionType::pcr_metadata) {
            if (decode(extension.bytes, listed)) {
                break;
            }
        }
    }
    std::uint32_t seen = 0;
    for (const auto& entry : listed.entries) {
        const std::uint32_t bit = entry.index < pcr_count ? 1U << entry.index : 0;
        if ((seen & bit) != 0) {
            add("pmf-pcr-listed-twice", "The PMF lists PCR " + std::to_string(entry.index) + " more than once.",
                {{"pcr", std::to_string(entry.index)}}, out);
        }
        seen |= bit;
    }
}

void look_at_pcr5(const validation_state& state, run_record& out) {
    if (!state.live_log) {
        return;
    }
    const pcr5_events& events = state.pcr5;
    if (events.gpt != nullptr && events.separator_by_type != nullptr &&
        events.gpt->log_position > events.separator_by_type->log_position) {
        add("gpt-event-after-separator",
            "Event " + std::to_string(events.gpt->log_position) +
                ", the partition table, stands behind the separator.",
            {{"position", std::to_string(events.gpt->log_position)}}, out);
    }
    std::size_t seals = 0;
    for (const tpm_event& event : state.live_log->chains[5].events) {
        seals += is_seal_event(event) ? 1 : 0;
    }
    if (seals > 1) {
        add("several-seal-events", "PCR 5 has " + std::to_string(seals) + " seal events; the first one counts.", {},
            out);
    }
}

// Events whose digest contradicts what they say, the first of them one by one.
void look_at_proofs(run_record& out) {
    std::size_t count = 0;
    for (const event_record& event : out.events) {
        if (std::string_view(event.proof) == "contradicted" && ++count <= max_unproved_events) {
            add("event-not-proved",
                "The digest of event " + std::to_string(event.position) + " is not that of what it says.",
                {{"position", std::to_string(event.position)}, {"pcr", std::to_string(event.pcr)}}, out);
        }
    }
}

// PCRs that were not compared may have been extended beside the log, or the log may be invented there.
void look_at_signed_log(const validation_state& state, run_record& out) {
    const std::uint32_t beside = pcrs_beside_log(out);
    if (!out.evidence || !state.stages.passed(SLOT_LOG_MATCHES_PCRS) || beside == 0) {
        return;
    }
    const std::string pcrs = pcr_mask_text(beside, ", ");
    add("evidence-log-not-proved", "The log does not replay to what the TPM signed of PCRs " + pcrs + ".",
        {{"pcrs", pcrs}}, out);
}

void look_at_expiry(const char* id, const std::string& what, std::int64_t end, std::int64_t now, run_record& out) {
    if (now <= end && now > end - soon) {
        const std::string time = utc_time_string(end).value_or("soon");
        add(id, what + " expires on " + time + ".", {{"not_after", std::to_string(end)}}, out);
    }
}

void look_at_dates(std::int64_t now, run_record& out) {
    if (out.pmf.expires) {
        look_at_expiry("pmf-expires-soon", "The PMF", *out.pmf.expires, now, out);
    }
    const std::vector<certificate_record>& signers = out.pmf.signers;
    for (const certificate_record& certificate : signers) {
        look_at_expiry("certificate-expires-soon", "The certificate of " + certificate.subject, certificate.not_after,
                       now, out);
    }
}

// What the stages do not compare: how a partition that did not move was made, and what it is marked with.
void look_at_partitions(const validation_state& state, run_record& out) {
    const std::vector<partition_record>& measured = out.measured_partitions;
    for (const gpt_partition& now : state.disk_table.entries) {
        const auto found = std::find_if(measured.begin(), measured.end(), [&now](const partition_record& candidate) {
            return candidate.first_lba == now.first_lba && candidate.last_lba == now.last_lba;
        });
        if (found == measured.end()) {
            continue;
        }
        const partition_record& then = *found;
        const std::string where = "The partition at " + std::to_string(now.first_lba);
        const finding_field place = {"first_lba", std::to_string(now.first_lba)};
        if (guid_text(now.unique_guid) != then.unique_guid) {
            add("partition-unique-guid-differs", where + " has another GUID of its own than this boot measured.",
                {place, {"expected", then.unique_guid}, {"actual", guid_text(now.unique_guid)}}, out);
        }
        if (now.attributes != then.attributes) {
            add("partition-attributes-differ", where + " has other attributes than this boot measured.",
                {place, {"expected", std::to_string(then.attributes)}, {"actual", std::to_string(now.attributes)}},
                out);
        }
    }
}

// What did not take part in a verdict that sounds complete.
void look_at_stages(const validation_state& state, run_record& out) {
    const stage_counts counts = count_stages(out);
    if (counts.failed > 0) {
        return;
    }
    const std::vector<stage_record>& stages = out.stages;
    for (const stage_record& stage : stages) {
        if (stage.result == stage_result::skipped) {
            add("stage-skipped", "\"" + stage.title + "\" was skipped.", {{"stage", stage.id}}, out);
        }
    }
    if (state.options.bypass_version_check) {
        add("stage-skipped", "The firmware's version was not checked.", {{"stage", "firmware-connection"}}, out);
    }
}

void look_at_seal(const validation_state& state, run_record& out) {
    const seal_flag_record& flags = state.config.seal.flags;
    // A comparison of logs reads no configuration.
    if (out.mode == "validate" && flags.seal_signing == 0 && flags.pmf_signing == 0) {
        add("signing-off", "Neither the seal nor the PMF has to be signed.", {}, out);
    }
    if (!state.seal_log || !state.feature_state || state.feature_state->seal_state != seal_state_intact) {
        return;
    }
    std::size_t record = 0;
    for (const seal_record& entry : state.seal_log->records) {
        ++record;
        if (entry.id == SEAL_BROKEN || entry.id == SEAL_DISABLED) {
            add("seal-log-of-broken-seal",
                "Record " + std::to_string(record) + " of the seal log tells of a seal that was " +
                    (entry.id == SEAL_BROKEN ? "broken." : "disabled."),
                {{"record", std::to_string(record)}}, out);
        }
    }
}

}  // namespace

void add_cautions(const validation_state& state, std::int64_t now, run_record& out) {
    look_at_proofs(out);
    if (state.options.mode != run_mode::validate) {
        return;
    }
    look_at_listed_pcrs(state, out);
    look_at_pcr5(state, out);
    look_at_signed_log(state, out);
    look_at_partitions(state, out);
    look_at_dates(now, out);
    look_at_stages(state, out);
    look_at_seal(state, out);
}

}  // namespace vellum::reporting
