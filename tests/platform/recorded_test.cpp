#include "platform/recorded/recorded.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <thread>

#include "base/path.h"
#include "disk/bom_file.h"
#include "lab/byte_builder.h"
#include "native.h"
#include "tests/support/log_session.h"
#include "tests/support/observed_steps.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using bytes = std::vector<std::uint8_t>;

struct loaded_device {
    explicit loaded_device(const test::temp_dir& dir) : result_of_load(device.load(dir.path().string())) {}

    native_platform native;
    recorded_platform device{native.services()};
    result result_of_load;
    platform services = device.services();
};

bytes request(std::uint32_t command) {
    return lab::byte_builder().u32_le(1).u32_le(command).u32_le(0).take();
}

// Opens the device and asks it to connect; the connect request's outcome.
io_result connect(firmware_device& device, std::span<std::uint8_t> properties) {
    const found_interfaces found = device.interfaces(peli::interface_class, interface_steps());
    EXPECT_TRUE(!found.paths.empty() && ok(device.open(found.paths.front())));
    return device.control(peli::connect_client_code, peli::client_identifier, properties, 1000, test::unobserved);
}

io_result exchange(firmware_device& device, std::uint32_t command, std::span<std::uint8_t> response) {
    const io_result written = device.write(request(command), 1000, test::unobserved);
    return written.status == io_status::completed ? device.read(response, 1000, test::unobserved) : written;
}

TEST(RecordedDevice, NamesTheFileThatItCannotUnderstand) {
    struct {
        const char* file;
        std::string content;
        const char* reason;
    } const rows[] = {
        {"now", "today", "does not hold one decimal number in range"},
        {"now", "1 2", "does not hold one decimal number in range"},
        {"now", "", "does not hold one decimal number in range"},
        {"timezone", "2147483648", "does not hold one decimal number in range"},
        {"timezone", "360000", "is out of range"},
        {"timezone", "-360000", "is out of range"},
        {"os_version", "10.0", "does not hold major.minor.build"},
        {"os_version", "10.x.1", "does not hold major.minor.build"},
        {"firmware/max_message_length", "-1", "does not hold one decimal number in range"},
        {"firmware/driver_version", "1.2.3", "does not hold major.minor.hotfix.build in range"},
        {"firmware/driver_version", "1.2.256.4", "does not hold major.minor.hotfix.build in range"},
        {"firmware/driver_version", "1.2.3.4.5", "does not hold major.minor.hotfix.build in range"},
        {"firmware/faults", "read explodes\x1b[2J", "holds no fault in line 1"},
        {"firmware/faults", "open short 3", "holds no fault in line 1"},
        {"firmware/faults", "read short", "holds no fault in line 1"},
        {"firmware/faults", "open fail\n\nread timed_out x", "holds no fault in line 3"},
        {"disk/sector_size", "520", "holds neither 512 nor 4096"},
        {"disk/volumes", "C 9 8 C", "has a line that is not \"LETTER FIRST_LBA LAST_LBA DIRECTORY\""},
        {"disk/volumes", "C 1 2 ../C", "has a line that is not \"LETTER FIRST_LBA LAST_LBA DIRECTORY\""},
        {"disk/volumes", "c 1 2 C", "has a line that is not \"LETTER FIRST_LBA LAST_LBA DIRECTORY\""},
        {"disk/volumes", "C 1 2", "has a line that is not \"LETTER FIRST_LBA LAST_LBA DIRECTORY\""},
        {"disk/volumes", "C 1 2 C\nC 3 4 D", "gives one letter to two volumes"},
        {"os_version", std::string(65537, '1'), "is too large"},
        {"smbios.bin/directory", "", "cannot be read"},
    };
    for (const auto& row : rows) {
        const test::temp_dir dir;
        const std::string path = dir.write(row.file, row.content);
        const loaded_device loaded(dir);
        EXPECT_EQ(loaded.result_of_load, result::invalid) << path << row.content;
        const std::string name = path.ends_with("/directory") ? path.substr(0, path.rfind('/')) : path;
        EXPECT_EQ(loaded.device.problem(), "file \"" + name + "\" " + row.reason);
    }
    native_platform native;
    recorded_platform device(native.services());
    EXPECT_EQ(device.load("/no such directory"), result::invalid);
    EXPECT_EQ(device.problem(), "there is no directory \"/no such directory\"");
}

// Puts a link in the place of `name`, which moves to `target`, a path below the directory.
void replace_by_link(const test::temp_dir& dir, const std::string& name, const std::string& target) {
    const std::filesystem::path moved = path_of(dir.file(target));
    std::filesystem::create_directories(moved.parent_path());
    std::filesystem::rename(path_of(dir.file(name)), moved);
    std::filesystem::is_directory(moved) ? std::filesystem::create_directory_symlink(moved, path_of(dir.file(name)))
                                         : std::filesystem::create_symlink(moved, path_of(dir.file(name)));
}

TEST(RecordedDevice, ReadsNothingThatLiesElsewhere) {
    if (!test::links_can_be_made()) {
        GTEST_SKIP() << "links cannot be made here";
    }
    struct {
        const char* name;
        const char* content;  // none: a directory with a file
        const char* named;    // in the text
        const char* why = "is a link that leads out of the recording";
    } const rows[] = {
        {"now", "1700000000", "now"},
        {"timezone", "0", "timezone"},
        {"os_version", "10.0.19045", "os_version"},
        {"smbios.bin", "0123456789", "smbios.bin"},
        {"firmware", nullptr, "firmware/get_version.bin"},
        {"firmware/driver_version", "1.0.0.0", "firmware/driver_version"},
        {"firmware/get_version.bin", "0123", "firmware/get_version.bin"},
        {"firmware/faults", "", "firmware/faults"},
        {"disk/sectors.bin", "sectors", "disk/sectors.bin"},
        {"tpm", nullptr, "tpm/version"},
        {"tpm/event_log.bin", "events", "tpm/event_log.bin"},
        {"tpm/pcrs.bin", "values", "tpm/pcrs.bin"},
        {"tpm/tcti", "swtpm:", "tpm/tcti"},
        {"disk/C", nullptr, "disk/volumes", "names a directory that is a link out of the recording"},
    };
    for (const auto& row : rows) {
        for (const std::string target : {"recording/kept/", "elsewhere/"}) {
            SCOPED_TRACE(row.name + (" in " + target));
            const test::temp_dir dir;
            dir.write("recording/disk/volumes", "C 1 2 C");
            const std::string name = std::string("recording/") + row.name;
            if (row.content != nullptr) {
                dir.write(name, row.content);
            } else {
                dir.write(name + "/get_version.bin", "");
                dir.write(name + "/version", "");
            }
            replace_by_link(dir, name, target + "file");
            native_platform native;
            recorded_platform device(native.services());
            const bool stays = target.starts_with("recording/");
            EXPECT_EQ(device.load(dir.file("recording")), stays ? result::success : result::invalid);
            EXPECT_EQ(device.problem(),
                      stays ? "" : "file \"" + dir.file("recording/") + row.named + "\" " + row.why);
        }
    }
}

TEST(RecordedDevice, ReadsNoVolumeThatIsPutElsewhereOnceItIsLoaded) {
    if (!test::links_can_be_made()) {
        GTEST_SKIP() << "links cannot be made here";
    }
    for (const std::string target : {"recording/kept/", "elsewhere/"}) {
        test::log_session session;
        const test::temp_dir dir;
        dir.write("recording/disk/volumes", "C 1 2 C");
        dir.write("recording/disk/C/file", "content");
        native_platform native;
        recorded_platform device(native.services());
        ASSERT_EQ(device.load(dir.file("recording")), result::success);
        std::vector<disk_volume> volumes;
        ASSERT_EQ(device.services().boot_disk.volumes(volumes), os_status::success);
        replace_by_link(dir, "recording/disk/C", target + "C");
        const bool stays = target.starts_with("recording/");
        sha256_value hash{};
        EXPECT_EQ(hash_bom_file(volumes.at(0), "file", hash), stays ? result::success : result::invalid);
        EXPECT_EQ(session.pushed(),
                  stays ? "" : "    A link leads out of the recording from volume \"" + volumes[0].root + "\".\n");
    }
}

TEST(RecordedDevice, FailsLikeAMachineThatHasNothing) {
    const test::temp_dir dir;
    const loaded_device loaded(dir);
    ASSERT_EQ(loaded.result_of_load, result::success);
    const platform& services = loaded.services;
    std::uint32_t number = 0;
    std::string text;
    bytes data;
    std::vector<disk_volume> volumes;
    std::array<std::uint8_t, 512> sector{};
    const found_interfaces found = services.firmware.interfaces(peli::interface_class, interface_steps());
    EXPECT_EQ(found.how, interface_search::done);
    EXPECT_TRUE(found.paths.empty());
    EXPECT_EQ(services.firmware.open(dir.file("firmware")), recorded_not_found);
    EXPECT_EQ(services.tpm.load("tbs.dll", 0), recorded_not_found);
    EXPECT_EQ(services.tables.read(data), recorded_not_found);
    EXPECT_EQ(services.os.read_major(number), recorded_not_found);
    EXPECT_EQ(services.os.read_build(text), recorded_not_found);
    EXPECT_EQ(services.boot_disk.sector_size(number), recorded_not_found);
    EXPECT_EQ(services.boot_disk.read(0, sector), recorded_not_found);
    EXPECT_EQ(services.boot_disk.volumes(volumes), recorded_not_found);
}

TEST(RecordedDevice, ServesWhatTheFilesHold) {
    const test::temp_dir dir;
    dir.write("now", "1700000000\r\n");
    dir.write("timezone", "-3600\n");
    dir.write("os_version", "10.0.19045\r\n");
    dir.write("smbios.bin", "0123456789");
    dir.write("disk/sectors.bin", std::string(512, 'a') + std::string(512, 'b') + "rest");
    dir.write("disk/volumes", "D 7 9 data files\n\nC 2 6 C\n");
    const loaded_device loaded(dir);
    ASSERT_EQ(loaded.result_of_load, result::success) << loaded.device.problem();
    const platform& services = loaded.services;
    EXPECT_EQ(services.time.now(), 1700000000);
    EXPECT_EQ(services.time.utc_offset(), -3600);
    EXPECT_EQ(services.time.end_of_day({2024, 12, 31}), 1735689599 + 3600);

    std::uint32_t number = 0;
    std::string text;
    EXPECT_EQ(services.os.read_major(number), os_status::success);
    EXPECT_EQ(number, 10U);
    EXPECT_EQ(services.os.read_build(text), os_status::success);
    EXPECT_EQ(text, "19045");

    bytes data;
    EXPECT_EQ(services.tables.read(data), os_status::success);
    EXPECT_TRUE(equal_bytes(data, as_bytes("0123456789")));

    bytes sectors(1024);
    EXPECT_EQ(services.boot_disk.read(0, sectors), os_status::success);
    EXPECT_EQ(sectors[512], 'b');
    for (const std::uint64_t beyond : {std::uint64_t{1}, std::uint64_t{3}, std::uint64_t{1} << 55, UINT64_MAX}) {
        EXPECT_EQ(services.boot_disk.read(beyond, sectors), recorded_io_error) << beyond;
    }
    std::vector<disk_volume> volumes;
    ASSERT_EQ(services.boot_disk.volumes(volumes), os_status::success);
    ASSERT_EQ(volumes.size(), 2U);
    EXPECT_EQ(volumes[0].letter, 'C');
    EXPECT_EQ(volumes[1].first_lba, 7U);
    EXPECT_EQ(volumes[1].last_lba, 9U);
    EXPECT_EQ(volumes[1].root, dir.file("disk/data files"));
}

TEST(RecordedDevice, ComparesNamesAsItsSystemDoes) {
    struct {
        const char* os_version;  // null: not recorded
        bool ignores_case;
    } const rows[] = {
        {"10.0.10240", true}, {"10.0.19045", true},   {"10.0.9999", false}, {"6.12.57", false},
        {"6.0.19045", false}, {"10.10.19045", false}, {nullptr, false},
    };
    for (const auto& row : rows) {
        const test::temp_dir dir;
        if (row.os_version != nullptr) {
            dir.write("os_version", row.os_version);
        }
        dir.write("disk/volumes", "C 2 6 C\nD 7 9 D\n");
        const loaded_device loaded(dir);
        std::vector<disk_volume> volumes;
        ASSERT_EQ(loaded.services.boot_disk.volumes(volumes), os_status::success);
        ASSERT_EQ(volumes.size(), 2U);
        for (const disk_volume& volume : volumes) {
            EXPECT_EQ(volume.names_ignore_case, row.ignores_case) << (row.os_version ? row.os_version : "none");
        }
    }
}

TEST(RecordedFirmware, AnswersEachCommandWithItsFile) {
    const test::temp_dir dir;
    dir.write("firmware/driver_version", "1.2.3.515");
    dir.write("firmware/max_message_length", "6");
    dir.write("firmware/get_version.bin", "version response");
    dir.write("firmware/gm_file_get.bin", "file");
    dir.write("firmware/sent/0041.bin", "");
    dir.write("firmware/sent/notes.txt", "");
    const loaded_device loaded(dir);
    firmware_device& device = loaded.services.firmware;
    std::array<std::uint8_t, 8> properties{};
    const io_result connected = connect(device, properties);
    EXPECT_EQ(connected.status, io_status::completed);
    EXPECT_EQ(connected.transferred, 5U);
    EXPECT_EQ(properties, (std::array<std::uint8_t, 8>{6, 0, 0, 0, 1, 0, 0, 0}));
    std::array<std::uint8_t, 8> version{};
    EXPECT_EQ(device.control(peli::get_version_code, {}, version, 1000, test::unobserved).transferred, 5U);
    EXPECT_EQ(version, (std::array<std::uint8_t, 8>{1, 2, 3, 3, 2, 0, 0, 0}));

    std::array<std::uint8_t, 64> response{};
    EXPECT_EQ(exchange(device, 10, response).transferred, 6U) << "cut to the longest message";
    EXPECT_TRUE(starts_with(response, as_bytes("versio")));
    EXPECT_EQ(exchange(device, 1, std::span(response).first(3)).transferred, 3U) << "cut to the buffer";
    EXPECT_EQ(device.read(response, 1000, test::unobserved).status, io_status::timed_out)
        << "a response is read once";
    EXPECT_EQ(exchange(device, 7, response).status, io_status::timed_out) << "no file";
    EXPECT_EQ(exchange(device, 99, response).status, io_status::timed_out) << "no such command";
    EXPECT_EQ(device.write(as_bytes("short"), 1000, test::unobserved).status, io_status::completed);
    EXPECT_EQ(device.read(response, 1000, test::unobserved).status, io_status::timed_out) << "no command at all";
    EXPECT_EQ(test::read_text(dir.file("firmware/sent/0043.bin")), std::string("\1\0\0\0\1\0\0\0\0\0\0\0", 12));
    EXPECT_EQ(test::read_text(dir.file("firmware/sent/0046.bin")), "short");

    EXPECT_EQ(device.control(0x8000E008, {}, version, 1000, test::unobserved).status, io_status::not_started);
    EXPECT_TRUE(ok(device.close()));
    EXPECT_EQ(exchange(device, 10, response).status, io_status::not_started) << "closed";
}

TEST(RecordedFirmware, KeepsRequestsInNewFilesOnly) {
    if (!test::links_can_be_made()) {
        GTEST_SKIP() << "this system makes no links";
    }
    struct {
        const char* name;
        const char* highest;
        const char* link;
        bool link_is_late;  // made after the record was read
        io_status expected;
    } const rows[] = {
        {"NumberOf33Bits", "4294967295.bin", "4294967296.bin", false, io_status::completed},
        {"TakenName", "4294967295.bin", "4294967296.bin", true, io_status::completed},
        {"NoNumberLeft", "18446744073709551615.bin", "other", false, io_status::not_started},
    };
    for (const auto& row : rows) {
        const test::temp_dir dir;
        const std::string victim = dir.write("victim", "kept");
        dir.write(std::string("firmware/sent/") + row.highest, "");
        const auto make_link = [&] {
            std::filesystem::create_symlink(victim, dir.file("firmware/sent/") + row.link);
        };
        if (!row.link_is_late) {
            make_link();
        }
        const loaded_device loaded(dir);
        if (row.link_is_late) {
            make_link();
        }
        std::array<std::uint8_t, 5> properties{};
        EXPECT_EQ(connect(loaded.services.firmware, properties).status, io_status::completed);
        EXPECT_EQ(loaded.services.firmware.write(request(10), 1000, test::unobserved).status, row.expected)
            << row.name;
        EXPECT_EQ(test::read_text(victim), "kept") << row.name;
    }
    const test::temp_dir dir;
    dir.write("elsewhere/file", "");
    dir.write("firmware/get_version.bin", "x");
    std::filesystem::create_directory_symlink(dir.file("elsewhere"), dir.file("firmware/sent"));
    EXPECT_EQ(loaded_device(dir).device.problem(),
              "file \"" + dir.file("firmware/sent") + "\" is reached through a link");
}

// As many devices as replays run at once, all loaded before the first of them sends.
TEST(RecordedFirmware, ConcurrentReplaysKeepEveryRequestInAFileOfItsOwn) {
    constexpr std::uint32_t replays = 40;
    constexpr std::uint32_t requests = 3;
    const test::temp_dir dir;
    dir.write("firmware/sent/0007.bin", "kept");
    std::vector<std::unique_ptr<loaded_device>> devices;
    for (std::uint32_t i = 0; i < replays; ++i) {
        std::array<std::uint8_t, 5> properties{};
        devices.push_back(std::make_unique<loaded_device>(dir));
        ASSERT_EQ(connect(devices.back()->services.firmware, properties).status, io_status::completed);
    }
    std::atomic<std::uint32_t> kept = 0;
    {
        std::vector<std::jthread> threads;
        for (std::uint32_t i = 0; i < replays; ++i) {
            threads.emplace_back([&kept, &device = devices[i]->services.firmware, first = 1000 + i * requests] {
                for (std::uint32_t command = first; command < first + requests; ++command) {
                    kept +=
                        device.write(request(command), 1000, test::unobserved).status == io_status::completed ? 1 : 0;
                }
            });
        }
    }
    EXPECT_EQ(kept, replays * requests);
    std::multiset<std::string> expected{"kept"};
    std::multiset<std::string> found;
    for (std::uint32_t command = 1000; command < 1000 + replays * requests; ++command) {
        const bytes sent = request(command);
        expected.insert(std::string(sent.begin(), sent.end()));
    }
    for (const auto& entry : std::filesystem::directory_iterator(dir.file("firmware/sent"))) {
        found.insert(test::read_text(text_of(entry.path())));
    }
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(std::filesystem::exists(dir.file("firmware/sent/0127.bin"))) << "no number is left out";
}

// The folder becomes a link and a folder again between the requests, and once more while each of them is written.
TEST(RecordedFirmware, WritesNothingIntoWhatTakesThePlaceOfTheFolder) {
    if (!test::links_can_be_made()) {
        GTEST_SKIP() << "this system makes no links";
    }
    constexpr int rounds = 200;
    const test::temp_dir dir;
    std::filesystem::create_directories(dir.file("firmware/sent"));
    std::filesystem::create_directories(dir.file("elsewhere"));
    const loaded_device loaded(dir);
    std::array<std::uint8_t, 5> properties{};
    ASSERT_EQ(connect(loaded.services.firmware, properties).status, io_status::completed);
    std::error_code refused;
    std::filesystem::rename(dir.file("firmware/sent"), dir.file("firmware/moved"), refused);
    const bool moves = !refused;  // some systems do not let a folder in use be moved
    std::atomic<bool> done = false;
    std::jthread swapping([&dir, &done, moves] {
        while (moves && !done) {
            std::error_code ignored;
            std::filesystem::create_directory_symlink(dir.file("elsewhere"), dir.file("firmware/sent"), ignored);
            std::filesystem::remove(dir.file("firmware/sent"), ignored);
        }
    });
    for (int i = 0; i < rounds; ++i) {
        EXPECT_EQ(loaded.services.firmware.write(request(10), 1000, test::unobserved).status, io_status::completed);
    }
    done = true;
    swapping.join();
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("elsewhere")));
    const auto kept = std::filesystem::directory_iterator(dir.file(moves ? "firmware/moved" : "firmware/sent"));
    EXPECT_EQ(std::distance(begin(kept), end(kept)), rounds);
}

TEST(RecordedFirmware, SaysThatTheFolderForRequestsIsClosed) {
    const test::temp_dir dir;
    const std::string sent = dir.file("firmware/sent");
    std::filesystem::create_directories(sent);
    std::filesystem::permissions(sent, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    std::ofstream probe(path_of(sent + "/probe"));
    if (probe.is_open()) {
        GTEST_SKIP() << "this user may write everywhere";
    }
    EXPECT_EQ(loaded_device(dir).device.problem(), "file \"" + sent + "\" cannot be read and written to");
}

TEST(RecordedFirmware, KnowsItsClassAndItsClient) {
    const test::temp_dir dir;
    dir.write("firmware/get_version.bin", "x");
    const loaded_device loaded(dir);
    firmware_device& device = loaded.services.firmware;
    std::array<std::uint8_t, 5> properties{};
    EXPECT_TRUE(device.interfaces(firmware_device::class_guid{}, interface_steps()).paths.empty());
    EXPECT_EQ(connect(device, properties).status, io_status::completed);
    EXPECT_EQ(
        device.control(peli::connect_client_code, peli::interface_class, properties, 1000, test::unobserved).status,
        io_status::no_such_client);
    dir.write("firmware/client_absent", "");
    const loaded_device absent(dir);
    EXPECT_EQ(connect(absent.services.firmware, properties).status, io_status::no_such_client);
}

TEST(RecordedFirmware, TransfersFailAsTheFaultsSay) {
    struct {
        const char* fault;
        firmware_operation operation;
        io_result expected;
    } const rows[] = {
        {"version no_event", firmware_operation::version, {io_status::no_event, 0, os_status(5), false}},
        {"version not_started 16", firmware_operation::version, {io_status::not_started, 0, os_status(16), false}},
        {"version short 3", firmware_operation::version, {io_status::completed, 3, os_status(0), false}},
        {"connect pending", firmware_operation::connect, {io_status::completed, 5, os_status(0), true}},
        {"connect timed_out", firmware_operation::connect, {io_status::timed_out, 0, os_status(5), true}},
        {"write wait_abandoned 7", firmware_operation::write, {io_status::wait_abandoned, 0, os_status(7), true}},
        {"write short 8", firmware_operation::write, {io_status::completed, 8, os_status(0), false}},
        {"read wait_failed", firmware_operation::read, {io_status::wait_failed, 0, os_status(5), true}},
        {"read not_collected", firmware_operation::read, {io_status::not_collected, 0, os_status(5), true}},
        {" read\tshort 15 \r\nread pending",
         firmware_operation::read,
         {io_status::completed, 15, os_status(0), true}},
    };
    for (const auto& row : rows) {
        const test::temp_dir dir;
        dir.write("firmware/get_version.bin", "version response");
        dir.write("firmware/faults", row.fault);
        const loaded_device loaded(dir);
        ASSERT_EQ(loaded.result_of_load, result::success) << loaded.device.problem();
        firmware_device& device = loaded.services.firmware;
        std::array<std::uint8_t, 64> buffer{};
        const io_result connected = connect(device, buffer);
        const io_result version = device.control(peli::get_version_code, {}, buffer, 1000, test::unobserved);
        const io_result written = device.write(request(10), 1000, test::unobserved);
        const io_result read = device.read(buffer, 1000, test::unobserved);
        const io_result actual = row.operation == firmware_operation::version   ? version
                                 : row.operation == firmware_operation::connect ? connected
                                 : row.operation == firmware_operation::write   ? written
                                                                                : read;
        EXPECT_EQ(actual.status, row.expected.status) << row.fault;
        EXPECT_EQ(actual.transferred, row.expected.transferred) << row.fault;
        EXPECT_EQ(actual.error, row.expected.error) << row.fault;
        EXPECT_EQ(actual.pending, row.expected.pending) << row.fault;
    }
}

TEST(RecordedFirmware, CallsFailAsTheFaultsSay) {
    const test::temp_dir dir;
    dir.write("firmware/faults", "list grow\nopen fail 13\nclose fail\n");
    const loaded_device loaded(dir);
    firmware_device& device = loaded.services.firmware;
    struct : interface_steps {
        void sized(std::uint32_t characters) const override { sizes.push_back(characters); }
        void outdated() const override { sizes.push_back(0); }
        mutable std::vector<std::uint32_t> sizes;
    } steps;
    const found_interfaces found = device.interfaces(peli::interface_class, steps);
    ASSERT_EQ(found.how, interface_search::done);
    EXPECT_EQ(found.paths.size(), 2U);
    ASSERT_EQ(steps.sizes.size(), 3U);
    EXPECT_EQ(steps.sizes[1], 0U);
    EXPECT_EQ(steps.sizes[2], 2 * steps.sizes[0] - 1);
    EXPECT_EQ(device.open(found.paths.front()), os_status(13));
    EXPECT_EQ(device.close(), os_status(recorded_io_error));

    const struct {
        const char* fault;
        interface_search how;
    } rows[] = {{"list_size fail 31\nlist fail 32\n", interface_search::size_unknown},
                {"list fail 31\n", interface_search::not_listed}};
    for (const auto& row : rows) {
        dir.write("firmware/faults", row.fault);
        const loaded_device unlisted(dir);
        const found_interfaces none = unlisted.services.firmware.interfaces(peli::interface_class, interface_steps());
        EXPECT_EQ(none.how, row.how);
        EXPECT_EQ(none.code, 31U);
    }
}

}  // namespace
}  // namespace vellum
