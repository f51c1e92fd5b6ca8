#include "app/run.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "lab/device.h"
#include "tests/app/recorded_run.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

class failing_listing final : public directory_listing {
  public:
    bool out_of_memory = false;

    os_status list(const std::string&, std::string_view, std::vector<directory_entry>&) override {
        if (out_of_memory) {
            throw std::bad_alloc();
        }
        throw std::runtime_error("the floor\ngives way");
    }
};

TEST(Run, EndsInOrderWhateverIsThrown) {
    const test::temp_dir dir;
    lab::device sound;
    ASSERT_EQ(lab::make_device({}, sound), result::success);
    ASSERT_EQ(lab::write_device(sound, dir.file("device")), result::success);
    for (const bool out_of_memory : {true, false}) {
        failing_listing listing;
        listing.out_of_memory = out_of_memory;
        const test::outcome outcome = test::run_recorded(
            dir.file("device"), {"--validate", "-c", dir.file("device/kxl.ini")}, [&](const platform& recorded) {
                return platform{recorded.output, recorded.time, recorded.errors, recorded.firmware, recorded.tpm,
                                recorded.tables, recorded.os,   listing,         recorded.boot_disk};
            });
        EXPECT_EQ(outcome.code, exit_code(result::internal_failure));
        EXPECT_FALSE(outcome.passed());
        const char* const said = out_of_memory ? "ERROR: Memory allocation error occurred.\n"
                                               : "ERROR: Unexpected error occurred: the floor?gives way.\n";
        EXPECT_NE(outcome.text.find(said), std::string::npos) << outcome.text;
    }
}

}  // namespace
}  // namespace vellum
