// Whatever the firmware answers to any command, in a message whose length the driver may misreport.
#include "firmware/commands.h"
#include "firmware/version.h"
#include "fuzz/fuzz_session.h"
#include "tests/firmware/fake_device.h"

namespace vellum::fuzz {
namespace {

constexpr std::size_t file_offset = 18;  // bytes: of the file in the response

void check_file(test::connection& firmware) {
    const std::vector<std::uint8_t> answer = firmware.device.answer;
    FirmwareCommandContext context = firmware.context_named("fuzz");
    std::vector<std::uint8_t> file;
    if (!ok(get_pmf(context, file))) {
        demand(file.empty(), "no file comes out of a command that failed");
        return;
    }
    byte_reader reader(answer);
    std::uint16_t length = 0;
    byte_view content;
    demand(reader.skip(file_offset - sizeof(length)) && reader.u16_le(length) && reader.view(length, content) &&
               equal_bytes(file, content),
           "the file is what the response counts");
}

void check_deactivation(test::connection& firmware, byte_view text) {
    const std::vector<std::uint8_t> answer = firmware.device.answer;
    FirmwareCommandContext context = firmware.context_named("fuzz");
    if (!ok(deactivate_feature(context, text, 2))) {
        return;
    }
    byte_reader reader(answer);
    std::uint32_t version = 0;
    std::uint32_t command = 0;
    std::uint32_t length = 0;
    std::uint32_t status = 0;
    demand(reader.u32_le(version) && reader.u32_le(command) && reader.u32_le(length) && reader.u32_le(status) &&
               command == 6 && status == 0,
           "the feature is deactivated once the firmware says so");
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    std::uint32_t claimed = 0;
    if (!reader.u32_le(claimed)) {
        return;
    }
    test::connection firmware;
    firmware.device.answer.assign(reader.rest().begin(), reader.rest().end());
    firmware.device.answer.resize(std::min<std::size_t>(reader.remaining(), firmware.link.max_message_length()));
    const auto available = static_cast<std::uint32_t>(firmware.device.answer.size());
    firmware.device.answered_length =
        claimed > firmware.link.max_message_length() ? claimed : std::min(claimed, available);
    check_file(firmware);
    FirmwareCommandContext context = firmware.context_named("fuzz");
    std::vector<std::uint8_t> state;
    demand(!ok(get_feature_state(context, state)) || state.size() <= available, "no byte is made up");
    any_outcome(check_version(context, false));
    check_deactivation(firmware, input);
}

}  // namespace vellum::fuzz
