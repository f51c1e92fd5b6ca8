// A recording that lacks what a seal needs, or that is not that of a good boot: why is said, and nothing is made.
#include <gtest/gtest.h>

#include <algorithm>

#include "disk/gpt.h"
#include "lab/byte_builder.h"
#include "lab/faults.h"
#include "tests/app/production_line.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

using test::bytes;
using test::read;
using test::seal;
using line = test::production_line;

void write(const line& it, const char* name, std::string_view content) {
    it.root.write(std::string("recording/") + name, content);
}

void cut(const line& it, const char* name, std::size_t size) {
    bytes content = read(it.request.recording + "/" + name);
    content.resize(size);
    it.root.write(std::string("recording/") + name, content);
}

void measure_with_fault(line& it, const char* fault) {
    lab::find_fault(fault)->since(it.machine);
}

bool is_gpt(const lab::log_event& event) {
    return event.pcr == 5 && event.type == EV_EFI_GPT_EVENT;
}

struct refusal {
    const char* name;
    void (*machine)(line&);          // before it is recorded; null: as it stands
    void (*recording)(const line&);  // what becomes of the recording; null: nothing
    const char* said;
};

constexpr refusal refusals[] = {
    {"no separator", [](line& it) { std::erase_if(it.machine.boot.events, test::is_pcr5_separator); }, nullptr,
     "tpm/event_log.bin has no separator of PCR 5 (EV_SEPARATOR), before which the seal is measured."},
    {"another digest of the separator", [](line& it) { measure_with_fault(it, "separator-digest"); }, nullptr,
     "Event with EV_SEPARATOR type in PCR[5] at position"},
    {"a separator's digest before the separator",
     [](line& it) {
         lab::log_event early = lab::separator(5);
         early.type = 0x80000007;
         it.machine.boot.events.insert(it.machine.boot.events.begin() + 1, early);
     },
     nullptr, "tpm/event_log.bin holds events in PCR 5 that a sealed device may not have."},
    {"no partition table measured", [](line& it) { std::erase_if(it.machine.boot.events, is_gpt); }, nullptr,
     "tpm/event_log.bin has no event of the partition table in PCR 5 (EV_EFI_GPT_EVENT)."},
    {"a partition table measured that is cut", [](line& it) { measure_with_fault(it, "short-gpt-event"); }, nullptr,
     "the event of the partition table in tpm/event_log.bin is not as long as its partitions."},
    {"another digest of the partition table", [](line& it) { measure_with_fault(it, "gpt-event-digest"); }, nullptr,
     "tpm/event_log.bin holds events in PCR 5 that a sealed device may not have."},
    {"another partition table than was measured", [](line& it) { it.machine.disk.entries.front().last_lba -= 8; },
     nullptr, "disk/sectors.bin does not hold the partition table that the boot measured."},
    {"a seal behind the separator",
     [](line& it) { it.machine.boot.events.push_back(lab::build(lab::seal_measurement())); }, nullptr,
     "tpm/event_log.bin has a seal that was measured behind the separator of PCR 5."},
    {"a log without SHA-256",
     [](line& it) {
         it.machine.boot.spec_id->banks = {{lab::TPM_ALG_SHA1, 20}};
     },
     nullptr, "does not contain any of the required PCR bank hash algorithms: [SHA-256]."},
    {"a log of the old layout",
     [](line& it) {
         it.machine.boot.spec_id.reset();
         it.machine.boot.events.erase(it.machine.boot.events.begin());
     },
     [](const line& it) {
         std::optional<tpm_events_chains> chains;
         const test::log_session log;
         ASSERT_EQ(parse_tpm_log(read(it.request.recording + "/tpm/event_log.bin"), chains), result::success);
         const bytes pcrs = lab::pcrs_file(replay_pcrs_from_log(*chains));
         it.root.write("recording/tpm/pcrs.bin", pcrs);
     },
     "tpm/event_log.bin is in the SHA-1 layout, without SHA-256 digests."},
    {"a bank that nobody can compute",
     [](line& it) {
         it.machine.boot.spec_id->banks.push_back({0x7777, 8});
     },
     nullptr, "tpm/event_log.bin has a bank of digests that cannot be computed (algorithm 30583)."},
    {"a log that goes on with something else", nullptr,
     [](const line& it) {
         bytes log = read(it.request.recording + "/tpm/event_log.bin");
         log.push_back(0x17);
         it.root.write("recording/tpm/event_log.bin", log);
     },
     "tpm/event_log.bin is damaged behind its last event."},
    {"a log that hides what was started", [](line& it) { measure_with_fault(it, "forged-log"); }, nullptr,
     "tpm/pcrs.bin does not hold what the boot in tpm/event_log.bin measured."},
    {"PCRs that are cut", nullptr, [](const line& it) { cut(it, "tpm/pcrs.bin", 767); },
     "tpm/pcrs.bin does not hold 24 values of 32 bytes."},
    {"a TPM 1.2", nullptr, [](const line& it) { write(it, "tpm/version", "1"); },
     "what came of it does not pass its own validation."},

    {"no Orbis structure", [](line& it) { it.machine.smbios.orbis_identifier = "Xeph"; }, nullptr,
     "smbios.bin and os_version do not say what the platform is."},
    {"no serial number", [](line& it) { it.machine.smbios.serial_number = ""; }, nullptr,
     "smbios.bin and os_version do not say what the platform is."},
    {"a UUID of zeros", [](line& it) { it.machine.smbios.uuid.fill(0x00); }, nullptr,
     "the UUID in smbios.bin is not set; name another source with --device-id."},
    {"a UUID of ones", [](line& it) { it.machine.smbios.uuid.fill(0xFF); }, nullptr,
     "the UUID in smbios.bin is not set; name another source with --device-id."},
    {"a version of the system that no PMF can hold", [](line& it) { it.machine.os_version = "65536.0.1"; }, nullptr,
     "the version in os_version is too large for a PMF."},
    {"a system without a version", nullptr, [](const line& it) { write(it, "os_version", "ten"); }, "os_version"},

    {"no partition", [](line& it) { it.machine.disk.entries.clear(); }, nullptr,
     "the partition table in disk/sectors.bin has no partition."},
    {"a damaged partition table", nullptr, [](const line& it) { cut(it, "disk/sectors.bin", 1024); },
     "disk/sectors.bin has no usable partition table."},
    {"no BOM file", [](line& it) { it.machine.volume_files.clear(); }, nullptr,
     "it does not hold the BOM file C:\\bom\\system.bom; capture it with --file \"C:\\bom\\system.bom\"."},
    {"a BOM file on a volume that is not there", [](line& it) { it.request.boms.front().letter = 'D'; }, nullptr,
     "disk/volumes has no volume of the letter of C:\\bom\\system.bom."},
    {"a volume without a partition", [](line& it) { it.machine.volumes = "C 206848 1026046 C\n"; }, nullptr,
     "no partition has the extent of the volume of C:\\bom\\system.bom."},
    {"two BOM files of one partition", [](line& it) { it.request.boms.push_back(it.request.boms.front()); }, nullptr,
     "a partition is measured by one BOM file, not also by C:\\bom\\system.bom."},
    {"no volumes", nullptr, [](const line& it) { fs::remove(it.request.recording + "/disk/volumes"); },
     "it has no disk/volumes."},

    {"Ironwall without its locality",
     [](line& it) {
         it.machine.boot.events.front() = lab::startup_locality(0);
         it.request.ironwall = true;
     },
     nullptr, "its TPM was not started at locality 3, which --ironwall on demands."},
    {"a seal of tomorrow",
     [](line& it) {
         it.request.day = calendar_day{2026, 3, 3};
     },
     nullptr, "the day of the seal (--day) is in the future of its clock, in the file now."},
    {"a PMF of yesterday",
     [](line& it) {
         it.request.last_day = calendar_day{2026, 3, 1};
     },
     nullptr, "the PMF's last day (--expire) is in the past of its clock, in the file now."},
    {"a clock before 1970", [](line& it) { it.machine.now = -1; }, nullptr,
     "its clock, in the file now, shows a time that no seal log can hold."},
    {"a clock in 2106", [](line& it) { it.machine.now = 0xFFFFFFFF; }, nullptr,
     "its clock, in the file now, shows a time that no seal log can hold."},
    {"a literal that is none",
     [](line& it) {
         it.request.plan.id_source = DeviceIdSource::OEM_DEFINED_LITERAL;
         it.request.external_device_id = "two words";
     },
     nullptr, "the external Device ID cannot be used."},
    {"more partitions than a PMF has room for",
     [](line& it) {
         auto& entries = it.machine.disk.entries;
         for (std::uint64_t at = 2'000'000; entries.size() < 60; at += 16) {
             entries.push_back({.first_lba = at, .last_lba = at + 8});
         }
         lab::gpt_measurement partitions;
         partitions.table = it.machine.disk;
         *std::find_if(it.machine.boot.events.begin(), it.machine.boot.events.end(), is_gpt) = build(partitions);
     },
     nullptr, "what came of it does not pass its own validation."},
    {"no directory", nullptr, [](const line& it) { fs::remove_all(it.request.recording); }, "there is no directory"},
    {"an empty directory", nullptr,
     [](const line& it) {
         fs::remove_all(it.request.recording);
         fs::create_directory(it.request.recording);
     },
     "it has no tpm/event_log.bin, no tpm/pcrs.bin, no smbios.bin, no os_version, no disk/sectors.bin."},
};

TEST(RefusedRecording, SaysWhyAndLeavesNothing) {
    for (const refusal& row : refusals) {
        line it;
        if (row.machine != nullptr) {
            row.machine(it);
        }
        it.record();
        if (row.recording != nullptr) {
            row.recording(it);
        }
        const std::string said = seal(it.request);
        EXPECT_NE(said.find(row.said), std::string::npos) << row.name << ": " << said;
        EXPECT_FALSE(fs::exists(it.request.directory)) << row.name;
    }
}

TEST(RefusedRecording, NamesTheFileThatIsMissing) {
    for (const char* name : {"tpm/event_log.bin", "tpm/pcrs.bin", "smbios.bin", "os_version", "disk/sectors.bin"}) {
        line it;
        it.record();
        fs::remove(it.request.recording + "/" + name);
        EXPECT_EQ(seal(it.request), "it has no " + std::string(name) + ".\n");
        fs::create_directory(it.request.recording + "/" + name);
        EXPECT_NE(seal(it.request).find(name), std::string::npos) << name << " is a directory";
        EXPECT_FALSE(fs::exists(it.request.directory)) << name;
    }
}

TEST(RefusedRecording, LeavesAlreadyUsedDirectoriesAsTheyAre) {
    line it;
    it.record();
    it.root.write("sealed/mine", "1");
    EXPECT_NE(seal(it.request).find("the directory is not empty"), std::string::npos);
    EXPECT_EQ(std::distance(fs::directory_iterator(it.request.directory), fs::directory_iterator()), 1);
    fs::remove(it.request.directory + "/mine");
    write(it, "tpm/version", "1");
    EXPECT_NE(seal(it.request), "");
    EXPECT_TRUE(fs::is_empty(it.request.directory));
}

TEST(RefusedRecording, TakesNothingFromOutsideOfIt) {
    if (!test::links_can_be_made()) {
        GTEST_SKIP() << "links cannot be made";
    }
    for (const char* name : {"smbios.bin", "tpm/pcrs.bin", "disk/C/bom/system.bom", "disk/C/other"}) {
        line it;
        it.record();
        const fs::path linked = fs::path(it.request.recording) / name;
        const fs::path elsewhere = it.root.path() / "elsewhere";
        if (fs::exists(linked)) {
            fs::rename(linked, elsewhere);
        } else {
            it.root.write("elsewhere", "secret");
        }
        fs::create_symlink(elsewhere, linked);
        EXPECT_NE(seal(it.request).find("is a link that leads out of the recording"), std::string::npos) << name;
        EXPECT_FALSE(fs::exists(it.request.directory)) << name;
    }
}

struct bad_keys {
    void (*change)(const line&, const test::own_keys&, lab::signing_files&);
    const char* said;
};

constexpr bad_keys bad_key_rows[] = {
    {[](const line&, const test::own_keys&, lab::signing_files& files) { files.key = "absent.pem"; },
     "\"absent.pem\" cannot be read: "},
    {[](const line&, const test::own_keys&, lab::signing_files& files) { files.key = files.certificates; },
     "chain.crt\" holds no private key in PEM form without a passphrase."},
    {[](const line&, const test::own_keys&, lab::signing_files& files) { files.key = files.seal_key; },
     "chain.crt\" does not begin with the certificate of the key."},
    {[](const line& it, const test::own_keys&, lab::signing_files& files) {
         files.key = test::write_key(it.root, "small.pem", lab::private_key(lab::key_kind::rsa_1024));
     },
     "small.pem\" holds another key than one of RSA with 2048 bits."},
    {[](const line& it, const test::own_keys&, lab::signing_files& files) {
         files.seal_key = test::write_key(it.root, "curve.pem", lab::private_key(lab::key_kind::ec_p256));
     },
     "curve.pem\" holds another key than one of RSA with 2048 bits."},
    {[](const line&, const test::own_keys&, lab::signing_files& files) { files.certificates = files.key; },
     "signer.pem\" holds no certificate in PEM form."},
    {[](const line& it, const test::own_keys& own, lab::signing_files& files) {
         files.certificates = it.root.write("short.crt", lab::pem(own.signer.der) + lab::pem(own.line.der));
     },
     "short.crt\" does not lead to a certificate that signs itself."},
    {[](const line& it, const test::own_keys& own, lab::signing_files& files) {
         files.certificates = it.root.write("gap.crt", lab::pem(own.signer.der) + lab::pem(own.root.der));
     },
     "what came of it does not pass its own validation."},
};

TEST(RefusedRecording, IsSignedWithNoKeysThatDoNotFit) {
    const test::own_keys own;
    for (const bad_keys& row : bad_key_rows) {
        line it;
        it.record();
        it.request.keys = own.write(it.root);
        row.change(it, own, it.request.keys);
        const std::string said = seal(it.request);
        EXPECT_NE(said.find(row.said), std::string::npos) << said;
        EXPECT_FALSE(fs::exists(it.request.directory)) << row.said;
    }
}

// A beginning may be all that counts: then it is sealed as it is, and passes.
TEST(RefusedRecording, OfEveryLengthIsRefusedOrPasses) {
    for (const char* name : {"tpm/event_log.bin", "smbios.bin", "disk/sectors.bin"}) {
        line it;
        it.record();
        const bytes whole = read(it.request.recording + "/" + name);
        std::size_t refused = 0;
        const auto check = [&](const bytes& beginning) {
            it.root.write(std::string("recording/") + name, beginning);
            const std::string said = seal(it.request);
            refused += said.empty() ? 0 : 1;
            EXPECT_EQ(fs::exists(it.request.directory), said.empty()) << name << " of " << beginning.size();
            if (said.empty()) {
                EXPECT_EQ(it.validate().code, 0) << name << " of " << beginning.size();
                fs::remove_all(it.request.directory);
            }
        };
        if (whole.size() < 8192) {
            test::for_each_prefix(whole, check);
        } else {
            for (std::size_t size = 0; size < whole.size(); size += 128) {
                check(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
            }
        }
        EXPECT_GT(refused, 80U) << name;
    }
}

// Logs of real machines, where the developer has some, around a disk that holds what they measured.
TEST(RefusedRecording, OfARealMachineIsSealedAndPassesOrLacksSomething) {
    std::size_t logs = 0;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(VELLUM_REAL_LOGS, none)) {
        line it;
        it.request.boms.clear();
        it.record();
        test::log_session log(log_level::off);
        std::optional<tpm_events_chains> chains;
        const bytes content = read(entry.path().string());
        if (entry.path().extension() != ".bin" || !ok(parse_tpm_log(content, chains))) {
            continue;
        }
        ++logs;
        it.root.write("recording/tpm/event_log.bin", content);
        it.root.write("recording/tpm/pcrs.bin", lab::pcrs_file(replay_pcrs_from_log(*chains)));
        if (const tpm_event* event = find_tpm_log_event(*chains, is_gpt_event); event != nullptr) {
            it.root.write("recording/disk/sectors.bin", test::disk_of(event->data));
        }
        const std::string said = seal(it.request);
        EXPECT_EQ(said.empty() ? it.validate().code : 0, 0) << entry.path();
        EXPECT_EQ(fs::exists(it.request.directory), said.empty()) << entry.path() << ": " << said;
    }
    if (logs == 0) {
        GTEST_SKIP() << "no event logs in \"" VELLUM_REAL_LOGS "\"";
    }
}

}  // namespace
}  // namespace vellum
