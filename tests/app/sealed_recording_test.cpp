// A machine that was recorded in its good state and sealed from that passes, and nothing that happens to it later
// goes unnoticed.
#include <gtest/gtest.h>

#include <algorithm>

#include "lab/sample_keys.h"
#include "lab/sealed_log.h"
#include "tests/app/production_line.h"
#include "tpm/event_log.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

using test::bytes;
using test::read;
using test::seal;
using line = test::production_line;

void expect_passes(const line& it, const std::string& what) {
    const test::outcome found = it.validate();
    EXPECT_EQ(found.code, 0) << what;
    EXPECT_NE(found.text.find("passed: 27"), std::string::npos) << what << "\n" << found.text;
}

struct variant {
    const char* name;
    void (*change)(line&);
};

constexpr variant variants[] = {
    {"as it stands", [](line&) {}},
    {"without a BOM file", [](line& it) { it.request.boms.clear(); }},
    {"a letter and separators of the other kind",
     [](line& it) {
         it.request.boms = {{'c', "BOM/System.bom", "c:/BOM/System.bom"}};
     }},
    {"sealed before, with all its files",
     [](line& it) {
         it.machine = lab::device();
         EXPECT_EQ(lab::make_device({}, it.machine), result::success);
     }},
    {"TL3", [](line& it) { it.request.plan.level = lab::trusted_level::tl3; }},
    {"no signatures", [](line& it) { it.request.plan.seal_signing = false, it.request.plan.pmf_signing = false; }},
    {"by serial number", [](line& it) { it.request.plan.id_source = DeviceIdSource::SERIAL_NUMBER; }},
    {"by a literal at TL3",
     [](line& it) {
         it.request.plan.level = lab::trusted_level::tl3;
         it.request.plan.id_source = DeviceIdSource::OEM_DEFINED_LITERAL;
         it.request.external_device_id = "LINE-7";
     }},
    {"started at locality 0", [](line& it) { it.machine.boot.events.front() = lab::startup_locality(0); }},
    {"started at locality 3, which does not count", [](line& it) { it.request.ironwall = false; }},
    {"PCR 11 too", [](line& it) { it.request.plan.listed_pcrs = supported_pcrs; }},
    {"PCRs that are not listed and not in the log",
     [](line& it) {
         it.machine.pcrs = lab::pcr_values_after(it.machine.boot);
         it.machine.pcrs->at(10).fill(0xAA);
         it.machine.pcrs->at(11).fill(0xAA);
     }},
    {"four banks",
     [](line& it) {
         it.machine.boot.spec_id->banks = {{lab::TPM_ALG_SHA1, 20},
                                           {lab::TPM_ALG_SHA256, 32},
                                           {lab::TPM_ALG_SHA384, 48},
                                           {lab::TPM_ALG_SHA512, 64}};
     }},
    {"sealed and enabled at one day, until the day it is recorded",
     [](line& it) {
         it.request.day = calendar_day{2026, 1, 15};
         it.request.last_day = calendar_day{2026, 3, 2};
     }},
    {"a UUID that is not set, as nobody asks for it",
     [](line& it) {
         it.machine.smbios.uuid.fill(0);
         it.request.plan.id_source = DeviceIdSource::SERIAL_NUMBER;
     }},
};

TEST(SealedRecording, Passes) {
    for (const variant& row : variants) {
        line it;
        row.change(it);
        it.record();
        EXPECT_EQ(seal(it.request), "") << row.name;
        expect_passes(it, row.name);
    }
}

TEST(SealedRecording, IsTheSameToTheByteEachTime) {
    line it;
    it.record();
    ASSERT_EQ(seal(it.request), "");
    const std::string first = it.request.directory;
    it.request.directory = it.root.file("again");
    fs::create_directory(it.request.directory);
    ASSERT_EQ(seal(it.request), "");
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(first)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        const std::string name = entry.path().lexically_relative(first).generic_string();
        EXPECT_EQ(test::read_text(first + "/" + name), test::read_text(it.sealed(name.c_str()))) << name;
        ++files;
    }
    EXPECT_GT(files, 15U);
}

// Nothing that everybody has vouches for the device.
TEST(SealedRecording, IsSignedWithKeysOfOnesOwn) {
    line it;
    it.record();
    const test::own_keys own;
    it.request.keys = own.write(it.root);
    ASSERT_EQ(seal(it.request), "");
    expect_passes(it, "own keys");
    EXPECT_EQ(test::read_text(it.sealed("trusted/2.crt")), lab::pem(own.root.der));
    EXPECT_EQ(test::read_text(it.sealed("intermediate/1.crt")), lab::pem(own.line.der));
    for (const char* directory : {"trusted", "intermediate"}) {
        const fs::directory_iterator files(it.sealed(directory));
        EXPECT_EQ(std::distance(begin(files), end(files)), 1) << directory;
    }
    const bytes response = read(it.sealed("firmware/feature_get_state.bin"));
    for (const lab::sample_key_name name : {lab::sample_key_name::seal, lab::sample_key_name::manufacturer}) {
        const bytes key = lab::public_key_der(lab::sample_key(name));
        EXPECT_EQ(std::search(response.begin(), response.end(), key.begin(), key.end()), response.end());
    }
}

// The TPM of a machine whose firmware measures the file's bytes, with everything else as it was.
TEST(SealedRecording, HoldsWhatTheNextBootMeasures) {
    line it;
    it.record();
    ASSERT_EQ(seal(it.request), "");
    lab::log_event event;
    event.pcr = 5;
    event.type = 0x80000001;
    event.data = read(it.sealed(lab::seal_event_file));
    lab::event_log next = it.machine.boot;
    next.events.insert(std::find_if(next.events.begin(), next.events.end(), test::is_pcr5_separator), event);
    EXPECT_EQ(read(it.sealed("tpm/event_log.bin")), lab::build(next));
    EXPECT_EQ(read(it.sealed("tpm/pcrs.bin")), lab::pcrs_file(lab::pcr_values_after(next)));
    const std::string description = test::read_text(it.sealed(lab::seal_event_description));
    EXPECT_NE(description.find("\ntype 0x80000001 "), std::string::npos);
    EXPECT_NE(description.find("\npcr5_after_boot " + lower_hex(lab::pcr_values_after(next)[5]) + "\n"),
              std::string::npos);
}

// What happens to the sealed device later ------------------------------------------------------------------------

void flip(const line& it, const char* name, std::size_t at) {
    bytes content = read(it.sealed(name));
    content.at(at) ^= 0x01;
    it.put(name, content);
}

// The firmware measures other bytes, and the TPM and its log agree on them.
void boot_with_event(const line& it, const bytes& data) {
    lab::log_event event;
    event.pcr = 5;
    event.type = EV_EFI_VARIABLE_DRIVER_CONFIG;
    event.data = data;
    bytes log;
    ASSERT_EQ(lab::measure_before_separator(read(it.sealed("tpm/event_log.bin")), event, log), "");
    std::optional<tpm_events_chains> chains;
    ASSERT_EQ(parse_tpm_log(log, chains), result::success);
    it.put("tpm/event_log.bin", log);
    it.put("tpm/pcrs.bin", lab::pcrs_file(replay_pcrs_from_log(*chains)));
}

void boot_with_changed_event(const line& it, std::size_t from_end) {
    bytes data = read(it.sealed(lab::seal_event_file));
    data.at(data.size() - from_end) ^= 0x01;
    const test::log_session log;
    boot_with_event(it, data);
}

struct later {
    const char* name;
    void (*happens)(line&);
    const char* stage;  // that fails, up to its number of PCRs
};

constexpr later later_rows[] = {
    {"another firmware", [](line& it) { flip(it, "tpm/pcrs.bin", 0); }, "TPM Event Log matches PCR values:"},
    {"another boot loader, hidden by the log", [](line& it) { flip(it, "tpm/pcrs.bin", 4 * 32); },
     "PCR[0,1,2,3,4,6,7] values match PMF:"},
    {"another partition",
     [](line& it) {
         it.machine.disk.entries.back().last_lba += 8;
         it.put("disk/sectors.bin", lab::build_disk(it.machine.disk));
     },
     "PMF Disk Measurements matches the platform:"},
    {"a changed BOM file", [](line& it) { flip(it, "disk/C/bom/system.bom", 3); },
     "PMF Disk Measurements matches the platform:"},
    {"another product",
     [](line& it) {
         it.machine.smbios.product_name = "Sealed Laptop 15";
         it.put("smbios.bin", lab::build(lab::smbios_of(it.machine.smbios)));
     },
     "PMF System Info Extension matches current platform:"},
    {"another machine of the same model",
     [](line& it) {
         it.machine.smbios.uuid.back() ^= 0x01;
         it.put("smbios.bin", lab::build(lab::smbios_of(it.machine.smbios)));
     },
     "Device ID from Seal Log matches current Device ID:"},
    {"another seal log was measured", [](line& it) { boot_with_changed_event(it, 64); },
     "Seal Log hash matches Seal Log hash in PCR[5]:"},
    {"another option was measured", [](line& it) { boot_with_changed_event(it, 74); },
     "Seal Configuration matches Seal Configuration in PCR[5]:"},
    {"another variable was measured", [](line& it) { boot_with_changed_event(it, 137); },
     "Validate TPM Log Events from PCR[5]:"},
    {"no seal was measured",
     [](line& it) {
         it.put("tpm/event_log.bin", lab::build(it.machine.boot));
         it.put("tpm/pcrs.bin", lab::pcrs_file(lab::pcr_values_after(it.machine.boot)));
     },
     "Validate TPM Log Events from PCR[5]:"},
};

TEST(SealedRecording, NoticesWhatHappensLater) {
    for (const later& row : later_rows) {
        line it;
        it.record();
        ASSERT_EQ(seal(it.request), "");
        row.happens(it);
        const test::outcome found = it.validate();
        EXPECT_EQ(found.code, 5) << row.name;
        const std::size_t at = found.text.find(row.stage);
        ASSERT_NE(at, std::string::npos) << row.name << "\n" << found.text;
        EXPECT_NE(found.text.substr(at, found.text.find('\n', at) - at).find("FAILED"), std::string::npos)
            << row.name << "\n"
            << found.text;
    }
}

}  // namespace
}  // namespace vellum
