#include "tpm/tbs/tpm_access.h"

#include <gtest/gtest.h>

#include "tests/support/fake_tbs.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"
#include "tpm/tbs/pcr_read.h"

namespace vellum {
namespace {

using test::bytes;
using test::fake_tbs;

const std::string no_directory =
    "An unexpected error occurred while trying to retrive the path of the system directory during loading TBS API.\n";
const std::string no_submit =
    "An error occurred while trying to get an address for function Tbsip_Submit_Command in the library tbs.dll\n";
const std::string tbs_failed = " Communication with TPM using the TPM Base Services (TBS) failed.\n";
const std::string no_log = "Could not retrive the TPM Event Log." + tbs_failed;
const std::string no_close = "Cannot close context for TPM 2.0." + tbs_failed;
const std::string ex_lost =
    "ERROR: An unexpected error occured. The function Tbsi_Get_TCG_Log_Ex does not exist, but was available when "
    "retriving TPM size.\n";

std::string service_error(int code) {
    return "ERROR: Failed to communicate with TBS API.\nERROR:  Error: system text " + std::to_string(code) + "\n";
}

std::string library_error(const std::string& text) {
    return "ERROR: " + text + "ERROR:  Error: system text 5\n";
}

template <std::uint32_t Size>
void* log_of_claimed_size() {
    const tbs::get_tcg_log_ex claim = [](std::uint32_t, std::uint8_t* buffer, std::uint32_t* size) {
        *size = buffer == nullptr && Size == 4 ? 3 : Size;
        return tbs::success;
    };
    return reinterpret_cast<void*>(claim);
}

void* overlong_response() {
    const tbs::submit_command answer = [](void*, std::uint32_t, std::uint32_t, const std::uint8_t*, std::uint32_t,
                                          std::uint8_t*, std::uint32_t* size) { return *size = 513, tbs::success; };
    return reinterpret_cast<void*>(answer);
}

struct failure_row {
    const char* name;
    enum { PCRS, LOG } operation;
    void (*change)(fake_tbs&);
    std::string pushed;
    std::string logged;  // at error
};

const failure_row failure_rows[] = {
    {"NoSystemDirectory", failure_row::LOG, [](fake_tbs& tbs) { tbs.directory.reset(); }, no_directory,
     library_error(no_directory)},
    {"FunctionMissing", failure_row::PCRS, [](fake_tbs& tbs) { tbs.missing = {tbs::submit_command_name}; }, no_submit,
     library_error(no_submit)},
    {"DeviceInfo", failure_row::LOG, [](fake_tbs& tbs) { tbs.info_code = 11; },
     "An unexpected error occurred while trying to obtain the version of the TPM.\n", service_error(11)},
    {"Open", failure_row::PCRS, [](fake_tbs& tbs) { tbs.open_code = 12; },
     "Cannot create context for TPM 2.0." + tbs_failed, service_error(12)},
    {"Close", failure_row::PCRS, [](fake_tbs& tbs) { tbs.close_code = 13; }, no_close, service_error(13)},
    {"CloseAfterAFailure", failure_row::LOG, [](fake_tbs& tbs) { tbs.close_code = 13, tbs.log_code = 14; },
     no_close + no_log, service_error(13) + service_error(14)},
    {"Submit", failure_row::PCRS, [](fake_tbs& tbs) { tbs.submit_code = 15; },
     "Could not retrive PCRs from TPM." + tbs_failed, service_error(15)},
    {"LogWithEx", failure_row::LOG, [](fake_tbs& tbs) { tbs.log_code = 14; }, no_log, service_error(14)},
    {"LogWithoutEx", failure_row::LOG,
     [](fake_tbs& tbs) { tbs.log_code = 14, tbs.missing = {tbs::get_tcg_log_ex_name}; }, no_log, service_error(14)},
    {"ExLostOnTheWay", failure_row::LOG,
     [](fake_tbs& tbs) { tbs.on_log = [](fake_tbs& it) { it.missing = {tbs::get_tcg_log_ex_name}; }; }, no_log,
     ex_lost + library_error(no_log)},
    {"EmptyLog", failure_row::LOG, [](fake_tbs& tbs) { tbs.log.clear(); }, "", ""},
    {"HugeLog", failure_row::LOG,
     [](fake_tbs& tbs) { tbs.replaced[tbs::get_tcg_log_ex_name] = log_of_claimed_size<UINT32_MAX>(); },
     "TPM Event Log of 4294967295 bytes is too large. The limit is 268435456 bytes.\n", ""},
    {"LogGrowsBetweenTheCalls", failure_row::LOG,
     [](fake_tbs& tbs) { tbs.replaced[tbs::get_tcg_log_ex_name] = log_of_claimed_size<4>(); },
     "TPM Event Log of 4 bytes does not fit its buffer of 3 bytes.\n", ""},
    {"ResponseOverflows", failure_row::PCRS,
     [](fake_tbs& tbs) { tbs.replaced[tbs::submit_command_name] = overlong_response(); },
     "Invalid response to the command that reads PCRs (513 bytes, result 0x80004005).\n", ""},
    {"AnythingElse", failure_row::PCRS, [](fake_tbs& tbs) { tbs.throws = true; },
     ".\nUnexpected error occured: what?it says\n", ""},
};

TEST(TpmAccess, SaysWhatFailed) {
    for (const failure_row& row : failure_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session;
        fake_tbs tbs;
        row.change(tbs);
        pcr_value_list pcrs{};
        std::vector<std::uint8_t> log = {9};
        EXPECT_EQ(row.operation == failure_row::PCRS ? read_pcrs_via_tbs(tbs, pcrs) : load_tpm_log_via_tbs(tbs, log),
                  result::io_failure);
        EXPECT_EQ(log.empty(), row.operation == failure_row::LOG);
        EXPECT_EQ(session.logged(), row.logged);
        EXPECT_EQ(session.pushed(), row.pushed);
        const bool opened = tbs.calls.find("open") != std::string::npos && tbs.open_code == 0;
        EXPECT_TRUE(tbs.calls.ends_with(opened ? "close unload " : "unload ")) << tbs.calls;
    }
}

TEST(TpmAccess, ReadsAllPcrsInThreeCommands) {
    test::log_session session(log_level::off);
    fake_tbs tbs;
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        tbs.pcrs[pcr].fill(static_cast<std::uint8_t>(pcr + 1));
    }
    pcr_value_list pcrs{};
    ASSERT_EQ(read_pcrs_via_tbs(tbs, pcrs), result::success);
    EXPECT_EQ(pcrs, tbs.pcrs);
    EXPECT_EQ(tbs.calls, "load open submit0 submit1 submit2 close unload ");
}

TEST(TpmAccess, TakesSizeAndBytesOfTheLogFromOneFunction) {
    for (const bool ex : {true, false}) {
        test::log_session session(log_level::debug);
        fake_tbs tbs;
        tbs.missing = {ex ? "Tbsi_Get_TCG_Log" : "Tbsi_Get_TCG_Log_Ex"};
        std::vector<std::uint8_t> log;
        ASSERT_EQ(load_tpm_log_via_tbs(tbs, log), result::success);
        EXPECT_EQ(log, tbs.log);
        EXPECT_NE(
            session.logged().find("The function Tbsi_Get_TCG_Log_Ex does not exist. The minimum supported client "
                                  "for function is Windows 10, version 1803.\n") == std::string::npos,
            !ex);
    }
}

// Response to the read of PCRs ----------------------------------------------------------------------------------

struct response_row {
    const char* name;
    void (*change)(bytes&);
    hresult expected;
    bool fit_size = true;  // the size field is made to fit
};

void set_be32(bytes& data, std::size_t at, std::uint32_t value) {
    const bytes number = lab::byte_builder().u32_be(value).take();
    std::copy(number.begin(), number.end(), data.begin() + static_cast<std::ptrdiff_t>(at));
}

constexpr hresult cut_short = hresult::invalid_argument;

const response_row response_rows[] = {
    {"AsItShouldBe", [](bytes&) {}, hresult::success},
    {"AnotherTag", [](bytes& r) { r[0] = 0; }, hresult::success},
    {"BytesBehindTheDigests", [](bytes& r) { r.push_back(0); }, hresult::success},
    {"FiveBytes", [](bytes& r) { r.resize(5); }, cut_short, false},
    {"SizeTooLarge", [](bytes& r) { r[5]++; }, hresult::failure, false},
    {"NineBytes", [](bytes& r) { r.resize(9); }, cut_short},
    {"ErrorCode", [](bytes& r) { r.resize(10), r[9] = 1; }, hresult::failure},
    {"TwentySevenBytes", [](bytes& r) { r.resize(27); }, cut_short},
    {"NoDigests", [](bytes& r) { r.resize(28), set_be32(r, 24, 0); }, hresult::success},
    {"DigestCutShort", [](bytes& r) { r.pop_back(); }, cut_short},
    {"MoreDigestsThanClaimed", [](bytes& r) { set_be32(r, 24, UINT32_MAX); }, cut_short},
    {"DigestOf33Bytes", [](bytes& r) { r[29] = 33; }, hresult::failure},
};

TEST(PcrReadResponse, ChecksInOrder) {
    for (const response_row& row : response_rows) {
        bytes response = fake_tbs().response(0);
        row.change(response);
        if (row.fit_size) {
            set_be32(response, 2, static_cast<std::uint32_t>(response.size()));
        }
        pcr_value_list pcrs{};
        std::size_t copied = 0;
        EXPECT_EQ(read_pcr_response(response, 0, copied, pcrs), row.expected) << row.name;
    }
}

TEST(PcrReadResponse, TakesNoMoreThanAllPcrs) {
    struct {
        std::size_t pass, copied;
        hresult expected;
    } const rows[] = {
        {2, 512, hresult::success},  // exactly all
        {2, 513, hresult::invalid_argument},
        {3, 0, hresult::failure},  // PCR 24
    };
    for (const auto& row : rows) {
        pcr_value_list pcrs{};
        std::size_t copied = row.copied;
        EXPECT_EQ(read_pcr_response(fake_tbs().response(2), row.pass, copied, pcrs), row.expected) << row.copied;
        EXPECT_LE(copied, std::max<std::size_t>(row.copied, 768));
    }
}

}  // namespace
}  // namespace vellum
