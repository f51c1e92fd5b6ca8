#include "tpm/tbs/tpm_access.h"

#include <gtest/gtest.h>

#include "core/text.h"
#include "lab/byte_builder.h"
#include "tests/support/fake_tbs.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"
#include "tpm/tbs/pcr_read.h"

namespace vellum {
namespace {

using test::bytes;
using test::fake_tbs;

enum class operation { read_pcrs, load_log };

struct failure_row {
    const char* name;
    operation which;
    void (*change)(fake_tbs&);
    std::string pushed;
    std::string logged;  // at error
};

constexpr const char* not_located =
    "Could not communicate with TPM using the TPM Base Services (TBS). TBS dynamic library tbs.dll could not be "
    "located. If you are running on Windows* PE please ensure you have the WinPE-SecureStartup component installed "
    "in "
    "your image.";
constexpr const char* no_directory =
    "An unexpected error occurred while trying to retrive the path of the system directory during loading TBS API.";
constexpr const char* no_submit =
    "An error occurred while trying to get an address for function Tbsip_Submit_Command in the library tbs.dll";
constexpr const char* no_log =
    "Could not retrive the TPM Event Log. Communication with TPM using the TPM Base Services (TBS) failed.";
constexpr const char* no_close =
    "Cannot close context for TPM 2.0. Communication with TPM using the TPM Base Services (TBS) failed.";

std::string tbs_failed(int code) {
    return "ERROR: Failed to communicate with TBS API.\nERROR:  Error: system text " + std::to_string(code) + "\n";
}

std::string library_failed(const std::string& text) {
    return "ERROR: " + text + "\nERROR:  Error: system text 5\n";
}

const failure_row failure_rows[] = {
    {"LibraryMissing", operation::read_pcrs, [](fake_tbs& fake) { fake.found = false; },
     std::string(not_located) + "\n", library_failed(not_located)},
    {"NoSystemDirectory", operation::load_log, [](fake_tbs& fake) { fake.directory.reset(); },
     std::string(no_directory) + "\n", library_failed(no_directory)},
    {"FunctionMissing", operation::read_pcrs, [](fake_tbs& fake) { fake.missing = {"Tbsip_Submit_Command"}; },
     std::string(no_submit) + "\n", library_failed(no_submit)},
    {"DeviceInfo", operation::load_log, [](fake_tbs& fake) { fake.device_info_code = 11; },
     "An unexpected error occurred while trying to obtain the version of the TPM.\n", tbs_failed(11)},
    {"Tpm12", operation::read_pcrs, [](fake_tbs& fake) { fake.tpm_version = 1; },
     "TPM version on this platform is not supported. Expected: TPM 2.0, Actual: TPM 1.2.\n", ""},
    {"CreateContext", operation::read_pcrs, [](fake_tbs& fake) { fake.create_code = 12; },
     "Cannot create context for TPM 2.0. Communication with TPM using the TPM Base Services (TBS) failed.\n",
     tbs_failed(12)},
    {"CloseContext", operation::read_pcrs, [](fake_tbs& fake) { fake.close_code = 13; }, std::string(no_close) + "\n",
     tbs_failed(13)},
    {"CloseContextAfterAFailure", operation::load_log,
     [](fake_tbs& fake) { fake.close_code = 13, fake.log_code = 14; }, std::string(no_close) + "\n" + no_log + "\n",
     tbs_failed(13) + tbs_failed(14)},
    {"Submit", operation::read_pcrs, [](fake_tbs& fake) { fake.submit_code = 15; },
     "Could not retrive PCRs from TPM. Communication with TPM using the TPM Base Services (TBS) failed.\n",
     tbs_failed(15)},
    {"LogWithEx", operation::load_log, [](fake_tbs& fake) { fake.log_code = 14; }, std::string(no_log) + "\n",
     tbs_failed(14)},
    {"LogWithoutEx", operation::load_log,
     [](fake_tbs& fake) { fake.log_code = 14, fake.missing = {"Tbsi_Get_TCG_Log_Ex"}; }, std::string(no_log) + "\n",
     tbs_failed(14)},
    {"ExLostOnTheWay", operation::load_log,
     [](fake_tbs& fake) {
         fake.on_call = [&fake](const std::string& name) {
             if (name == "Tbsi_Get_TCG_Log_Ex") {
                 fake.missing = {name};
             }
         };
     },
     std::string(no_log) + "\n",
     "ERROR: An unexpected error occured. The function Tbsi_Get_TCG_Log_Ex does not exist, but was available when "
     "retriving TPM size.\n" +
         library_failed(no_log)},
    {"EmptyLog", operation::load_log, [](fake_tbs& fake) { fake.log.clear(); }, "", ""},
    {"HugeLog", operation::load_log, [](fake_tbs& fake) { fake.log_sizes = {UINT32_MAX}; },
     "TPM Event Log of 4294967295 bytes is too large. The limit is 268435456 bytes.\n", ""},
    {"LogGrowsBetweenTheCalls", operation::load_log,
     [](fake_tbs& fake) {
         fake.log_sizes = {3, 4};
     },
     "TPM Event Log of 4 bytes does not fit its buffer of 3 bytes.\n", ""},
    {"ResponseOverflows", operation::read_pcrs,
     [](fake_tbs& fake) { fake.change_response = [](bytes& answer) { answer.resize(513); }; }, "", ""},
    {"AnythingElse", operation::read_pcrs,
     [](fake_tbs& fake) { fake.on_call = [](const std::string&) { throw std::runtime_error("what it says"); }; },
     "Unexpected error occured: what it says\n.\n", ""},
};

TEST(TpmAccess, SaysWhatFailed) {
    for (const failure_row& row : failure_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session;
        fake_tbs fake;
        row.change(fake);
        pcr_value_list pcrs{};
        std::vector<std::uint8_t> log = {9};
        const result done =
            row.which == operation::read_pcrs ? read_pcrs_via_tbs(fake, pcrs) : load_tpm_log_via_tbs(fake, log);
        EXPECT_EQ(done, result::io_failure);
        EXPECT_EQ(session.logged(), row.logged);
        EXPECT_EQ(session.pushed(), row.pushed);
        EXPECT_TRUE(row.which == operation::read_pcrs || log.empty());
        EXPECT_EQ(fake.calls.ends_with(" unload"), fake.found) << fake.calls;
        EXPECT_EQ(fake.calls.find(tbs::context_create_name) != std::string::npos && fake.create_code == 0,
                  fake.calls.find(tbs::context_close_name) != std::string::npos)
            << fake.calls;
    }
}

TEST(TpmAccess, ReadsAllPcrsInThreeCommands) {
    test::log_session session(log_level::debug);
    fake_tbs fake;
    for (std::size_t pcr = 0; pcr < pcr_count; ++pcr) {
        fake.pcrs[pcr].fill(static_cast<std::uint8_t>(pcr + 1));
    }
    pcr_value_list pcrs{};
    ASSERT_EQ(read_pcrs_via_tbs(fake, pcrs), result::success);
    EXPECT_EQ(pcrs, fake.pcrs);
    ASSERT_EQ(fake.commands.size(), 3U);
    EXPECT_EQ(upper_hex(fake.commands[1]), "8001000000140000017E00000001000B0300FF00");
    EXPECT_EQ(fake.calls,
              " load Tbsi_GetDeviceInfo Tbsi_Context_Create Tbsip_Submit_Command Tbsip_Submit_Command "
              "Tbsip_Submit_Command Tbsip_Context_Close unload");
    const std::string logged = session.logged();
    EXPECT_TRUE(logged.starts_with(
        "The library DIR\\tbs.dll for communication with TPM Base Services has been loaded succesfully.\n"
        "Checking whether TPM 2.0 version is supported on the platform.\n"
        "Trying to retrive the address of an exported function Tbsi_GetDeviceInfo.\n"
        "The address of an exported function Tbsi_GetDeviceInfo retrieved succesfully.\n"
        "TPM 2.0 is supported on the platform.\nTrying to create context for TPM 2.0.\n"))
        << logged;
    EXPECT_NE(logged.find("with following data.\n\tLocality: 0\n\tPriority: 200\n"
                          "\tCommand: 0x8001000000140000017E00000001000B030000FF\n"
                          "Closing context for TPM 2.0.\n"),
              std::string::npos)
        << logged;
    EXPECT_TRUE(logged.ends_with("Context for TPM 2.0 has been closed successfully.\n")) << logged;
}

TEST(TpmAccess, TakesSizeAndBytesOfTheLogFromOneFunction) {
    for (const bool ex : {true, false}) {
        test::log_session session(log_level::debug);
        fake_tbs fake;
        fake.log_sizes = {3, 2};
        fake.missing = ex ? std::set<std::string>() : std::set<std::string>{"Tbsi_Get_TCG_Log_Ex"};
        std::vector<std::uint8_t> log;
        ASSERT_EQ(load_tpm_log_via_tbs(fake, log), result::success);
        EXPECT_EQ(log, (bytes{1, 2}));
        const std::string function = ex ? "Tbsi_Get_TCG_Log_Ex" : "Tbsi_Get_TCG_Log";
        EXPECT_NE(fake.calls.find(function + " " + function + " Tbsip_Context_Close unload"), std::string::npos);
        const std::string logged = session.logged();
        EXPECT_NE(logged.find("Trying to retrive the size of TPM Event log using function " + function + ".\n"),
                  std::string::npos);
        EXPECT_NE(logged.find("Trying to retrive the TPM Event log using function " + function +
                              ".\nTPM Event Log has been retrieved successfully.\nTPM Event Log size has been "
                              "retrieved successfully. The number of retrieved bytes: (2)\n"),
                  std::string::npos)
            << logged;
        EXPECT_EQ(logged.find("The minimum supported client for function is Windows 10, version 1803.") ==
                      std::string::npos,
                  ex);
    }
}

// Response to the read of PCRs ----------------------------------------------------------------------------------

struct response_row {
    const char* name;
    void (*change)(bytes&);
    hresult expected;
    bool keep_size = false;  // else the size field is made to fit
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
    {"FiveBytes", [](bytes& r) { r.resize(5); }, cut_short, true},
    {"SizeTooLarge", [](bytes& r) { set_be32(r, 2, static_cast<std::uint32_t>(r.size()) + 1); }, hresult::failure,
     true},
    {"NineBytesOfAnotherSize", [](bytes& r) { r.resize(9); }, hresult::failure, true},
    {"NineBytes", [](bytes& r) { r.resize(9); }, cut_short},
    {"ErrorCode", [](bytes& r) { r.resize(10), r[9] = 1; }, hresult::failure},
    {"TenBytes", [](bytes& r) { r.resize(10); }, cut_short},
    {"TwentySevenBytes", [](bytes& r) { r.resize(27); }, cut_short},
    {"NoDigests", [](bytes& r) { r.resize(28), set_be32(r, 24, 0); }, hresult::success},
    {"DigestWithoutSize", [](bytes& r) { r.resize(29), set_be32(r, 24, 1); }, cut_short},
    {"DigestCutShort", [](bytes& r) { r.pop_back(); }, cut_short},
    {"MoreDigestsThanClaimed", [](bytes& r) { set_be32(r, 24, UINT32_MAX); }, cut_short},
    {"DigestOf33Bytes", [](bytes& r) { r[29] = 33; }, hresult::failure},
};

TEST(PcrReadResponse, ChecksInOrder) {
    fake_tbs fake;
    for (const response_row& row : response_rows) {
        SCOPED_TRACE(row.name);
        bytes response = fake.response(0);
        row.change(response);
        if (!row.keep_size) {
            set_be32(response, 2, static_cast<std::uint32_t>(response.size()));
        }
        pcr_value_list pcrs{};
        std::size_t copied = 0;
        EXPECT_EQ(read_pcr_response(response, 0, copied, pcrs), row.expected);
    }
}

TEST(PcrReadResponse, TakesNoMoreThanAllPcrs) {
    fake_tbs fake;
    for (auto& value : fake.pcrs) {
        value.fill(7);
    }
    pcr_value_list pcrs{};
    std::size_t copied = 768 - 31;
    EXPECT_EQ(read_pcr_response(fake.response(2), 2, copied, pcrs), hresult::invalid_argument);
    copied = 769;
    EXPECT_EQ(read_pcr_response(fake.response(2), 2, copied, pcrs), hresult::invalid_argument);
    copied = 0;
    EXPECT_EQ(read_pcr_response(fake.response(2), 3, copied, pcrs), hresult::failure);
    EXPECT_EQ(pcrs, pcr_value_list());
    copied = 64;
    EXPECT_EQ(read_pcr_response(fake.response(2), 2, copied, pcrs), hresult::success);
    EXPECT_EQ(copied, 64U + 256U);
    EXPECT_EQ(pcrs[15], pcr_value());
    EXPECT_EQ(pcrs[16], fake.pcrs[16]);
}

TEST(PcrReadResponse, StandsAnyDamage) {
    fake_tbs fake;
    const auto read = [](bytes response) {
        pcr_value_list pcrs{};
        std::size_t copied = 0;
        static_cast<void>(read_pcr_response(response, 2, copied, pcrs));
        EXPECT_LE(copied, 768U);
    };
    test::for_each_prefix(fake.response(2), read);
    test::for_each_byte_change(fake.response(2), read);
}

}  // namespace
}  // namespace vellum
