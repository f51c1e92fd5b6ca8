#include "firmware/commands.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "base/text.h"
#include "firmware/feature_state.h"
#include "firmware/version.h"
#include "lab/firmware_builder.h"
#include "tests/firmware/fake_device.h"
#include "tests/support/log_session.h"
#include "tests/support/tamper.h"

namespace vellum {
namespace {

using test::bytes;

// The four commands as one shape.
struct command_case {
    const char* name;
    std::function<result(FirmwareCommandContext&)> run;
    bytes answer;
    std::size_t smallest;  // bytes of the answer that are needed
};

std::vector<command_case> command_cases() {
    lab::file_builder file;
    file.file = {0x50, 0x47, 0x4D, 0x46};
    bytes file_answer = build(file);
    file_answer.push_back(0xEE);  // not part of the file
    lab::feature_state_builder state;
    state.records.assign(328, 0x11);
    return {
        {"GetVersion",
         [](FirmwareCommandContext& context) {
             firmware_version version;
             return get_version(context, version);
         },
         build(lab::version_builder()), 18},
        {"FeatureGetState",
         [](FirmwareCommandContext& context) {
             bytes response;
             return get_feature_state(context, response);
         },
         build(state), 1532},
        {"GmFileGet",
         [](FirmwareCommandContext& context) {
             bytes pmf;
             const result run = get_pmf(context, pmf);
             EXPECT_EQ(upper_hex(pmf), ok(run) ? "50474D46" : "");
             return run;
         },
         file_answer, 22},
        {"FeatureDeactivate",
         [](FirmwareCommandContext& context) { return deactivate_feature(context, as_bytes("why"), 2); },
         build(lab::deactivate_builder()), 16},
    };
}

TEST(Command, RefusesAnAnswerThatIsTooShort) {
    for (const command_case& row : command_cases()) {
        test::log_session session;
        test::connection link;
        test::for_each_prefix(row.answer, [&](const bytes& cut) {
            link.device.answer = cut;
            FirmwareCommandContext context = link.context_named("Test");
            const bool enough = cut.size() >= row.smallest;
            EXPECT_EQ(row.run(context), enough ? result::success : result::transport_failure) << row.name;
            EXPECT_EQ(session.pushed().ends_with("-16384>.\nTest has failed.\n"), !enough) << row.name;
        });
    }
}

TEST(Command, RefusesCountsThatReachPastTheMessage) {
    test::log_session session;
    test::connection link;
    FirmwareCommandContext context = link.context_named("Test");
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

TEST(Command, ReportsTheReasonsAndForgetsThemForTheNext) {
    test::log_session session;
    test::connection link;
    lab::version_builder answer;
    answer.header.status = 7;
    answer.header.command = 6;
    link.device.answer = build(answer);
    FirmwareCommandContext context = link.context_named("Test");
    context.common_error_reasons = "none";
    context.feature_state = feature_state_active;
    context.seal_state = seal_state_broken;
    firmware_version version;
    EXPECT_EQ(get_version(context, version), result::internal_failure);
    EXPECT_EQ(
        session.pushed(),
        "none\nMost common error reason(s):\nTest has failed. Failure reason: The firmware API for retrieving the "
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
    FirmwareCommandContext context = link.context_named("Test");
    EXPECT_EQ(deactivate_feature(context, bytes(200, 0xAA), 0), result::success);
    ASSERT_EQ(link.device.sent.size(), 1U);
    EXPECT_EQ(link.device.sent[0].size(), 165U);
    EXPECT_EQ(link.device.sent[0].back(), 0xAA);
    EXPECT_EQ(deactivate_feature(context, as_bytes(""), 3), result::invalid);
    EXPECT_EQ(deactivate_feature(context, {}, 0), result::internal_failure);
    EXPECT_TRUE(session.logged().ends_with("ERROR: Internal parameter text is null.\n"));
    EXPECT_EQ(link.device.sent.size(), 1U);
}

TEST(FeatureState, IsDecodedWhole) {
    test::log_session session;
    lab::feature_state_builder builder;
    builder.hotkey.assign(64, 7);
    builder.hotkey_length = UINT32_MAX;
    builder.reserved = UINT32_MAX;
    builder.records.assign(164, 0x22);
    builder.trailing = {0x33};
    feature_state_response state;
    EXPECT_TRUE(state.seal_log_block().empty() && state.seal_signature().empty());
    ASSERT_EQ(parse_feature_state(build(builder), state), result::success);
    EXPECT_EQ(std::tie(state.seal.hotkey_length, state.seal.hotkey[63], state.seal.hotkey[64]),
              std::make_tuple(UINT32_MAX, 7, 0));
    EXPECT_EQ(state.seal_signature().size(), 1100U);
    EXPECT_EQ(upper_hex(state.seal_log_block().subspan(1180, 3)), "A40022");
    EXPECT_EQ(state.seal_log_block().size(), 1182U + 164 + 1);
    builder.trailing.clear();
    test::for_each_prefix(build(builder), [&](bytes cut) {
        EXPECT_EQ(parse_feature_state(std::move(cut), state), result::transport_failure);
    });
    EXPECT_EQ(state.seal.hotkey_length, UINT32_MAX) << "a failed parse changes nothing";
}

}  // namespace
}  // namespace vellum
