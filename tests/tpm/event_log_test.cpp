#include "tpm/event_log.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "lab/event_log_builder.h"
#include "lab/sample_boot.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

using chains = std::optional<tpm_events_chains>;

constexpr std::uint32_t EV_ACTION = 5;
constexpr const char* bad_structure =
    "Error occurred while trying to parse TPM Event Log file. Invalid file structure.\n";
constexpr const char* bad_format =
    "Invalid TPM Event Log structure. Ensure that the provided TPM Event Log contains a TPM 2.0 format.\n";

// The replay by the book, without chains: SHA-256(value | digest), from the reset value.
pcr_value replay(std::uint8_t first_locality, const std::vector<lab::log_event>& events, std::uint32_t pcr) {
    pcr_value value{};
    value.back() = pcr == 0 ? first_locality : 0;
    for (const lab::log_event& event : events) {
        if (event.pcr == pcr && event.type != EV_NO_ACTION) {
            sha256_value digest{};
            EXPECT_EQ(sha256(event.data, digest), result::success);
            std::vector<std::uint8_t> message(value.begin(), value.end());
            message.insert(message.end(), digest.begin(), digest.end());
            EXPECT_EQ(sha256(message, value), result::success);
        }
    }
    return value;
}

TEST(Parse, ChainsAPlainBoot) {
    test::log_session session(log_level::off);
    const lab::event_log boot = lab::clean_boot();
    chains parsed;
    ASSERT_EQ(parse_tpm_log(build(boot), parsed), result::success);
    const pcr_value_list values = replay_pcrs_from_log(*parsed);
    for (std::uint32_t pcr = 0; pcr < pcr_count; ++pcr) {
        if (pcr < 17 || pcr > 22) {
            EXPECT_EQ(values[pcr], replay(3, boot.events, pcr)) << pcr;
        } else {
            EXPECT_EQ(lower_hex(values[pcr]), std::string(64, 'f')) << pcr;
        }
    }
    const tpm_event_chain& pcr0 = parsed->chains[0];
    EXPECT_EQ(pcr0.startup_locality, 0U);
    EXPECT_EQ(pcr0.head.value.back(), 3);
    EXPECT_EQ(pcr0.at(0), &pcr0.head);
    EXPECT_EQ(pcr0.at(pcr0.events.size()), &pcr0.last());
    EXPECT_EQ(pcr0.at(pcr0.events.size() + 1), nullptr);
}

TEST(Parse, PrintsEachEventAndCountsIgnoredOnes) {
    test::log_session session(log_level::debug);
    lab::event_log log;
    log.events = {lab::text_event(24, EV_ACTION, ""), lab::text_event(12, EV_ACTION, "")};
    chains parsed;
    ASSERT_EQ(parse_tpm_log(build(log), parsed), result::success);
    const tpm_event& event = parsed->chains[12].events[0];
    EXPECT_EQ(session.logged(),
              "TPM Algorithms found: [SHA-1] [SHA-256] \n"
              "Found TPM Log Event for PCR[24] which is out of supported PCR range, event will be ignored.\n"
              "Event of type 0x00000005(EV_ACTION) at position 1 in PCR[12] and at position 2 in TPM Event Log. "
              "Digest: 0xe3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855, PCR Value: 0x" +
                  lower_hex(event.value) + ".\n");
}

struct parse_row {
    const char* name;
    void (*change)(lab::event_log&);
    result expected;
    std::string pushed;
};

lab::log_event sha384_only() {
    lab::log_event event = lab::separator(1);
    event.digests = {{lab::TPM_ALG_SHA384, std::vector<std::uint8_t>(48)}};
    return event;
}

const parse_row parse_rows[] = {
    {"SpecIdOnly", [](lab::event_log& log) { log.events.clear(); }, result::success, ""},
    {"FiveBanks",
     [](lab::event_log& log) {
         log.spec_id->banks = {{4, 20}, {0xB, 32}, {0xC, 48}, {0xD, 64}, {0x12, 32}};
     },
     result::success, ""},
    {"VendorInfo", [](lab::event_log& log) { log.spec_id->vendor_info = "vendor"; }, result::success, ""},
    {"Version1_2", [](lab::event_log& log) { log.spec_id->version_major = 1, log.spec_id->version_minor = 2; },
     result::success, ""},
    {"Version1_1", [](lab::event_log& log) { log.spec_id->version_major = 1, log.spec_id->version_minor = 1; },
     result::invalid, ""},
    {"Version0", [](lab::event_log& log) { log.spec_id->version_major = 0; }, result::invalid, ""},
    {"SignatureWithoutItsZero", [](lab::event_log& log) { log.spec_id->signature[15] = 'x'; }, result::invalid,
     bad_format},
    {"SixBanks", [](lab::event_log& log) { log.spec_id->bank_count = 6; }, result::invalid, ""},
    {"MoreBanksThanData", [](lab::event_log& log) { log.spec_id->bank_count = 5; }, result::invalid, ""},
    {"ShortSpecId", [](lab::event_log& log) { log.spec_id->data_size = 27; }, result::invalid, ""},
    {"SpecIdBeyondTheLog", [](lab::event_log& log) { log.spec_id->data_size = 1000000; }, result::invalid, ""},
    {"SpecIdBeyond32Bits", [](lab::event_log& log) { log.spec_id->data_size = UINT32_MAX; }, result::invalid, ""},
    {"Sha1Only",
     [](lab::event_log& log) {
         log.spec_id->banks = {{lab::TPM_ALG_SHA1, 20}};
     },
     result::invalid,
     "Please ensure at least one of the required PCR banks is supported by the TPM module and enabled in the BIOS.\n"
     "The TPM Event Log file does not contain any of the required PCR bank hash algorithms: [SHA-256]. Algorithms "
     "found: [SHA-1] \n"},
    {"ShortSha256",
     [](lab::event_log& log) {
         log.spec_id->banks = {{lab::TPM_ALG_SHA256, 31}};
     },
     result::invalid, bad_structure},
    {"ShortSha256WithoutEvents",
     [](lab::event_log& log) {
         log.spec_id->banks = {{lab::TPM_ALG_SHA256, 32}, {lab::TPM_ALG_SHA256, 31}};
         log.events.clear();
     },
     result::invalid, bad_structure},
    {"NoSha256Digest",
     [](lab::event_log& log) {
         log.spec_id->banks.push_back({lab::TPM_ALG_SHA384, 48});
         log.events.insert(log.events.begin(), sha384_only());
     },
     result::invalid, bad_structure},
    {"NoDigests",
     [](lab::event_log& log) {
         log.events[0].digests = std::vector<lab::log_digest>();
         log.events[0].data.resize(64);
     },
     result::invalid, bad_structure},
    {"SixDigestsEndTheLog", [](lab::event_log& log) { log.events[1].digest_count = 6; }, result::success, ""},
    {"DataBeyondTheLogEndsIt", [](lab::event_log& log) { log.events[1].data_size = 1000000; }, result::success, ""},
    {"LocalityTwo", [](lab::event_log& log) { log.events[0] = lab::startup_locality(2); }, result::invalid,
     "TPM Event Log has invalid PCR[0] Startup Locality value (2). Allowed (0) or (3).\n"},
    {"LocalityAfterAnExtend", [](lab::event_log& log) { log.events.push_back(lab::startup_locality(3)); },
     result::invalid, "PCR[0] Startup Locality Event in TPM Event Log is not the first event that extends PCR[0].\n"},
    {"LocalityAfterAnInformationalEvent",
     [](lab::event_log& log) { log.events.insert(log.events.begin(), lab::text_event(0, EV_NO_ACTION, "x")); },
     result::success, ""},
};

TEST(Parse, AcceptsOrRefusesWithItsReason) {
    for (const parse_row& row : parse_rows) {
        test::log_session session(log_level::off);
        lab::event_log log = lab::clean_boot();
        row.change(log);
        chains parsed;
        EXPECT_EQ(parse_tpm_log(build(log), parsed), row.expected) << row.name;
        EXPECT_EQ(parsed.has_value(), row.expected == result::success) << row.name;
        EXPECT_EQ(session.pushed(), row.pushed) << row.name;
    }
}

// In the default layout 72 bytes precede the data.
TEST(Parse, RefusesAnEventWhoseSizePasses32Bits) {
    for (const std::uint32_t pcr : {7U, 24U}) {
        test::log_session session(log_level::error);
        lab::event_log log;
        log.events = {lab::text_event(pcr, EV_ACTION, "")};
        log.events[0].data_size = UINT32_MAX - 72;
        chains parsed;
        EXPECT_EQ(parse_tpm_log(build(log), parsed), result::success) << pcr;
        log.events[0].data_size = UINT32_MAX - 71;
        EXPECT_EQ(parse_tpm_log(build(log), parsed), result::invalid) << pcr;
        EXPECT_EQ(session.logged(), std::string("ERROR: Found TPM Log Event for PCR[") + (pcr == 7 ? "07" : "24") +
                                        "] which has set the data size that overflows TPM Log data boundaries.\n");
        EXPECT_EQ(session.pushed(), bad_structure) << pcr;
    }
}

TEST(Parse, TakesTheFirstOfTwoSha256Digests) {
    test::log_session session(log_level::off);
    lab::event_log log;
    log.events = {lab::text_event(7, EV_ACTION, "")};
    log.events[0].digests = {{lab::TPM_ALG_SHA256, std::vector<std::uint8_t>(32, 0xAA)},
                             {lab::TPM_ALG_SHA256, std::vector<std::uint8_t>(32, 0xBB)}};
    chains parsed;
    ASSERT_EQ(parse_tpm_log(build(log), parsed), result::success);
    EXPECT_EQ(lower_hex(parsed->chains[7].events[0].digest), std::string(64, 'a'));
}

TEST(Parse, LocalityReachesEveryEventBeforeTheFirstExtend) {
    test::log_session session(log_level::off);
    lab::event_log log;
    log.events = {lab::text_event(0, EV_NO_ACTION, "a"),
                  lab::startup_locality(0),
                  lab::text_event(0, EV_NO_ACTION, "b"),
                  lab::startup_locality(0),
                  lab::startup_locality(3),
                  lab::separator(0)};
    chains parsed;
    ASSERT_EQ(parse_tpm_log(build(log), parsed), result::success);
    const tpm_event_chain& chain = parsed->chains[0];
    EXPECT_EQ(chain.startup_locality, 4U);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(chain.events[i].value, chain.head.value) << i;
    }
    EXPECT_EQ(chain.last().value, replay(3, log.events, 0));
}

TEST(Parse, LegacyLayoutKeepsTwelveBytesBehindTheDigest) {
    test::log_session session(log_level::off);
    lab::event_log log;
    log.spec_id.reset();
    log.events = {lab::text_event(4, EV_ACTION, "abcdefgh"), lab::text_event(4, EV_ACTION, "")};
    chains parsed;
    ASSERT_EQ(parse_tpm_log(build(log), parsed), result::success);
    const tpm_event& event = parsed->chains[4].events[0];
    EXPECT_EQ(lower_hex(event.digest), "425af12a0743502b322e93a015bcf868e324d56a080000006162636465666768");
    EXPECT_EQ(parsed->chains[4].events[1].digest[31], 0) << "past the end of the log";
}

TEST(Parse, RefusesNothingAndTooLittle) {
    test::log_session session(log_level::error);
    chains parsed;
    EXPECT_EQ(parse_tpm_log({}, parsed), result::internal_failure);
    EXPECT_EQ(session.logged(), "ERROR: Internal parameter tpm_log_sz is 0.\n");
    EXPECT_EQ(parse_tpm_log(test::bytes(31), parsed), result::invalid);
    EXPECT_EQ(session.pushed(),
              "Error occurred while trying to create TPM Event Log file iterator. Invalid file structure.\n");
}

// Whatever the bytes are, the result is one of the allowed ones and every kept view lies in the log.
void expect_sane(test::bytes input) {
    test::log_session session(log_level::off);
    chains parsed;
    const result outcome = parse_tpm_log(std::move(input), parsed);
    ASSERT_EQ(parsed.has_value(), ok(outcome));
    if (!parsed) {
        return;
    }
    for (const tpm_event_chain& chain : parsed->chains) {
        for (const tpm_event& event : chain.events) {
            ASSERT_GE(event.data.data(), parsed->log.data());
            ASSERT_LE(event.data.data() + event.data.size(), parsed->log.data() + parsed->log.size());
        }
    }
}

TEST(Parse, SurvivesEveryPrefixAndEveryByteChange) {
    lab::event_log log = lab::clean_boot();
    log.events.resize(5);
    const test::bytes bytes = build(log);
    test::for_each_prefix(bytes, expect_sane);
    test::for_each_byte_change(bytes, expect_sane);
}

TEST(Find, TakesASealOfItsPcrAndOfItsWholeIdentifier) {
    test::log_session session(log_level::off);
    constexpr std::string_view identifier("\x5A\x4A\xA3\x16\x6A\xF1\x4A\x45\x8F\x23\xBA\xA5\x87\x86\xBE\xAC", 16);
    lab::event_log log;
    log.events = {lab::text_event(5, EV_EFI_VARIABLE_DRIVER_CONFIG, identifier.substr(0, 15)),
                  lab::text_event(4, EV_EFI_VARIABLE_DRIVER_CONFIG, identifier),
                  lab::text_event(5, EV_EFI_VARIABLE_DRIVER_CONFIG, identifier)};
    chains parsed;
    ASSERT_EQ(parse_tpm_log(build(log), parsed), result::success);
    const tpm_event* found = find_tpm_log_event(*parsed, is_seal_event);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->log_position, 3U);
}

}  // namespace
}  // namespace vellum
