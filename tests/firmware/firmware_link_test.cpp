#include "firmware/firmware_link.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "tests/firmware/fake_device.h"
#include "tests/support/log_session.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using test::fake_device;

const std::string driver_hint =
    "Unable to initialize PELI connection. Make sure that the appropriate Norvane Orbis driver is installed and have "
    "the right admin privileges.\n";
struct init_row {
    const char* name;
    void (*change)(fake_device&);
    std::string pushed;
};

const init_row init_rows[] = {
    {"HugeList", [](fake_device& d) { d.characters = UINT32_MAX; },
     "Error allocating memory for device interface list. Deinitializing Peli connection.\n"},
    {"ListExhaustsMemory", [](fake_device& d) { d.list_exhausts_memory = true; },
     "Error allocating memory for device interface list. Deinitializing Peli connection.\n"},
    {"ListAlwaysGrows", [](fake_device& d) { d.small_lists = INT32_MAX; },
     "The list of device interfaces kept growing while it was fetched.\n"},
};

TEST(Init, SaysWhyThereIsNoConnection) {
    for (const init_row& row : init_rows) {
        SCOPED_TRACE(row.name);
        test::log_session session;
        fake_device device;
        firmware_link link;
        row.change(device);
        EXPECT_EQ(link.open(device), result::transport_failure);
        EXPECT_EQ(session.pushed(), row.pushed + driver_hint);
        EXPECT_FALSE(link.connected());
        EXPECT_EQ(device.open_handles, 0);
        EXPECT_LE(device.list_fetches, 16);
    }
}

TEST(Init, ConnectsToTheFirstDeviceAfterTheListHasGrown) {
    test::log_session session(log_level::debug);
    fake_device device;
    firmware_link link;
    device.small_lists = 1;
    device.connect_result.pending = true;
    ASSERT_EQ(link.open(device), result::success);
    EXPECT_TRUE(link.connected());
    EXPECT_EQ(link.max_message_length(), 0x4000U);
    EXPECT_EQ(device.timeouts, std::vector<std::uint32_t>(2, 10000));
    EXPECT_EQ(device.asked,
              "list E2D1FF34-3458-49A9-88DA-8E6915CE9BE5\nlist E2D1FF34-3458-49A9-88DA-8E6915CE9BE5\nopen first\n"
              "control 0 \ncontrol 4 C931D62F0913E64FBEC685732778AB01\n");
    EXPECT_NE(session.logged().find("Initialization successful with Peli driver version: 1.2.3.260\n"),
              std::string::npos);
    link.close();
    EXPECT_FALSE(link.connected());
    EXPECT_EQ(device.open_handles, 0);
}

TEST(Init, RefusesALengthThatNoMessageCanHave) {
    const std::vector<std::uint8_t> rows[] = {
        {0, 0, 0, 0, 1}, {1, 0, 0x10, 0, 1}, {0xFF, 0xFF, 0xFF, 0x7F, 1}, {0xFF, 0xFF, 0xFF, 0xFF, 1}, {0, 0x40, 0}};
    for (const std::vector<std::uint8_t>& properties : rows) {
        SCOPED_TRACE(upper_hex(properties));
        test::log_session session;
        fake_device device;
        firmware_link link;
        device.properties = properties;
        EXPECT_EQ(link.open(device), result::transport_failure);
        const std::string said = session.pushed();
        EXPECT_NE(said.find(properties.size() < 4 ? "Received 3 bytes." : "expected size in range <1-1048576>."),
                  std::string::npos)
            << said;
        EXPECT_EQ(link.max_message_length(), 0U);
        EXPECT_EQ(device.open_handles, 0);
    }
}

// What the log file holds at the end of each call is what is known of a driver that never returns from it.
TEST(Transfer, IsAnnouncedInTheLogFileBeforeTheCall) {
    test::log_session session(log_level::off);
    const test::temp_dir dir;
    const std::string log = dir.file("kxl.log");
    ASSERT_EQ(open_log_file(log.c_str()), result::success);
    set_file_threshold(log_level::debug);
    fake_device device;
    firmware_link link;
    device.connect_result.pending = true;
    std::vector<std::string> last_lines;
    device.during_call = [&] {
        const std::string text = test::read_lines(log);
        const std::size_t end_of_tag = text.rfind("]: ");
        last_lines.push_back(text.substr(end_of_tag == text.npos ? 0 : end_of_tag + 5));
    };
    ASSERT_EQ(link.open(device), result::success);
    std::vector<std::uint8_t> buffer(16);
    EXPECT_EQ(link.send(buffer), 16);
    EXPECT_EQ(link.receive(buffer), 0);
    EXPECT_EQ(last_lines, (std::vector<std::string>{"Running DeviceIoControl function...\n",
                                                    "Asynchronous IO operation pending. Waiting for the result...\n",
                                                    "Calling WriteFile function to send message to Orbis\n",
                                                    "Calling ReadFile function to receive message from Orbis\n"}));
    link.close();
}

TEST(Transfer, StaysConnectedAfterATimeout) {
    test::log_session session;
    std::vector<std::uint8_t> buffer(16);
    {
        test::connection to;
        to.device.write_result = to.device.read_result = {io_status::timed_out, 0, os_status(4), true};
        EXPECT_LT(to.link.send(buffer), 0);
        EXPECT_LT(to.link.receive(buffer), 0);
        EXPECT_TRUE(to.link.connected());
        EXPECT_EQ(to.device.timeouts, std::vector<std::uint32_t>(2, 10000));
    }
    session.pushed();
    firmware_link closed;
    EXPECT_LT(closed.send(buffer), 0);
    EXPECT_LT(closed.receive(buffer), 0);
    EXPECT_EQ(session.pushed(),
              "Error while sending message. Peli connection not initialized.\nError while receiving message. Peli "
              "connection not initialized.\n");
}

TEST(Transfer, CountsAndDumpsWhatCameThrough) {
    test::log_session session;
    test::connection to;
    to.device.answer = {'K', 'V', 'R'};
    to.device.answered_length = 5;  // more than the buffer holds
    std::vector<std::uint8_t> buffer(3);
    set_console_threshold(log_level::debug);
    EXPECT_EQ(to.link.send(buffer), 3);
    EXPECT_EQ(to.link.receive(buffer), 5);
    EXPECT_NE(session.logged().find("Message Received: (5 bytes):\n00000000 | 4b56 52 "), std::string::npos);
    set_console_threshold(log_level::off);
}

}  // namespace
}  // namespace vellum
