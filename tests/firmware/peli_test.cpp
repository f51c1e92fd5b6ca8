#include "firmware/peli.h"

#include <gtest/gtest.h>

#include "core/text.h"
#include "tests/firmware/fake_device.h"
#include "tests/support/log_session.h"

namespace vellum {
namespace {

using test::fake_device;

const std::string driver_hint =
    "Unable to initialize PELI connection. Make sure that the appropriate Norvane Orbis driver is installed and have "
    "the right admin privileges.\n";
const std::string control_hint =
    "Could not take over IO Control to Peli interface. Check if it is not used by other process.\n";

struct init_row {
    const char* name;
    void (*change)(fake_device&);
    std::string pushed;
};

const init_row init_rows[] = {
    {"ListSizeFails", [](fake_device& d) { d.list_size_code = 13; },
     "Cannot fetch the buffer size of Peli devices. Command CM_Get_Device_Interface_List_size failed with error: "
     "13.\n" +
         driver_hint},
    {"EmptyList", [](fake_device& d) { d.characters = 1; }, "No active device interfaces.\n" + driver_hint},
    {"ListWithoutPaths", [](fake_device& d) { d.paths.clear(); }, "No active device interfaces.\n" + driver_hint},
    {"HugeList", [](fake_device& d) { d.characters = UINT32_MAX; },
     "Error allocating memory for device interface list. Deinitializing Peli connection.\n" + driver_hint},
    {"ListExhaustsMemory", [](fake_device& d) { d.list_exhausts_memory = true; },
     "Error allocating memory for device interface list. Deinitializing Peli connection.\n" + driver_hint},
    {"ListFails", [](fake_device& d) { d.list_code = 7; },
     "Cannot fetch list of device interfaces. Command CM_Get_Device_Interface_List failed with error : 7.\n" +
         driver_hint},
    {"ListAlwaysGrows", [](fake_device& d) { d.small_lists = INT32_MAX; },
     "The list of device interfaces kept growing while it was fetched.\n" + driver_hint},
    {"OpenFails", [](fake_device& d) { d.opens = false; },
     " Error: system text 5\nError opening Peli interface. Ensure that platform has Peli interface present with "
     "proper "
     "driver installed. CreateFile function failed.Error creating device handle.\n" +
         driver_hint},
    {"NoEvent",
     [](fake_device& d) {
         d.version_result = {io_status::no_event, 0, 8, false};
     },
     " Error: system text 8\nCannot create IO event. CreateEvent function failed.Aborting Peli initialization.\n" +
         control_hint},
    {"ControlFails",
     [](fake_device& d) {
         d.version_result = {io_status::not_started, 0, 6, false};
     },
     " Error: system text 6\nDeviceIoControl function call failed." + control_hint},
    {"ControlTimesOut",
     [](fake_device& d) {
         d.version_result = {io_status::timed_out, 0, 0, true};
     },
     "Timeout occurred (10000ms) while writing to Peli interface.\n" + control_hint},
    {"WaitAbandoned",
     [](fake_device& d) {
         d.version_result = {io_status::wait_abandoned, 0, 0, true};
     },
     "Waiting for object was abandoned.\n" + control_hint},
    {"WaitFails",
     [](fake_device& d) {
         d.version_result = {io_status::wait_failed, 0, 9, true};
     },
     " Error: system text 9\nWaitForSingleObject failed." + control_hint},
    {"NotCollected",
     [](fake_device& d) {
         d.version_result = {io_status::not_collected, 0, 3, true};
     },
     " Error: system text 3\nGetOverlappedResult function call failed." + control_hint},
    {"VersionCut", [](fake_device& d) { d.version.pop_back(); },
     "The Peli driver version is incomplete. Received 4 bytes.\n" + control_hint},
    {"ClientAbsent",
     [](fake_device& d) {
         d.connect_result = {io_status::no_such_client, 0, 2, false};
     },
     "Unable to initialize connection to KVR Feature. Make sure that Norvane(R) KVR feature is enabled on the "
     "platform.\n"},
    {"ConnectTimesOut",
     [](fake_device& d) {
         d.connect_result = {io_status::timed_out, 0, 0, true};
     },
     "Timeout occurred (10000ms) while writing to Peli interface.\n"},
    {"PropertiesCut", [](fake_device& d) { d.properties.resize(3); },
     "The Peli client properties are incomplete. Received 3 bytes.\n"},
    {"NoMessages", [](fake_device& d) { d.set_max_message_length(0); },
     "The maximum message length of the Peli client is invalid: 0 bytes, expected size in range <1-1048576>.\n"},
    {"EndlessMessages", [](fake_device& d) { d.set_max_message_length(0x100001); },
     "The maximum message length of the Peli client is invalid: 1048577 bytes, expected size in range "
     "<1-1048576>.\n"},
};

TEST(Init, SaysWhyThereIsNoConnection) {
    for (const init_row& row : init_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session;
        fake_device device;
        row.change(device);
        EXPECT_EQ(peli_init(device), result::transport_failure);
        EXPECT_EQ(session.pushed(), row.pushed + (row.pushed.ends_with('\n') ? "" : "\n"));
        EXPECT_FALSE(peli_connected());
        EXPECT_EQ(device.open_handles, 0);
        EXPECT_LE(device.list_fetches, 16);
    }
}

TEST(Init, ConnectsToTheFirstDeviceAfterTheListHasGrown) {
    test::log_session session(log_level::debug);
    fake_device device;
    device.small_lists = 1;
    device.connect_result.pending = true;
    ASSERT_EQ(peli_init(device), result::success);
    EXPECT_TRUE(peli_connected());
    EXPECT_EQ(peli_max_message_length(), 0x4000U);
    EXPECT_EQ(device.timeouts, std::vector<std::uint32_t>(2, 10000));
    EXPECT_EQ(device.asked,
              "list E2D1FF34-3458-49A9-88DA-8E6915CE9BE5\nlist E2D1FF34-3458-49A9-88DA-8E6915CE9BE5\nopen first\n"
              "control 0 \ncontrol 4 C931D62F0913E64FBEC685732778AB01\n");
    EXPECT_NE(session.logged().find("Initialization successful with Peli driver version: 1.2.3.260\nPeli interface "
                                    "opened successfully.\n"),
              std::string::npos);
    peli_deinit();
    static_cast<void>(session.logged());
    peli_deinit();
    EXPECT_EQ(session.logged(), "") << "nothing is open";
    device.closes = false;
    ASSERT_EQ(peli_init(device), result::success);
    peli_deinit();
    EXPECT_NE(session.logged().find("ERROR: CloseHandle failed. Error: system text 5\n"), std::string::npos);
    EXPECT_FALSE(peli_connected());
    EXPECT_EQ(device.open_handles, 0);
}

struct transfer_row {
    io_status status;
    std::string sending;
    std::string receiving;
};

const transfer_row transfer_rows[] = {
    {io_status::no_event, " Error: system text 4\nCannot create write event. CreateEvent function failed.",
     " Error: system text 4\nEnsure that platform has Peli interface present with proper driver installed and is not "
     "used by other process. CreateEvent failed."},
    {io_status::not_started, " Error: system text 4\nWrite to device failed.",
     " Error: system text 4\nReadFile failed."},
    {io_status::timed_out, "Timeout occurred (10000ms) while writing to Peli interface.",
     "Timeout occurred (10000ms) while reading from Peli interface."},
    {io_status::wait_abandoned, "Waiting for object was abandoned.", "Waiting for object was abandoned."},
    {io_status::wait_failed, " Error: system text 4\nWaitForSingleObject failed.",
     " Error: system text 4\nWaitForSingleObject failed."},
    {io_status::not_collected, " Error: system text 4\nGetOverlappedResult failed. Write function failed to finish.",
     " Error: system text 4\nReadFile failed to finish."},
};

TEST(Transfer, SaysWhyItFailedAndStaysConnected) {
    for (const transfer_row& row : transfer_rows) {
        test::log_session session;
        test::connection link;
        std::vector<std::uint8_t> buffer(16);
        link.device.write_result = link.device.read_result = {row.status, 0, 4, true};
        EXPECT_LT(peli_send(buffer), 0);
        EXPECT_EQ(session.pushed(), row.sending + "\n");
        EXPECT_LT(peli_receive(buffer), 0);
        EXPECT_EQ(session.pushed(), row.receiving + "\n");
        EXPECT_TRUE(peli_connected());
        EXPECT_EQ(link.device.timeouts, std::vector<std::uint32_t>(2, 10000));
    }
    test::log_session session;
    std::vector<std::uint8_t> buffer(16);
    EXPECT_LT(peli_send(buffer), 0);
    EXPECT_LT(peli_receive(buffer), 0);
    EXPECT_EQ(session.pushed(),
              "Error while sending message. Peli connection not initialized.\nError while receiving message. Peli "
              "connection not initialized.\n");
}

TEST(Transfer, CountsAndDumpsWhatCameThrough) {
    test::log_session session;
    test::connection link;
    link.device.answer = {'K', 'V', 'R'};
    link.device.answered_length = 5;  // more than the buffer holds
    std::vector<std::uint8_t> buffer(3);
    set_console_threshold(log_level::debug);
    EXPECT_EQ(peli_send(buffer), 3);
    EXPECT_EQ(peli_receive(buffer), 5);
    EXPECT_NE(session.logged().find("Message Received: (5 bytes):\n00000000 | 4b56 52 "), std::string::npos);
    set_console_threshold(log_level::off);
}

}  // namespace
}  // namespace vellum
