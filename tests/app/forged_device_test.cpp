// What forge makes is what it says it makes.
#include <gtest/gtest.h>

#include "app/stages.h"
#include "app/validate_mode.h"
#include "firmware/commands.h"
#include "lab/device.h"
#include "lab/fault_stages.h"
#include "lab/faults.h"
#include "tests/app/recorded_run.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

constexpr std::uint32_t boot_services_application = 0x80000003;

lab::device forged(const char* fault_name) {
    lab::device made;
    EXPECT_EQ(lab::make_device({}, made), result::success);
    if (const lab::fault* fault = lab::find_fault(fault_name); fault != nullptr) {
        fault->since(made);
    }
    return made;
}

lab::fault_stages measured(const lab::fault& fault) {
    lab::device_plan plan;
    lab::device made;
    if (fault.plan != nullptr) {
        fault.plan(plan);
    }
    EXPECT_EQ(lab::make_device(plan, made), result::success);
    if (fault.since != nullptr) {
        fault.since(made);
    }
    const test::temp_dir dir;
    EXPECT_EQ(lab::write_device(made, dir.path().string()), result::success);
    native_platform native;
    recorded_platform device(native.services());
    EXPECT_EQ(device.load(dir.path().string()), result::success);
    const platform machine = device.services();
    test::fake_console console;
    log_start(console, machine.time, machine.errors);
    validation_state state(machine);
    command_options options;
    options.config_file = dir.file("kxl.ini");
    EXPECT_EQ(read_expectations(options, state), result::success) << fault.name;
    lab::fault_stages stages{fault.name};
    for (const auto& row : stage_rows()) {
        const auto warnings = state.stages.warnings;
        run_stage(row.slot, state);
        stages.failed |= state.stages.states[row.slot] == STAGE_FAILED ? slots(row.slot) : 0;
        stages.warned |= state.stages.warnings > warnings ? slots(row.slot) : 0;
    }
    state.link.close();
    log_stop();
    return stages;
}

std::string names_of(stage_set set) {
    std::string names;
    for (const auto& row : stage_rows()) {
        names += (set & slots(row.slot)) != 0 ? std::string(row.name) + "\n" : "";
    }
    return names;
}

TEST(ForgedDevice, FailsWhereItsFaultIsSaidToFail) {
    for (const lab::fault* fault : lab::all_faults()) {
        const lab::fault_stages actual = measured(*fault);
        const lab::fault_stages* said = lab::find_fault_stages(fault->name);
        EXPECT_NE(said, nullptr) << fault->name << "\nfails at\n"
                                 << names_of(actual.failed) << "warns at\n"
                                 << names_of(actual.warned);
        if (said == nullptr) {
            continue;
        }
        EXPECT_EQ(names_of(said->failed), names_of(actual.failed)) << fault->name;
        EXPECT_EQ(names_of(said->warned), names_of(actual.warned)) << fault->name;
        const bool fails = std::string_view(fault->says).find("(a ") == std::string_view::npos;
        EXPECT_EQ(actual.failed != 0, fails) << fault->name;
    }
}

// The path in the file path node of UEFI_IMAGE_LOAD_EVENT: address, length and link address of the image, length of
// the device path, and its nodes up to the one that ends it. Empty for anything else.
std::string loaded_path(byte_view data) {
    byte_reader reader(data);
    std::uint64_t address = 0;
    std::uint64_t image_size = 0;
    std::uint64_t path_size = 0;
    std::string path;
    if (!reader.u64_le(address) || !reader.u64_le(image_size) || !reader.skip(8) || !reader.u64_le(path_size) ||
        address == 0 || image_size == 0 || path_size != reader.remaining()) {
        return "";
    }
    std::uint8_t type = 0;
    std::uint8_t subtype = 0;
    std::uint16_t size = 0;
    byte_view body;
    while (reader.u8(type) && reader.u8(subtype) && reader.u16_le(size) && size >= 4 &&
           reader.view(size - 4U, body)) {
        if (type == 0x7F) {
            return subtype == 0xFF && reader.remaining() == 0 ? path : "";
        }
        for (std::size_t i = 0; type == 0x04 && subtype == 0x04 && i + 2 < body.size(); i += 2) {
            path += static_cast<char>(body[i]);
        }
    }
    return "";
}

TEST(ForgedDevice, StartsItsBootLoadersWithProperEvents) {
    for (const auto& [fault, path] :
         {std::pair("", "\\EFI\\BOOT\\BOOTX64.EFI"), std::pair("boot-loader", "\\EFI\\BOOT\\OTHER.EFI"),
          std::pair("forged-log", "\\EFI\\BOOT\\BOOTX64.EFI")}) {
        lab::device made = forged(fault);
        const lab::log_event* event = lab::find_event(made, 4, boot_services_application);
        ASSERT_NE(event, nullptr) << fault;
        EXPECT_EQ(loaded_path(event->data), path) << fault;
    }
}

}  // namespace
}  // namespace vellum
