// A forged device captured through its services is the same device to a validation.
#include <gtest/gtest.h>

#include "lab/capture.h"
#include "lab/device.h"
#include "lab/faults.h"
#include "tests/app/recorded_run.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

TEST(CapturedDevice, IsReportedAsTheOneItWasTakenFrom) {
    for (const char* name : {"", "no-client", "seal-broken", "forged-log", "partition-moved", "bom-file"}) {
        const lab::fault* fault = lab::find_fault(name);
        ASSERT_EQ(fault == nullptr, *name == '\0') << name;
        lab::device made;
        ASSERT_EQ(lab::make_device({}, made), result::success);
        if (fault != nullptr) {
            fault->since(made);
        }
        const test::temp_dir original;
        const test::temp_dir copy;
        ASSERT_EQ(lab::write_device(made, original.path().string()), result::success);
        {
            test::log_session log;
            native_platform native;
            recorded_platform device(native.services());
            ASSERT_EQ(device.load(original.path().string()), result::success);
            const lab::capture_report report =
                lab::capture(device.services(), copy.path().string(), {"C:\\bom\\system.bom"});
            EXPECT_EQ(report.problems, std::vector<std::string>()) << name;
        }
        for (const char* configured : {"kxl.ini", "trusted", "intermediate"}) {
            std::filesystem::copy(original.path() / configured, copy.path() / configured,
                                  std::filesystem::copy_options::recursive);
        }
        const test::outcome expected = test::validate(original.path().string(), original.file("kxl.ini"), "2");
        EXPECT_EQ(expected.code == 0, fault == nullptr) << expected.text;
        EXPECT_EQ(test::validate(copy.path().string(), copy.file("kxl.ini"), "2").text, expected.text) << name;
    }
}

}  // namespace
}  // namespace vellum
