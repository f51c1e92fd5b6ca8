// Evidence that is spoilt in every way, and what is said of it.
#include "tpm/attestation/evidence.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "lab/certificate_authority.h"
#include "lab/quote_builder.h"
#include "tests/support/tamper.h"
#include "tpm/attestation/quote.h"

namespace vellum {
namespace {

using test::bytes;

pcr_value_list some_pcrs() {
    pcr_value_list values{};
    for (std::size_t pcr = 0; pcr < values.size(); ++pcr) {
        values[pcr].fill(static_cast<std::uint8_t>(pcr + 1));
    }
    return values;
}

lab::quote_plan plan_of(lab::key_kind kind, unsigned number = 0) {
    lab::quote_plan plan;
    plan.key = lab::private_key(kind, number);
    plan.nonce = {0xAB, 0xCD, 0xEF};
    plan.pcrs = some_pcrs();
    return plan;
}

evidence_expectation expectation_of(const lab::quote_plan& plan) {
    const auto key = read_attestation_key(*lab::build(plan).public_area);
    return {plan.nonce, lower_hex(key->name), public_key_pem(*key)};
}

std::string ids_of(const evidence_judgement& judged) {
    std::string ids;
    for (const finding& found : judged.findings) {
        ids += (ids.empty() ? "" : " ") + found.id;
    }
    return ids;
}

std::string judge(const evidence_files& files, const evidence_expectation& expected) {
    return ids_of(judge_evidence(files, expected));
}

constexpr lab::key_kind kinds[] = {lab::key_kind::ec_p256, lab::key_kind::rsa_2048};

TEST(Evidence, WholeOneIsAcceptedWithWhatItSays) {
    for (const lab::key_kind kind : kinds) {
        const lab::quote_plan plan = plan_of(kind);
        const evidence_judgement judged = judge_evidence(lab::build(plan), expectation_of(plan));
        EXPECT_EQ(ids_of(judged), "");
        EXPECT_EQ(judged.pcrs, plan.pcrs);
        ASSERT_TRUE(judged.facts);
        EXPECT_EQ(judged.facts->clock, plan.clock);
        EXPECT_EQ(judged.facts->reset_count, plan.reset_count);
        EXPECT_EQ(judged.facts->restart_count, plan.restart_count);
        EXPECT_EQ(judged.facts->firmware_version, plan.firmware_version);
        EXPECT_TRUE(judged.facts->safe);
    }
}

// Every file, every byte, every length, one longer: none is accepted.
TEST(Evidence, NothingThatIsChangedIsAccepted) {
    using member = std::optional<bytes> evidence_files::*;
    std::size_t tried = 0;
    for (const lab::key_kind kind : kinds) {
        const lab::quote_plan plan = plan_of(kind);
        const evidence_files whole = lab::build(plan);
        const evidence_expectation expected = expectation_of(plan);
        for (const member file : {&evidence_files::quote, &evidence_files::signature, &evidence_files::public_area,
                                  &evidence_files::pcrs}) {
            const auto refuse = [&](bytes content) {
                evidence_files changed = whole;
                changed.*file = std::move(content);
                EXPECT_NE(judge(changed, expected), "") << "change " << tried;
                ++tried;
            };
            for (std::size_t at = 0; at < (whole.*file)->size(); ++at) {
                for (const unsigned bits : {0x01U, 0x80U}) {
                    bytes changed = *(whole.*file);
                    changed[at] = static_cast<std::uint8_t>(changed[at] ^ bits);
                    refuse(std::move(changed));
                }
            }
            test::for_each_prefix(*(whole.*file), refuse);
            bytes longer = *(whole.*file);
            longer.push_back(0);
            refuse(longer);
        }
    }
    EXPECT_GT(tried, 5'000U);
}

struct spoilt_row {
    const char* says;
    void (*spoil)(lab::quote_plan&);
    std::string ids;
};

const spoilt_row spoilt_rows[] = {
    {"another nonce", [](lab::quote_plan& p) { p.nonce = {1}; }, "evidence-nonce-differs"},
    {"no nonce", [](lab::quote_plan& p) { p.nonce.clear(); }, "evidence-nonce-differs"},
    {"another key", [](lab::quote_plan& p) { p.key = lab::private_key(lab::key_kind::ec_p256, 1); },
     "evidence-key-differs"},
    {"another kind of key", [](lab::quote_plan& p) { p.key = lab::private_key(lab::key_kind::rsa_2048); },
     "evidence-key-differs"},
    {"a key that decrypts", [](lab::quote_plan& p) { p.attributes = 0x70472; },
     "evidence-key-unsuitable evidence-key-differs evidence-signature-invalid"},
    {"a key that signs anything", [](lab::quote_plan& p) { p.attributes = 0x40472; },
     "evidence-key-unsuitable evidence-key-differs evidence-signature-invalid"},
    {"a key from outside", [](lab::quote_plan& p) { p.attributes = 0x50452; },
     "evidence-key-unsuitable evidence-key-differs evidence-signature-invalid"},
    {"a key of the owner", [](lab::quote_plan& p) { p.hierarchy = 0x40000001; }, "evidence-signer-differs"},
    {"no mark of a TPM", [](lab::quote_plan& p) { p.magic = 0; }, "evidence-not-quoted"},
    {"a time stamp", [](lab::quote_plan& p) { p.type = 0x8019; }, "evidence-not-quoted"},
    {"fewer PCRs", [](lab::quote_plan& p) { p.selected = 0x7FFFFF; }, "evidence-pcrs-not-covered"},
    {"no PCRs", [](lab::quote_plan& p) { p.selected = 0; }, "evidence-pcrs-not-covered"},
    {"another bank", [](lab::quote_plan& p) { p.bank = 4; }, "evidence-pcrs-not-covered"},
    {"everything at once",
     [](lab::quote_plan& p) {
         p = plan_of(lab::key_kind::ec_p256, 1);
         p.nonce = {1};
         p.hierarchy = 0;
         p.magic = 0;
         p.selected = 0;
     },
     "evidence-key-differs evidence-nonce-differs evidence-signer-differs evidence-not-quoted "
     "evidence-pcrs-not-covered"},
};

TEST(Evidence, EachFaultIsNamed) {
    const lab::quote_plan whole = plan_of(lab::key_kind::ec_p256);
    const evidence_expectation expected = expectation_of(whole);
    for (const spoilt_row& row : spoilt_rows) {
        lab::quote_plan plan = whole;
        row.spoil(plan);
        EXPECT_EQ(judge(lab::build(plan), expected), row.ids) << row.says;
    }
}

TEST(Evidence, EachFileHasToBeThere) {
    const lab::quote_plan plan = plan_of(lab::key_kind::ec_p256);
    const evidence_expectation expected = expectation_of(plan);
    EXPECT_EQ(judge({}, expected), "evidence-pcrs-missing evidence-missing evidence-missing evidence-missing");
    evidence_files files = lab::build(plan);
    files.names_tpm = true;
    EXPECT_EQ(judge(files, expected), "evidence-names-tpm");
    files.pcrs.reset();
    EXPECT_EQ(judge(files, expected), "evidence-names-tpm evidence-pcrs-missing");
}

// Parts that are each whole.
TEST(Evidence, PartsOfTwoQuotesAreNone) {
    lab::quote_plan plan = plan_of(lab::key_kind::ec_p256);
    const evidence_expectation expected = expectation_of(plan);
    const evidence_files today = lab::build(plan);
    plan.nonce = {9};
    plan.pcrs[7].fill(0x77);
    const evidence_files yesterday = lab::build(plan);
    EXPECT_EQ(judge(yesterday, expected), "evidence-nonce-differs") << "an old recording, replayed";
    evidence_files mixed = today;
    mixed.pcrs = yesterday.pcrs;
    EXPECT_EQ(judge(mixed, expected), "evidence-pcrs-differ");
    mixed.quote = yesterday.quote;
    EXPECT_EQ(judge(mixed, expected), "evidence-nonce-differs evidence-signature-invalid");
    evidence_expectation wrong_pem = expected;
    wrong_pem.public_key = expectation_of(plan_of(lab::key_kind::ec_p256, 1)).public_key;
    EXPECT_EQ(judge(today, wrong_pem), "evidence-key-differs") << "an identity whose parts are of two keys";
}

// A TPM may leave leading zeros of numbers out.
TEST(Evidence, ShortNumbersAreThoseNumbers) {
    const lab::quote_plan plan = plan_of(lab::key_kind::ec_p256);
    evidence_files files = lab::build(plan);
    constexpr std::size_t r_size_offset = 4;
    for (unsigned attempt = 0; (*files.signature)[r_size_offset + 2] != 0 && attempt < 10'000; ++attempt) {
        files = lab::build(plan);
    }
    bytes& signature = *files.signature;
    ASSERT_EQ(signature[r_size_offset + 2], 0) << "no signature has a short number";
    signature.erase(signature.begin() + r_size_offset + 2);
    signature[r_size_offset + 1] = 31;
    EXPECT_EQ(judge(files, expectation_of(plan)), "");
}

TEST(Evidence, DeviceIdHasToBeThatOfTheIdentity) {
    const evidence_device_id mine = {"UUID", "1"};
    EXPECT_FALSE(judge_device_id(mine, mine));
    for (const evidence_device_id& other : {evidence_device_id{"UUID", "2"}, {"SERIAL_NUMBER", "1"}, {}}) {
        const std::optional<finding> found = judge_device_id(mine, other);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->id, "evidence-device-id-differs");
    }
}

TEST(Nonce, HasOneTo64BytesOfWholeDigits) {
    EXPECT_EQ(parse_nonce("aB0f"), (bytes{0xAB, 0x0F}));
    EXPECT_TRUE(parse_nonce(std::string(128, 'f')));
    for (const std::string& wrong : {std::string(), std::string(130, 'f'), std::string("abc"), std::string("0x01"),
                                     std::string("-1"), std::string(" 1"), std::string("g0")}) {
        EXPECT_FALSE(parse_nonce(wrong)) << wrong;
    }
}

}  // namespace
}  // namespace vellum
