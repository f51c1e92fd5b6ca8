// What probably happened between two boots.
#include "tpm/event_details/probable_causes.h"

#include <gtest/gtest.h>

#include <functional>

#include "lab/gpt_builder.h"
#include "lab/pcr5_builder.h"
#include "lab/sample_boot.h"
#include "tests/event_details/boot_events.h"
#include "tests/support/log_session.h"
#include "tests/support/real_logs.h"

namespace vellum {
namespace {

using lab::event_log;
using lab::log_event;

constexpr std::uint32_t variable_authority = 0x800000E0;

std::vector<probable_cause> causes_between(const test::read_log_of& reference, const test::read_log_of& live) {
    return probable_causes(reference.events, live.events, align_logs(reference.events, live.events));
}

// "boot-loader (event 19 in PCR 4); ...".
std::string told(std::span<const probable_cause> causes) {
    std::string out;
    for (const probable_cause& cause : causes) {
        const std::string evidence = evidence_text(cause.evidence);
        out += (out.empty() ? "" : "; ") + (cause.code + (evidence.empty() ? "" : " (" + evidence + ")"));
    }
    return out;
}

std::string told_of(const event_log& reference, const event_log& live) {
    return told(causes_between(test::read_log_of(reference), test::read_log_of(live)));
}

// One table.
std::vector<std::uint8_t> tables() {
    return lab::byte_builder().u64_le(1).fill(16, 0x22).u64_le(0x1000).take();
}

// A boot with one event of everything that a cause is guessed from.
event_log rich_boot() {
    event_log log = lab::clean_boot();
    lab::gpt_table disk;
    disk.entries.emplace_back();
    const std::vector<log_event> more = {
        lab::build(lab::gpt_measurement{disk, 0, {}, {}}),
        lab::build(lab::seal_measurement()),
        test::boot_variable(7, "dbx", {}),
        test::boot_variable(1, "Boot0001", {1, 2, 3}),
        test::measured(test::event_of(1, test::EV_EFI_HANDOFF_TABLES, tables()), 3),
        lab::text_event(8, test::EV_IPL, "kernel_cmdline: /vmlinuz ro"),
        test::measured(lab::text_event(9, test::EV_IPL, "/vmlinuz"), 4),
        lab::text_event(6, test::EV_ACTION, "a vendor's word"),
        test::measured(test::event_of(7, variable_authority, test::variable_data(test::security_database, "db", {})),
                       5),
        test::measured(lab::text_event(14, test::EV_IPL, "MokList"), 6),
    };
    log.events.insert(log.events.end(), more.begin(), more.end());
    return log;
}

log_event& find(event_log& log, const std::function<bool(const log_event&)>& wanted) {
    return *std::find_if(log.events.begin(), log.events.end(), wanted);
}

log_event& of_type(event_log& log, std::uint32_t pcr, std::uint32_t type) {
    return find(log, [=](const log_event& event) { return event.pcr == pcr && event.type == type; });
}

// Of a variable of this name, which stands behind its vendor and two sizes.
log_event& variable(event_log& log, std::string_view name) {
    const auto utf16 = lab::byte_builder().utf16(name).take();
    return find(log, [&](const log_event& event) {
        constexpr std::size_t head = 32;
        return event.data.size() >= head + utf16.size() && event.data[16] == name.size() &&
               std::equal(utf16.begin(), utf16.end(), event.data.begin() + head);
    });
}

TEST(ProbableCauses, AreGuessedFromPcrTypeAndSubject) {
    const struct {
        const char* name;
        std::function<void(event_log&)> change;
        const char* told;
    } rows[] = {
        {"Nothing", [](event_log&) {}, ""},
        {"Locality", [](event_log& log) { log.events[0] = lab::startup_locality(4); },
         "startup-locality (event 1 in PCR 0)"},
        {"Version", [](event_log& log) { log.events[1].data[0] = '2'; }, "firmware (event 2 in PCR 0)"},
        {"FirmwareAndItsPlaces",
         [](event_log& log) {
             log.events[2] = test::measured(log.events[2], 1);
             log.events[3] = test::measured(log.events[3], 2);
         },
         "firmware (events 3 and 4 in PCR 0)"},
        {"SecureBootOff",
         [](event_log& log) { variable(log, "SecureBoot") = test::boot_variable(7, "SecureBoot", {0}); },
         "secure-boot-state (event 6 in PCR 7)"},
        {"PlatformKey", [](event_log& log) { variable(log, "PK") = test::boot_variable(7, "PK", {}); },
         "secure-boot-keys (event 7 in PCR 7)"},
        {"Revocations", [](event_log& log) { variable(log, "dbx") = test::boot_variable(7, "dbx", {1}); },
         "revocations (event 25 in PCR 7)"},
        {"BootOrderAndEntry",
         [](event_log& log) {
             variable(log, "BootOrder") = test::boot_variable(1, "BootOrder", {1, 0});
             variable(log, "Boot0001") = test::boot_variable(1, "Boot0001", {9});
         },
         "boot-order (events 8 and 26 in PCR 1)"},
        {"Setup", [](event_log& log) { of_type(log, 1, test::EV_EFI_HANDOFF_TABLES).digests->at(1).value[0] = 9; },
         "setup (event 27 in PCR 1)"},
        {"OptionRom",
         [](event_log& log) {
             log_event& rom = of_type(log, 2, test::EV_EFI_BOOT_SERVICES_DRIVER);
             rom = test::measured(rom, 1);
         },
         "option-rom (event 9 in PCR 2)"},
        {"BootLoader", lab::start_other_boot_loader, "boot-loader (event 19 in PCR 4)"},
        {"BootAttempt",
         [](event_log& log) {
             log.events.push_back(
                 lab::text_event(4, test::EV_ACTION, "Returning from EFI Application from Boot Option"));
         },
         "boot-attempt (event 33 in PCR 4)"},
        {"Partitions",
         [](event_log& log) {
             lab::gpt_table disk;
             of_type(log, 5, test::EV_EFI_GPT) = lab::build(lab::gpt_measurement{disk, 0, {}, {}});
         },
         "partitions (event 23 in PCR 5)"},
        {"Seal",
         [](event_log& log) {
             lab::seal_measurement seal;
             seal.seal_log_hash[0] = 1;
             variable(log, "KvrSeal") = lab::build(seal);
         },
         "seal (event 24 in PCR 5)"},
        {"CommandLine",
         [](event_log& log) {
             of_type(log, 8, test::EV_IPL) = lab::text_event(8, test::EV_IPL, "kernel_cmdline: x");
         },
         "command-line (event 28 in PCR 8)"},
        {"Kernel", [](event_log& log) { of_type(log, 9, test::EV_IPL).digests->at(1).value[0] = 9; },
         "kernel (event 29 in PCR 9)"},
        {"Manufacturer", [](event_log& log) { of_type(log, 6, test::EV_ACTION).data[0] = 'A'; },
         "manufacturer (event 30, event 30 of the reference in PCR 6)"},
        {"Authority", [](event_log& log) { of_type(log, 7, variable_authority).digests->at(1).value[0] = 9; },
         "authority (event 31 in PCR 7)"},
        {"LoaderKeys", [](event_log& log) { of_type(log, 14, test::EV_IPL).digests->at(1).value[0] = 9; },
         "loader-keys (event 32 in PCR 14)"},
        {"Remark", [](event_log& log) { log.events.push_back(lab::text_event(6, EV_NO_ACTION, "a word")); },
         "remark (event 33 in PCR 6)"},
        {"FirmwareFailed",
         [](event_log& log) {
             of_type(log, 3, EV_SEPARATOR).data = {1, 0, 0, 0};
         },
         "firmware-failure (event 14 in PCR 3)"},
        {"OtherBanks", [](event_log& log) { log.spec_id->errata = 7; }, "log-format (event 0 in PCR 0)"},
        {"Two",
         [](event_log& log) {
             lab::start_other_boot_loader(log);
             variable(log, "BootOrder") = test::boot_variable(1, "BootOrder", {1, 0});
         },
         "boot-loader (event 19 in PCR 4); boot-order (event 8 in PCR 1)"},
    };
    const event_log reference = rich_boot();
    for (const auto& row : rows) {
        event_log live = reference;
        row.change(live);
        EXPECT_EQ(told_of(reference, live), row.told) << row.name;
    }
}

// The digests of its data as they are, to stay when these change.
log_event with_digests(log_event event) {
    event.digests.emplace();
    for (const std::uint16_t bank : {lab::TPM_ALG_SHA1, lab::TPM_ALG_SHA256}) {
        auto hash = hasher::of_bank(bank);
        lab::log_digest digest = {bank, std::vector<std::uint8_t>(hash->size())};
        EXPECT_TRUE(ok(hash->hash({event.data}, digest.value)));
        event.digests->push_back(digest);
    }
    return event;
}

TEST(ProbableCauses, TellAForgedLogFromAnotherDescription) {
    const event_log reference = rich_boot();
    event_log forged = reference;
    log_event& order = variable(forged, "BootOrder");
    order = with_digests(order);
    EXPECT_EQ(told_of(reference, forged), "");
    order.data.back() ^= 1;
    EXPECT_EQ(told_of(reference, forged), "forged-log (event 8 in PCR 1)");
    EXPECT_EQ(told_of(forged, reference), "forged-log (event 8 in PCR 1)");
    // Another digest over data that it is not that of.
    forged = reference;
    variable(forged, "BootOrder") = test::measured(variable(forged, "BootOrder"), 1);
    EXPECT_EQ(told_of(reference, forged), "forged-log (event 8 in PCR 1)");
    // What both firmwares do is their own idea of a digest.
    event_log odd = forged;
    variable(odd, "BootOrder") = test::measured(test::boot_variable(1, "BootOrder", {1, 0}), 2);
    EXPECT_EQ(told_of(forged, odd), "boot-order (event 8 in PCR 1)");
    // An image that was loaded to another place is the same image.
    const event_log here = test::log_of({test::loaded_image(4, "\\A.EFI", 1, 0x1000)});
    const event_log there = test::log_of({test::loaded_image(4, "\\A.EFI", 1, 0x2000)});
    EXPECT_EQ(told_of(here, there), "description (event 1 in PCR 4)");
}

// A digest of something outside the log proves neither description.
TEST(ProbableCauses, TellOtherWordsForOneMeasurement) {
    const event_log reference =
        test::log_of({test::measured(lab::text_event(0, test::EV_POST_CODE, "ACPI DATA"), 1)});
    const event_log live = test::log_of({test::measured(lab::text_event(0, test::EV_POST_CODE, "SMM CODE"), 1)});
    EXPECT_EQ(told_of(reference, live), "other-words (event 1 in PCR 0)");
}

TEST(ProbableCauses, TellACutLog) {
    const test::read_log_of whole(rich_boot());
    test::read_log_of cut(rich_boot());
    cut.bytes.resize(cut.bytes.size() - 1);
    ASSERT_TRUE(ok(read_events(cut.bytes, cut.events)));
    EXPECT_EQ(told(causes_between(whole, cut)), "damaged-log");
    const std::vector<probable_cause> causes = causes_between(cut, whole);
    EXPECT_EQ(causes.at(0).detail.find("the reference log, "), 0U) << causes.at(0).detail;
    // The filling of an area that is larger than the log is no damage.
    test::read_log_of filled(rich_boot());
    filled.bytes.resize(filled.bytes.size() + 40);
    ASSERT_TRUE(ok(read_events(filled.bytes, filled.events)));
    EXPECT_EQ(told(causes_between(whole, filled)), "");
}

// Every register of the firmware differs, and its version does.
TEST(ProbableCauses, TellAnotherMachine) {
    const event_log reference = rich_boot();
    event_log other = reference;
    std::uint8_t seed = 0;
    for (log_event& event : other.events) {
        if (event.type == test::EV_S_CRTM_VERSION) {
            event.data[0] = '9';
        } else if (event.pcr < 8 && event.type != EV_SEPARATOR && event.type != EV_NO_ACTION) {
            event = test::measured(event, ++seed);
        }
    }
    EXPECT_EQ(told_of(reference, other).substr(0, 10), "forged-log");  // its variables are not what was hashed
    for (log_event& event : other.events) {
        if (event.digests && event.type != test::EV_EFI_BOOT_SERVICES_DRIVER) {
            event.digests.reset();
            event.data.back() ^= 1;
        }
    }
    EXPECT_EQ(told_of(reference, other), "other-machine");
    other.events[1] = reference.events[1];
    EXPECT_EQ(told_of(reference, other).find("other-machine"), std::string::npos) << "of the same firmware";
}

TEST(ProbableCauses, NameFewOfManyEvents) {
    std::vector<event_evidence> evidence;
    for (std::size_t i = 1; i <= 9; ++i) {
        evidence.push_back({0, std::nullopt, i});
    }
    evidence.push_back({4, 7, std::nullopt});
    EXPECT_EQ(evidence_text(evidence), "events 1, 2, 3 and 6 more in PCR 0; event 7 of the reference in PCR 4");
    EXPECT_EQ(evidence_text({}), "");
    std::vector<event_evidence> many;
    for (std::uint32_t pcr = 0; pcr < 100'000; ++pcr) {
        many.push_back({pcr, std::nullopt, pcr + 1});
    }
    EXPECT_LT(evidence_text(many).size(), 300U);
}

TEST(ProbableCauses, AreFoundForAnyTwoRealLogs) {
    const auto paths = test::real_logs();
    if (paths.empty()) {
        GTEST_SKIP() << "no event logs in \"" << test::real_logs_folder() << "\"";
    }
    test::log_session session(log_level::off);
    std::vector<std::vector<std::uint8_t>> bytes;
    std::vector<event_sequence> logs;
    for (const auto& path : paths) {
        event_sequence log;
        bytes.push_back(test::read_log(path));
        if (ok(read_events(bytes.back(), log))) {
            logs.push_back(log);
        }
    }
    for (std::size_t i = 0; i < logs.size(); ++i) {
        const event_sequence& next = logs[(i + 1) % logs.size()];
        EXPECT_TRUE(probable_causes(logs[i], logs[i], align_logs(logs[i], logs[i])).empty() || logs[i].left_over > 0);
        EXPECT_FALSE(probable_causes(logs[i], next, align_logs(logs[i], next)).empty());
    }
}

}  // namespace
}  // namespace vellum
