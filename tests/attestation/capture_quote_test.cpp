// Captures of a TPM that answers as it is told to, command by command.
#include <gtest/gtest.h>

#include "lab/byte_builder.h"
#include "lab/certificate_authority.h"
#include "lab/quote_builder.h"
#include "native.h"
#include "report/capture_service.h"
#include "tests/support/fake_tbs.h"
#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"

namespace vellum::reporting {
namespace {

using bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t key_handle_number = 0x80FFFFFF;

// A TPM that quotes, and misbehaves where a test wants it to.
class quoting_tpm final : public test::fake_tbs {
  public:
    lab::quote_plan plan;
    bool knows_ecc = true;
    std::map<std::uint32_t, std::uint32_t> refusals;  // response codes by command
    std::map<std::uint32_t, bytes> answers;           // whole ones by command
    void (*before_quote)(quoting_tpm&) = [](quoting_tpm&) {};
    std::string commands;  // in order, but for reads of PCRs
    unsigned quotes = 0;

    quoting_tpm() { plan.key = lab::private_key(lab::key_kind::ec_p256); }

    tbs::result_code submit(byte_view command, std::span<std::uint8_t> out, std::size_t& received) override {
        const bytes answer = answer_to(command);
        received = answer.size();
        std::copy(answer.begin(), answer.end(), out.begin());
        return tbs::success;
    }

  private:
    static bytes whole(std::uint32_t code, const bytes& body) {
        const auto size = static_cast<std::uint32_t>(10 + body.size());
        return lab::byte_builder().u16_be(0x8001).u32_be(size).u32_be(code).bytes(body).take();
    }

    bytes answer_to(byte_view command) {
        byte_reader reader(command);
        std::uint32_t code = 0;
        EXPECT_TRUE(reader.skip(6) && reader.u32_be(code));
        commands += name_of(code);
        if (answers.contains(code)) {
            return answers[code];
        }
        if (refusals.contains(code)) {
            return whole(refusals[code], {});
        }
        switch (code) {
            case tpm::command_create_primary: return create(command);
            case tpm::command_quote: return quote(command);
            case tpm::command_flush_context: return whole(0, {});
            default: return read_pcrs(command);
        }
    }

    static std::string name_of(std::uint32_t code) {
        return code == tpm::command_create_primary  ? "create "
               : code == tpm::command_quote         ? "quote "
               : code == tpm::command_flush_context ? "flush "
                                                    : "";
    }

    bytes create(byte_view command) {
        constexpr std::uint32_t curve_unknown = 0x2E6;
        constexpr std::size_t type_offset = 35;
        if (!knows_ecc && command[type_offset] == 0 && command[type_offset + 1] == tpm::alg_ecc) {
            return whole(curve_unknown, {});
        }
        const bytes area = *lab::build(plan).public_area;
        lab::byte_builder parameters;
        parameters.u16_be(static_cast<std::uint16_t>(area.size())).bytes(area);
        return whole(0, lab::byte_builder()
                            .u32_be(key_handle_number)
                            .u32_be(static_cast<std::uint32_t>(parameters.size()))
                            .bytes(parameters.take())
                            .take());
    }

    bytes quote(byte_view command) {
        constexpr std::size_t nonce_offset = 27;
        byte_reader reader(command.subspan(nonce_offset));
        byte_view nonce;
        EXPECT_TRUE(tpm::read_sized(reader, nonce));
        plan.nonce.assign(nonce.begin(), nonce.end());
        ++quotes;
        before_quote(*this);
        const evidence_files made = lab::build(plan);
        lab::byte_builder parameters;
        parameters.u16_be(static_cast<std::uint16_t>(made.quote->size())).bytes(*made.quote).bytes(*made.signature);
        return whole(0, lab::byte_builder()
                            .u32_be(static_cast<std::uint32_t>(parameters.size()))
                            .bytes(parameters.take())
                            .take());
    }

    bytes read_pcrs(byte_view command) {
        pcrs = plan.pcrs;
        return response(command[17] != 0 ? 0 : command[18] != 0 ? 1 : 2);
    }
};

struct captured {
    explicit captured(quoting_tpm& tpm, const bytes& nonce = {1, 2, 3}) {
        native_platform native;
        const platform real = native.services();
        const platform machine = {real.output, real.time, real.errors,      real.firmware, tpm,
                                  real.tables, real.os,   real.directories, real.boot_disk};
        record_writer out(folder.path().string(), machine.errors);
        capture_tpm(machine, nonce, out);
        report = out.report();
        quoted = std::filesystem::exists(folder.path() / "tpm/quote.bin");
        has_pcrs = std::filesystem::exists(folder.path() / "tpm/pcrs.bin");
    }
    std::string problem() const { return report.problems.empty() ? "" : report.problems.front(); }

    test::log_session log;
    test::temp_dir folder;
    capture_report report;
    bool quoted = false;
    bool has_pcrs = false;
};

TEST(CaptureQuote, LeavesNothingInTheTpm) {
    quoting_tpm tpm;
    const captured taken(tpm);
    EXPECT_EQ(taken.problem(), "");
    EXPECT_TRUE(taken.quoted && taken.has_pcrs);
    EXPECT_EQ(tpm.commands, "create quote flush ");
}

TEST(CaptureQuote, TakesAnRsaKeyWhereTheCurveIsNotKnown) {
    quoting_tpm tpm;
    tpm.knows_ecc = false;
    tpm.plan.key = lab::private_key(lab::key_kind::rsa_2048);
    EXPECT_TRUE(captured(tpm).quoted);
    EXPECT_EQ(tpm.commands, "create create quote flush ");
}

TEST(CaptureQuote, ReadsAgainWhatChangesMeanwhile) {
    quoting_tpm tpm;
    tpm.before_quote = [](quoting_tpm& it) {
        if (it.quotes == 1) {
            it.plan.pcrs[4].fill(0x44);
            it.log = {9};
        }
    };
    const captured taken(tpm);
    EXPECT_TRUE(taken.quoted) << taken.problem();
    EXPECT_EQ(tpm.commands, "create quote quote flush ");
    EXPECT_EQ(test::read_text(taken.folder.file("tpm/pcrs.bin")).substr(4 * 32, 2), "DD");
    EXPECT_EQ(test::read_text(taken.folder.file("tpm/event_log.bin")), "\x09") << "the log is of before";

    quoting_tpm restless;
    restless.before_quote = [](quoting_tpm& it) { ++it.plan.pcrs[4][0]; };
    const captured never(restless);
    EXPECT_FALSE(never.quoted);
    EXPECT_TRUE(never.has_pcrs);
    EXPECT_EQ(never.problem(), "tpm/quote.bin: the PCRs change while they are quoted");
    EXPECT_EQ(restless.commands, "create quote quote quote quote quote flush ");
}

struct refusal_row {
    std::uint32_t command;
    std::uint32_t code;
    const char* says;  // a part of it
    const char* calls;
};
constexpr refusal_row refusal_rows[] = {
    {tpm::command_create_primary, 0x9A2, "the authorization of the endorsement hierarchy is set", "create "},
    {tpm::command_create_primary, 0x185, "the endorsement hierarchy is disabled", "create "},
    {tpm::command_create_primary, 0x902, "memory for keys is used up by other programs", "create "},
    {tpm::command_create_primary, 0x143, "it does not know this command (response code 0x143). A recorded",
     "create "},
    {tpm::command_create_primary, 0x2E6, "it does not know the curve P-256", "create create "},
    {tpm::command_quote, 0x1D5, "the nonce may be longer than this TPM takes (response code 0x1d5)",
     "create quote flush "},
    {tpm::command_quote, 0x922, "it is busy; try again", "create quote flush "},
    {tpm::command_quote, 0xB0143, "(response code 0xb0143)", "create quote flush "},
    {tpm::command_quote, 0x77, "it refuses the command (response code 0x077)", "create quote flush "},
};

TEST(CaptureQuote, SaysWhatTheTpmRefusesAndKeepsThePcrs) {
    for (const refusal_row& row : refusal_rows) {
        quoting_tpm tpm;
        tpm.refusals[row.command] = row.code;
        const captured taken(tpm);
        EXPECT_FALSE(taken.quoted);
        EXPECT_TRUE(taken.has_pcrs);
        EXPECT_TRUE(taken.problem().starts_with("tpm/quote.bin: the TPM ")) << taken.problem();
        EXPECT_NE(taken.problem().find(row.says), std::string::npos) << taken.problem();
        EXPECT_EQ(tpm.commands, row.calls) << row.says;
    }
}

// Whatever it answers, at any length: no quote is taken from it, and a key that was made is gone.
TEST(CaptureQuote, TakesNothingMalformed) {
    quoting_tpm whole;
    const captured model(whole);
    const bytes made = lab::byte_builder().u16_be(0x8002).u32_be(18).u32_be(0).u32_be(7).u32_be(0xFFFFFFF0).take();
    for (const std::uint32_t command : {tpm::command_create_primary, tpm::command_quote}) {
        for (std::size_t size = 0; size <= made.size(); ++size) {
            bytes answer(made.begin(), made.begin() + static_cast<std::ptrdiff_t>(size));
            if (size > 5) {
                answer[5] = static_cast<std::uint8_t>(size);  // its own length is right
            }
            quoting_tpm tpm;
            tpm.answers[command] = answer;
            const captured taken(tpm);
            EXPECT_FALSE(taken.quoted) << size;
            const bool has_handle = command == tpm::command_quote || size >= 14;
            EXPECT_EQ(tpm.commands.ends_with("flush "), has_handle) << size;
        }
    }
    quoting_tpm other;
    other.plan.magic = 0;
    EXPECT_FALSE(captured(other).quoted) << "what does not verify is not kept";
}

}  // namespace
}  // namespace vellum::reporting
