#include "firmware/commands.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "core/text.h"
#include "firmware/feature_state.h"
#include "firmware/version.h"
#include "lab/firmware_builder.h"
#include "tests/firmware/fake_device.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"

namespace vellum {
namespace {

using test::bytes;

FirmwareCommandContext context_named(const char* operation) {
    FirmwareCommandContext context;
    context.operation = operation;
    return context;
}

// The four commands as one shape: what is sent, a good answer, and what comes of it as hexadecimal text.
struct command_case {
    const char* name;
    std::function<result(FirmwareCommandContext&, std::string&)> run;
    bytes answer;
    std::size_t smallest;  // bytes of the answer that are needed
    std::string request;
    std::string outcome;
    const char* call;
};

std::string deactivation_request(const std::string& reason_and_text) {
    return "010000000600000099000000" + reason_and_text + std::string(2 * 153 - reason_and_text.size(), '0');
}

std::vector<command_case> command_cases() {
    lab::file_builder file;
    file.file = {0x50, 0x47, 0x4D, 0x46};
    bytes file_answer = build(file);
    file_answer.push_back(0xEE);  // not part of the file
    lab::feature_state_builder state;
    state.records.assign(328, 0x11);
    return {
        {"GetVersion",
         [](FirmwareCommandContext& context, std::string& out) {
             firmware_version version;
             const result run = get_version(context, version);
             out = std::to_string(version.major) + "." + std::to_string(version.minor);
             return run;
         },
         build(lab::version_builder()), 18, "010000000A00000000000000", "1.0", "retrieving the KVR Feature Version"},
        {"FeatureGetState",
         [](FirmwareCommandContext& context, std::string& out) {
             bytes response;
             const result run = get_feature_state(context, response);
             out = std::to_string(response.size());
             return run;
         },
         build(state), 1532, "010000000700000000000000", "1532", "retrieving the KVR Feature State"},
        {"GmFileGet",
         [](FirmwareCommandContext& context, std::string& out) {
             bytes pmf;
             const result run = get_pmf(context, pmf);
             out = upper_hex(pmf);
             return run;
         },
         file_answer, 22, "010000000100000000000000", "50474D46", "retrieving Platform Measurements"},
        {"FeatureDeactivate",
         [](FirmwareCommandContext& context, std::string&) {
             return deactivate_feature(context, as_bytes("why"), 2);
         },
         build(lab::deactivate_builder()), 16, deactivation_request("02776879"), "", "deactivating the KVR Feature"},
    };
}

TEST(Command, SendsItsRequestAndTakesItsAnswer) {
    for (const command_case& row : command_cases()) {
        SCOPED_TRACE(row.name);
        test::log_session session;
        test::connection link;
        link.device.answer = row.answer;
        set_console_threshold(log_level::debug);
        FirmwareCommandContext context;
        std::string outcome;
        EXPECT_EQ(row.run(context, outcome), result::success);
        EXPECT_EQ(outcome, row.outcome);
        EXPECT_EQ(context.call, std::string(row.call));
        ASSERT_EQ(link.device.sent.size(), 1U);
        EXPECT_EQ(upper_hex(link.device.sent[0]), row.request);
        EXPECT_NE(session.logged().find("(max buffer size allocated for message: 16384 bytes)"), std::string::npos);
        EXPECT_EQ(session.pushed(), "");
        set_console_threshold(log_level::off);
    }
}

TEST(Command, RefusesAnAnswerThatIsTooShort) {
    for (const command_case& row : command_cases()) {
        test::log_session session;
        test::connection link;
        test::for_each_prefix(row.answer, [&](const bytes& cut) {
            link.device.answer = cut;
            FirmwareCommandContext context = context_named("Test");
            std::string outcome;
            const bool enough = cut.size() >= row.smallest;
            EXPECT_EQ(row.run(context, outcome), enough ? result::success : result::transport_failure);
            const std::size_t fixed = row.smallest == 1532 ? 1204 : std::min<std::size_t>(row.smallest, 18);
            const std::size_t needed = cut.size() < response_header_size ? response_header_size
                                       : cut.size() < fixed              ? fixed
                                                                         : row.smallest;
            const std::string size = std::to_string(cut.size()) + ", expected size in range <" +
                                     std::to_string(needed) + "-16384>.\nTest has failed.\n";
            EXPECT_EQ(session.pushed(),
                      enough ? "" : "Received message of invalid size from PELI. Message size: " + size)
                << row.name;
        });
    }
}

TEST(Command, RefusesCountsThatReachPastTheMessage) {
    test::log_session session;
    test::connection link;
    FirmwareCommandContext context = context_named("Test");
    bytes out;
    lab::file_builder file;
    file.file.assign(100, 1);
    lab::feature_state_builder state;
    state.records.assign(164, 1);
    for (const int claimed : {0, 99, 100, 101, 164, 165, 0x7FFF, 0xFFFF}) {
        file.file_length = state.records_size = static_cast<std::uint16_t>(claimed);
        link.device.answer = build(file);
        EXPECT_EQ(get_pmf(context, out), claimed <= 100 ? result::success : result::transport_failure) << claimed;
        link.device.answer = build(state);
        EXPECT_EQ(get_feature_state(context, out), claimed <= 164 ? result::success : result::transport_failure);
    }
    EXPECT_NE(session.pushed().find("Message size: 118, expected size in range <65553-16384>."), std::string::npos);

    link.device.answer = build(lab::version_builder());
    link.device.answered_length = 0x4001;  // longer than the buffer
    firmware_version version;
    EXPECT_EQ(get_version(context, version), result::transport_failure);
    EXPECT_EQ(session.pushed(),
              "Received message of invalid size from PELI. Message size: 16385, expected size in range <16-16384>.\n"
              "Test has failed.\n");
}

TEST(Command, PassesATransportFailureOn) {
    test::log_session session;
    test::connection link;
    FirmwareCommandContext context = context_named("Test");
    firmware_version version;
    link.device.unwritten = 1;
    EXPECT_EQ(get_version(context, version), result::transport_failure);
    link.device.unwritten = 0;
    link.device.read_result.status = io_status::timed_out;
    EXPECT_EQ(get_version(context, version), result::transport_failure);
    peli_deinit();
    EXPECT_EQ(check_version(context, true), result::transport_failure);
    EXPECT_EQ(
        session.pushed(),
        "Sending command failed. Sent 11 bytes out of 12.\nTest has failed.\n"
        "Timeout occurred (10000ms) while reading from Peli interface.\nTest has failed.\n"
        "Error while sending message. Peli connection not initialized.\nSending command failed. Sent 0 bytes out "
        "of 12.\nTest has failed.\nFailed to retrieve Norvane(R) KVR version.\n");
}

TEST(Command, ReportsTheReasonsAndForgetsThemForTheNext) {
    test::log_session session;
    test::connection link;
    lab::version_builder answer;
    answer.header.status = 7;
    answer.header.command = 6;
    link.device.answer = build(answer);
    FirmwareCommandContext context = context_named("Test");
    context.common_error_reasons = "none";
    context.feature_state = feature_state_active;
    context.seal_state = seal_state_broken;
    firmware_version version;
    EXPECT_EQ(get_version(context, version), result::internal_failure);
    EXPECT_EQ(
        session.pushed(),
        "Most common error reason(s):\nnone\nTest has failed. Failure reason: The firmware API for retrieving the "
        "KVR Feature Version has returned an error SKY_PORT_STATUS_INVALID_PARAM(0x07). The KVR Feature is now: "
        "ACTIVE and the Seal is BROKEN.\n");
    link.device.read_result.status = io_status::timed_out;
    EXPECT_EQ(get_version(context, version), result::transport_failure);
    EXPECT_TRUE(session.pushed().ends_with("\nTest has failed.\n")) << "reports the status of an earlier command";
}

TEST(States, HaveNames) {
    std::string names;
    for (const std::uint32_t state : {0U, 1U, 2U, 3U}) {
        names += std::string(feature_state_name(state)) + ' ' + seal_state_name(state) + ": " +
                 combined_state_description(state, 1) + ", " + combined_state_description(2, state) + '\n';
    }
    EXPECT_EQ(names,
              "Inactive Disabled: INACTIVE, ACTIVE and the Seal is DISABLED\n"
              "Configured Intact: CONFIGURED and the Seal is *not* active, ACTIVE and the Seal is INTACT\n"
              "Active Broken: ACTIVE and the Seal is INTACT, ACTIVE and the Seal is BROKEN\n"
              "Unknown Unknown: UNKNOWN, ACTIVE\n");
}

TEST(Deactivate, CutsTheTextAndSendsNothingThatIsNotAllowed) {
    test::log_session session;
    test::connection link;
    link.device.answer = build(lab::deactivate_builder());
    FirmwareCommandContext context = context_named("Test");
    EXPECT_EQ(deactivate_feature(context, bytes(200, 0xAA), 0), result::success);
    ASSERT_EQ(link.device.sent.size(), 1U);
    EXPECT_EQ(link.device.sent[0].size(), 165U);
    EXPECT_EQ(link.device.sent[0].back(), 0xAA);
    EXPECT_EQ(deactivate_feature(context, as_bytes(""), 3), result::invalid);
    EXPECT_EQ(session.pushed(), "Provided unseal reason 3 is invalid. Expected: [0, 1, 2].\nTest has failed.\n");
    EXPECT_EQ(deactivate_feature(context, {}, 0), result::internal_failure);
    EXPECT_TRUE(session.logged().ends_with("ERROR: Internal parameter text is null.\n"));
    EXPECT_EQ(link.device.sent.size(), 1U);
}

TEST(FeatureState, IsDecoded) {
    test::log_session session;
    lab::feature_state_builder builder;
    builder.feature_state = 1;
    builder.seal_state = 2;
    builder.configuration = 0x7FFF;
    builder.hotkey.assign(64, 7);
    builder.opt_out_interval = 15;
    builder.reserved = UINT32_MAX;
    builder.signature = {1, 0, 0, 0, 1, 0, 0, 0};
    builder.records.assign(164, 0x22);
    builder.trailing = {0x33};
    feature_state_response state;
    EXPECT_TRUE(state.seal_log_block().empty() && state.seal_signature().empty());
    ASSERT_EQ(parse_feature_state(build(builder), state), result::success);
    EXPECT_EQ(std::tie(state.feature_state, state.seal_state, state.configuration, state.sealed_algorithm),
              std::make_tuple(1U, 2U, 0x7FFF, 1U));
    EXPECT_EQ(std::tie(state.seal.hotkey_length, state.seal.hotkey[63], state.seal.hotkey[64],
                       state.seal.opt_out_interval, state.seal.flags.pmf_signing),
              std::make_tuple(64U, 7, 0, 15U, 1));
    EXPECT_EQ(state.seal_signature().size(), 1100U);
    EXPECT_EQ(upper_hex(state.seal_signature().first(5)), "0100000001");
    EXPECT_EQ(state.seal_log_block().size(), 1182U + 164 + 1);
    EXPECT_EQ(upper_hex(state.seal_log_block().subspan(1180, 3)), "A40022");

    builder.trailing.clear();
    test::for_each_prefix(build(builder), [&](bytes cut) {
        EXPECT_EQ(parse_feature_state(std::move(cut), state), result::transport_failure);
    });
    EXPECT_EQ(state.seal.hotkey_length, 64U) << "a failed parse changes nothing";

    builder.hotkey_length = UINT32_MAX;
    EXPECT_EQ(parse_feature_state(build(builder), state), result::success);
    EXPECT_EQ(std::tie(state.seal.hotkey_length, state.seal.hotkey[63], state.seal.hotkey[64]),
              std::make_tuple(UINT32_MAX, 7, 0));
}

}  // namespace
}  // namespace vellum
