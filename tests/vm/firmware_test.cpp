// The firmware of the virtual machine's device: what it answers from the folder of a recorded device.
#include "vm/firmware_device/firmware.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "lab/byte_builder.h"
#include "platform/firmware_device.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using bytes = std::vector<std::uint8_t>;

bytes request(std::uint32_t command, std::size_t payload = 0) {
    return lab::byte_builder()
        .u32_le(1)
        .u32_le(command)
        .u32_le(static_cast<std::uint32_t>(payload))
        .fill(payload)
        .take();
}

// The firmware of a folder that each test fills.
class vm_firmware : public testing::Test {
  protected:
    ~vm_firmware() override { firmware_unload(&made_); }

    // What is wrong with the folder; empty: nothing.
    std::string load() {
        firmware_unload(&made_);
        const char* wrong = firmware_load(&made_, folder_.file("").c_str());
        return wrong != nullptr ? wrong : "";
    }

    int control(std::uint32_t code, const bytes& input) {
        answer_.assign(control_size, 0xEE);
        return firmware_control(&made_, &connection_, code, input.data(), answer_.data());
    }

    int connect() {
        return control(CONNECT_CLIENT_CODE, {peli::client_identifier.begin(), peli::client_identifier.end()});
    }

    int write(const bytes& message) { return firmware_write(&made_, &connection_, message.data(), message.size()); }

    // "-" when there is none.
    std::string read(std::size_t limit = SIZE_MAX) {
        const response taken = firmware_read(&made_, &connection_, limit);
        return taken.bytes == nullptr ? "-" : std::string(taken.bytes, taken.bytes + taken.size);
    }

    test::temp_dir folder_;
    firmware made_{};
    connection connection_{};
    bytes answer_;
};

TEST_F(vm_firmware, answers_as_the_driver_does) {
    EXPECT_EQ(load(), "");
    EXPECT_EQ(control(peli::get_version_code, {}), 0);
    EXPECT_EQ(answer_, (bytes{1, 0, 0, 0, 0}));
    EXPECT_EQ(connect(), 0);
    EXPECT_EQ(answer_, (bytes{0x00, 0x40, 0, 0, 1}));
    EXPECT_EQ(control(CONNECT_CLIENT_CODE, bytes(identifier_size)), ENOTTY) << "another client";
    EXPECT_EQ(write(request(10)), ENOTCONN) << "a refused connection ends the one before";

    folder_.write("driver_version", "2408.5.0.1\n");
    EXPECT_EQ(load(), "driver_version");
    folder_.write("driver_version", "24.8.5.4660\r\n");
    folder_.write("max_message_length", "4097\n");
    folder_.write("client_absent", "");
    EXPECT_EQ(load(), "");
    EXPECT_EQ(control(peli::get_version_code, {}), 0);
    EXPECT_EQ(answer_, (bytes{24, 8, 5, 0x34, 0x12}));
    EXPECT_EQ(connect(), ENOTTY);
}

TEST_F(vm_firmware, answers_each_request_once) {
    folder_.write("get_version.bin", "version");
    folder_.write("gm_file_get.bin", "a file that is longer");
    folder_.write("max_message_length", "12");
    ASSERT_EQ(load(), "");
    ASSERT_EQ(connect(), 0);
    EXPECT_EQ(read(), "-");
    EXPECT_EQ(write(request(10)), 0);
    EXPECT_EQ(read(), "version");
    EXPECT_EQ(read(), "-");
    EXPECT_EQ(write(request(10)), 0);
    EXPECT_EQ(write(request(1)), 0) << "the later request counts";
    EXPECT_EQ(read(), "a file that ") << "no more than a message holds";
    EXPECT_EQ(write(request(10)), 0);
    EXPECT_EQ(write(request(7)), 0);
    EXPECT_EQ(read(), "-") << "no response is recorded";
    EXPECT_EQ(write(request(10)), 0);
    EXPECT_EQ(read(3), "ver") << "no more than the reader takes";
    EXPECT_EQ(write(request(10, 1)), EMSGSIZE);
    for (std::size_t size = 0; size < 8; ++size) {
        const bytes whole = request(10);
        EXPECT_EQ(write({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}), 0);
        EXPECT_EQ(read(), "-") << size;
    }
}

TEST_F(vm_firmware, keeps_what_it_was_sent) {
    folder_.write("sent/0007.bin", "earlier");
    folder_.write("sent/0012.bin.part", "no request");
    ASSERT_EQ(load(), "");
    ASSERT_EQ(connect(), 0);
    folder_.write("sent/0009.bin", "of another device");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(write(request(6, 153)), 0);
    }
    const bytes sent = request(6, 153);
    const std::string expected(sent.begin(), sent.end());
    EXPECT_EQ(test::read_text(folder_.file("sent/0008.bin")), expected);
    EXPECT_EQ(test::read_text(folder_.file("sent/0009.bin")), "of another device");
    EXPECT_EQ(test::read_text(folder_.file("sent/0010.bin")), expected);
}

TEST_F(vm_firmware, answers_otherwise_once_it_was_deactivated) {
    const auto answer_to = [&](std::uint32_t command) {
        EXPECT_EQ(write(request(command)), 0);
        return read();
    };
    const auto deactivation = [](std::uint32_t status) {
        const bytes whole = lab::byte_builder().u32_le(1).u32_le(6).u32_le(0).u32_le(status).take();
        return std::string(whole.begin(), whole.end());
    };
    const auto start = [&] {
        EXPECT_EQ(load(), "");
        EXPECT_EQ(connect(), 0);
    };
    folder_.write("get_version.bin", "version");
    folder_.write("feature_get_state.bin", "active");
    folder_.write("feature_deactivate.bin", deactivation(0));
    start();
    answer_to(6);
    EXPECT_EQ(answer_to(7), "active") << "nothing else is there to answer";

    folder_.write("after_deactivation/feature_get_state.bin", "inactive");
    folder_.write("feature_deactivate.bin", deactivation(1));
    start();
    EXPECT_EQ(answer_to(6), deactivation(1));
    EXPECT_EQ(answer_to(7), "active") << "a refused deactivation";

    folder_.write("feature_deactivate.bin", deactivation(0));
    start();
    EXPECT_EQ(answer_to(7), "active");
    EXPECT_EQ(answer_to(6), deactivation(0));
    EXPECT_EQ(answer_to(7), "inactive");
    EXPECT_EQ(answer_to(10), "version") << "no other answer is there";
    start();
    EXPECT_EQ(answer_to(7), "inactive") << "the firmware keeps it in mind";
    EXPECT_EQ(answer_to(6), deactivation(0));

    std::filesystem::remove(folder_.file("deactivated"));
    std::filesystem::create_symlink("nowhere", folder_.file("deactivated"));
    start();
    EXPECT_EQ(write(request(6)), EIO) << "what it cannot keep in mind is not done";
    EXPECT_EQ(read(), "-");
    EXPECT_EQ(answer_to(7), "active");
}

TEST_F(vm_firmware, refuses_a_folder_that_does_not_hold_what_it_should) {
    const std::pair<const char*, const char*> texts[] = {
        {"driver_version", ""},          {"driver_version", "1.2.3"},       {"driver_version", "1.2.3.4.5"},
        {"driver_version", "256.0.0.0"}, {"driver_version", "1.2.3.70000"}, {"driver_version", "a.b.c.d"},
        {"max_message_length", ""},      {"max_message_length", "-1x"},     {"max_message_length", "16k"},
    };
    for (const auto& [name, text] : texts) {
        folder_.write(name, text);
        EXPECT_EQ(load(), name) << text;
        std::filesystem::remove(folder_.file(name));
    }
    folder_.write("max_message_length", std::string(65, '1'));
    EXPECT_EQ(load(), "max_message_length") << "no text is that long";
    std::filesystem::remove(folder_.file("max_message_length"));

    std::filesystem::create_directory(folder_.file("gm_file_get.bin"));
    EXPECT_EQ(load(), "gm_file_get.bin");
    std::filesystem::remove(folder_.file("gm_file_get.bin"));

    folder_.write("sent", "no folder");
    EXPECT_EQ(load(), "sent");
    folder_.write("after_deactivation", "no folder");
    EXPECT_EQ(load(), "after_deactivation");
    std::filesystem::remove_all(folder_.path());
    EXPECT_EQ(load(), "cannot be opened");
}

}  // namespace
}  // namespace vellum
