// What an observer learns of a run, and that the run is the same without one.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "app/run_observer.h"
#include "app/stages.h"
#include "app/validation_state.h"
#include "base/text.h"
#include "core/digest.h"
#include "lab/device.h"
#include "lab/faults.h"
#include "tests/app/recorded_run.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

// The findings of each stage, and what it judged.
class watcher final : public run_observer {
  public:
    std::map<std::size_t, std::vector<finding>> findings;
    stage_set failed = 0;
    std::vector<std::uint8_t> seal_records;
    int code = -1;

    void started(const command_options&) override {}
    void stage_started(std::size_t) override {}
    void stage_ended(const ended_stage& stage) override {
        findings[stage.slot] = kept_findings();
        failed |= stage.state == STAGE_FAILED ? slots(stage.slot) : 0;
    }
    void concluded(const validation_state& state) override {
        seal_records = state.seal_log ? state.seal_log->record_bytes : seal_records;
    }
    void ended(int exit_code, bool) override { code = exit_code; }

    // The fields of the only finding with the identifier; empty when there is none, or more.
    std::map<std::string, std::string> fields_of(std::size_t slot, std::string_view id) const {
        std::map<std::string, std::string> fields;
        int met = 0;
        for (const finding& each : findings.at(slot)) {
            met += each.id == id ? 1 : 0;
            for (const finding_field& field : each.id == id ? each.fields : std::vector<finding_field>()) {
                fields[field.name] = field.value;
            }
        }
        return met == 1 ? fields : std::map<std::string, std::string>();
    }
};

// A sealed device with the fault, on disk.
struct faulty_device {
    explicit faulty_device(const lab::fault& fault) {
        lab::device_plan plan;
        lab::device made;
        if (fault.plan != nullptr) {
            fault.plan(plan);
        }
        EXPECT_EQ(lab::make_device(plan, made), result::success);
        if (fault.since != nullptr) {
            fault.since(made);
        }
        EXPECT_EQ(lab::write_device(made, dir.path().string()), result::success);
    }

    // What is printed, and behind it the log file.
    test::outcome validate(run_observer* observer) const {
        const std::string log = dir.file("kxl.log");
        test::outcome seen = test::run_words(
            dir.path().string(), {"vellum", "--validate", "-c", dir.file("kxl.ini"), "-v", "2", "-l", "3", "-o", log},
            [](const platform& recorded) { return recorded; }, observer);
        seen.text += test::read_text(log);
        std::filesystem::remove(log);
        return seen;
    }

    test::temp_dir dir;
};

watcher watched(const char* fault) {
    watcher seen;
    faulty_device(*lab::find_fault(fault)).validate(&seen);
    return seen;
}

TEST(ObservedRun, SaysTheSameAndLeavesNoFailureUnexplained) {
    for (const lab::fault* fault : lab::all_faults()) {
        const faulty_device device(*fault);
        watcher seen;
        const test::outcome alone = device.validate(nullptr);
        const test::outcome observed = device.validate(&seen);
        EXPECT_NE(alone.text.find("Command line arguments"), std::string::npos) << "no log file: " << fault->name;
        EXPECT_EQ(observed.text, alone.text) << fault->name;
        EXPECT_EQ(observed.code, alone.code) << fault->name;
        EXPECT_EQ(seen.code, alone.code) << fault->name;
        for (const auto& [slot, findings] : seen.findings) {
            EXPECT_TRUE((seen.failed & slots(slot)) == 0 || !findings.empty()) << fault->name << ", stage " << slot;
        }
    }
}

TEST(ObservedRun, LearnsBothValuesWhereNothingIsPrinted) {
    struct {
        const char* fault;
        std::size_t slot;
        const char* id;
        std::map<std::string, std::string> fields;
    } const rows[] = {
        {"seal-key-id", SLOT_SEAL_SIGNATURE, "seal-key-id-differs", {{"expected", "0-65534"}, {"actual", "65535"}}},
        {"tl3-key-id", SLOT_SEAL_SIGNATURE, "tl3-key-id-differs", {{"expected", "65535"}, {"actual", "7"}}},
        {"tl3-key-byte",
         SLOT_SEAL_SIGNATURE,
         "tl3-key-differs",
         {{"offset", "300"}, {"expected", "0"}, {"actual", "1"}}},
        {"sealed-option-value",
         SLOT_SEALED_CONFIG,
         "sealed-option-differs",
         {{"name", "BIOS Lock enabled"}, {"expected", "2"}, {"expected_source", "TPM Log"}, {"actual", "1"}}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(watched(row.fault).fields_of(row.slot, row.id), row.fields) << row.fault;
    }
}

TEST(ObservedRun, LearnsTheKeyThatIsNone) {
    auto fields = watched("seal-key").fields_of(SLOT_SEAL_SIGNATURE, "seal-key-differs");
    EXPECT_EQ(fields["expected"], "public RSA key of 2048 bits, DER");
    EXPECT_EQ(fields["actual"].substr(0, 4), "cf82");  // 30 82 begins a key
    EXPECT_EQ(fields["actual"].size(), 2 * std::stoul(fields["size"]));
}

TEST(ObservedRun, LearnsTheDigestsThatDiffer) {
    auto level_3 = watched("tl3-digest").fields_of(SLOT_SEAL_SIGNATURE, "tl3-digest-differs");
    ASSERT_EQ(level_3["expected"].size(), 64U);
    EXPECT_NE(level_3["expected"], level_3["actual"]);
    EXPECT_EQ(level_3["expected"].substr(2), level_3["actual"].substr(2));

    // The record that was added after the boot is the last one.
    const watcher seen = watched("seal-log-record");
    const auto padded_digest = [](byte_view records) {
        sha256_value digest{};
        EXPECT_EQ(sha256(records, digest), result::success);
        return lower_hex(digest) + std::string(64, '0');
    };
    auto records = seen.fields_of(SLOT_SEAL_LOG_HASH, "seal-record-hash-differs");
    EXPECT_EQ(records["actual"], padded_digest(seen.seal_records));
    EXPECT_EQ(records["expected"],
              padded_digest(byte_view(seen.seal_records).first(seen.seal_records.size() - seal_record_size)));
}

TEST(ObservedRun, LearnsWhereTwoLogsDiffer) {
    const faulty_device device(*lab::find_fault("boot-loader"));
    const faulty_device good(*lab::find_fault("bios-version"));
    watcher seen;
    test::run_recorded(
        device.dir.path().string(),
        {"--compare_log", "--reference_tpm_log_file=" + good.dir.file("tpm/event_log.bin"), "--compared_pcrs=4"},
        [](const platform& recorded) { return recorded; }, &seen);
    auto values = seen.fields_of(SLOT_REFERENCE_LOG, "log-pcr-compared");
    auto event = seen.fields_of(SLOT_REFERENCE_LOG, "log-event-differs");
    EXPECT_EQ(values["pcr"] + event["pcr"], "44");
    EXPECT_EQ(event["event_type"], "EV_EFI_BOOT_SERVICES_APPLICATION");
    EXPECT_EQ(event["expected_event_type"], "EV_EFI_BOOT_SERVICES_APPLICATION");
    EXPECT_EQ(event["position"], event["expected_position"]);
    for (const auto& fields : {values, event}) {
        EXPECT_EQ(fields.at("actual").size(), 64U);
        EXPECT_EQ(fields.at("expected").size(), 64U);
        EXPECT_NE(fields.at("actual"), fields.at("expected"));
    }
}

TEST(ObservedRun, LearnsWhatALineIsAbout) {
    const auto has = [](const watcher& seen, std::size_t slot, const char* id, const char* name, const char* value) {
        for (const finding& each : seen.findings.at(slot)) {
            for (const finding_field& field : each.fields) {
                if (each.id == id && field.name == std::string_view(name) && field.value == value) {
                    return true;
                }
            }
        }
        return false;
    };
    EXPECT_TRUE(has(watched("boot-loader"), SLOT_PCRS_MATCH_PMF, "pcr-differs", "pcr", "4"));
    EXPECT_TRUE(has(watched("os-build"), SLOT_SYSTEM_INFO, "os-build-differs", "expected_source", "PMF"));
    EXPECT_TRUE(has(watched("seal-log-twice"), SLOT_SEAL_LOG, "seal-record-repeated", "record", "5"));
    EXPECT_TRUE(has(watched("no-orbis-structure"), SLOT_PLATFORM_INFO, "smbios-structure-missing", "value", "131"));
    EXPECT_TRUE(has(watched("partition-type"), SLOT_PARTITIONS, "partition-guid-differs", "partition", "1"));
    EXPECT_TRUE(has(watched("late-seal-event"), SLOT_PRE_OS_SEAL, "seal-event-after-separator", "pcr", "5"));
    EXPECT_TRUE(has(watched("pmf-version"), SLOT_RETRIEVE_PMF, "pmf-header-version", "expected", "65536"));
}

}  // namespace
}  // namespace vellum
