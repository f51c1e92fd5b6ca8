// What a run found, as one plain structure that every form of a report is made of.
//
// Texts are UTF-8 and as they came: whoever writes a form cleans or escapes them. Times are seconds since 1970-01-01
// UTC. Identifiers never change their meaning; docs/report.schema.json says what a form in JSON promises.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/findings.h"
#include "core/pcr.h"
#include "report/words.h"
#include "tpm/attestation/evidence.h"

namespace vellum::reporting {

// Grows when a key of the JSON form is renamed, removed or changes its meaning; further keys do not count.
inline constexpr int record_schema_version = 1;

enum class stage_result { not_started, not_applicable, hidden, passed, warned, skipped, failed };

struct finding_record {
    std::string id;
    std::vector<std::string> lines;
    std::vector<finding_field> fields;
    const words* meaning = nullptr;  // null for a message without an identifier
};

struct stage_record {
    std::size_t slot = 0;
    const char* id = "";
    std::string title;  // as the validation displays it
    stage_result result = stage_result::not_started;
    std::string note;
    std::vector<const char*> because_of;  // of a skipped one: the stages at the root of it, by id
    const char* rests_on = nullptr;  // "signed", "device"; null where no evidence was asked for, or nothing judged
    std::int64_t microseconds = 0;
    std::vector<finding_record> findings;
};

enum class run_verdict { passed, failed, skipped, unsealed, ended_early, interrupted, refused };

// What the TPM signed, of a device that is judged elsewhere.
struct evidence_record {
    bool accepted = false;
    evidence_device_id device;  // whose evidence it has to be
    bool own_clock = false;     // dates are judged by the clock of who verifies
    unsigned of_device = ~0U;   // what stages are judged by that is the device's (report/device_words.h)
    std::string nonce;          // that was asked for, lower-case hexadecimal
    std::string key_name;       // of the recording's key, the same; empty, as the next, when there is none
    std::string key_type;
    std::optional<quote_facts> quote;
    std::vector<finding_record> findings;  // why it is refused
};

// A file, as it was right after the run, or what the verdict rests on: an event log, a PMF.
struct input_record {
    const char* what = "";  // "configuration", "pmf", "event_log", ...
    std::string path;       // empty: it came from the machine
    std::uint64_t size = 0;
    std::string sha256;  // lower-case hexadecimal
};

struct seal_event_record {
    std::string name;
    std::int64_t time = 0;
    std::string says;  // may be empty
    std::optional<unsigned> boot_counter;
    std::optional<unsigned> execution_counter;
};

struct device_record {
    std::string id_source;  // of the Device ID
    std::string id;         // printable
    std::string product;
    std::string sku;
    std::string serial;
    std::string uuid;
    std::string bios_version;
    std::string os_version;
    std::string orbis_version;
    std::string firmware_version;
    std::string driver_version;
    std::string feature_state;  // empty: not retrieved, like the next
    std::string seal_state;
    std::vector<seal_event_record> history;
};

struct pcr_record {
    // Of a value that was not retrieved, nothing.
    std::optional<pcr_value> tpm;
    std::optional<pcr_value> log;
    std::optional<pcr_value> pmf;
    std::size_t events = 0;  // that extend it
};

struct event_record {
    std::uint32_t position = 0;  // 1-based, in the log
    std::uint32_t pcr = 0;
    std::string type;
    std::string says;
    const char* proof = "";  // "proved", "claimed", "contradicted", "unextended"
    bool suspect = false;    // of a PCR that differs
};

// What differs between the reference log and that of this boot.
struct difference_record {
    std::uint32_t pcr = 0;
    const char* kind = "";                 // "added", "removed", "changed", "moved", "restated"
    std::optional<std::size_t> reference;  // position, in the reference log
    std::optional<std::size_t> live;       // position, in this boot's
    std::string type;
    std::string reference_says;  // empty: there is none
    std::string live_says;
    std::vector<std::string> changes;  // of a changed one, field by field
};

struct probable_cause_record {
    const char* id = "";
    std::string says;  // what probably happened, and the evidence
    std::string act;   // who should act
};

struct partition_record {
    std::string type;
    std::string name;
    std::string unique_guid;  // empty where the source has none
    std::uint64_t first_lba = 0;
    std::uint64_t last_lba = 0;
    std::uint64_t attributes = 0;
};

struct certificate_record {
    const char* role = "";  // "manufacturer", above it "intermediate", at the end "trusted"
    std::string subject;
    std::string issuer;
    std::string serial;
    std::string sha256;
    std::int64_t not_before = 0;
    std::int64_t not_after = 0;
};

struct pmf_record {
    std::optional<std::int64_t> expires;
    std::vector<certificate_record> signers;  // from the manufacturer upwards, as far as the chain was built
    std::vector<partition_record> partitions;
};

// A remark about the health of the log.
struct remark_record {
    std::string id;
    std::string severity;
    std::string says;
};

// What passed and still deserves a word.
struct caution_record {
    const words* meaning = nullptr;
    std::string says;  // about this device
    std::vector<finding_field> fields;
};

struct run_record {
    std::string tool_version;
    std::string mode = "validate";
    std::vector<std::string> arguments;
    std::string host;
    std::int64_t started = 0;
    std::int64_t microseconds = 0;
    std::string device_folder;  // of a recorded device; empty: the running machine

    run_verdict verdict = run_verdict::ended_early;
    int exit_code = 1;
    const words* cause = nullptr;  // of the finding or stage that the verdict comes from; null when all is well
    std::string cause_says;        // one sentence about it
    std::string signal;            // that interrupted the run

    std::optional<evidence_record> evidence;  // none: it was not asked for
    std::vector<input_record> inputs;
    device_record device;
    std::vector<stage_record> stages;            // in the order in which they run
    std::vector<finding_record> other_findings;  // of no stage
    std::vector<caution_record> cautions;
    std::array<pcr_record, pcr_count> pcrs{};
    std::vector<event_record> events;  // in log order
    std::vector<remark_record> log_health;
    std::vector<difference_record> differences;          // with a reference log
    std::vector<probable_cause_record> probable_causes;  // of these
    std::vector<partition_record> measured_partitions;   // of the boot's GPT event
    pmf_record pmf;
};

}  // namespace vellum::reporting
