#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include "core/file.h"
#include "platform/linux/console.h"
#include "platform/linux/directory.h"
#include "platform/linux/firmware_device.h"
#include "platform/linux/firmware_tables.h"
#include "platform/linux/os_version.h"
#include "platform/regular_file.h"
#include "tests/support/log_session.h"
#include "tests/support/observed_steps.h"
#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

using std::chrono::milliseconds;

// A device whose driver is this test: what it writes comes out of `peer`, and the other way round.
struct driven_device {
    driven_device() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), 0);
        device.adopt(ends[0]);
        peer = descriptor(ends[1]);
    }
    linux_firmware_device device;
    descriptor peer;
    std::array<std::uint8_t, 64> buffer{};
};

template <typename Call>
milliseconds duration_of(Call call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

// Whether the thread is blocked in a system call.
bool waits(pid_t thread) {
    const std::string stat = test::read_text("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::size_t state = stat.rfind(") ");  // behind the program's name
    return state != stat.npos && stat[state + 2] == 'S';
}

TEST(LinuxFirmwareDevice, ReadsOneMessageAtOnceOrLate) {
    driven_device driven;
    const std::string message = "one message";
    ASSERT_EQ(::write(driven.peer.get(), message.data(), message.size()), 11);
    io_result read = driven.device.read(driven.buffer, 1000, test::unobserved);
    EXPECT_EQ(read.status, io_status::completed);
    EXPECT_EQ(read.transferred, 11U);
    EXPECT_FALSE(read.pending);
    const pid_t reader = ::gettid();
    std::atomic<bool> given_up = false;
    std::thread late([&] {
        while (!waits(reader) && !given_up) {
            std::this_thread::yield();
        }
        EXPECT_EQ(::write(driven.peer.get(), message.data(), 3), 3);
    });
    const test::observed_steps steps;
    read = driven.device.read(driven.buffer, 60000, steps);
    given_up = true;
    late.join();
    EXPECT_EQ(read.status, io_status::completed);
    EXPECT_EQ(read.transferred, 3U);
    EXPECT_TRUE(read.pending);
    EXPECT_EQ(steps.starts, 1);
    EXPECT_EQ(steps.waits, 1);
}

// A wait that began anew with each signal would never end.
TEST(LinuxFirmwareDevice, ReadThatIsNeverAnsweredTimesOutThoughSignalsArrive) {
    driven_device driven;
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(::sigaction(SIGALRM, &interrupt, &before), 0);
    const itimerval often{{0, 5000}, {0, 5000}};
    const itimerval never{};
    ASSERT_EQ(::setitimer(ITIMER_REAL, &often, nullptr), 0);
    io_result read;
    const milliseconds taken = duration_of([&] { read = driven.device.read(driven.buffer, 60, test::unobserved); });
    ASSERT_EQ(::setitimer(ITIMER_REAL, &never, nullptr), 0);
    ::sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(read.status, io_status::timed_out);
    EXPECT_TRUE(read.pending);
    EXPECT_GE(taken, milliseconds(60));
}

TEST(LinuxFirmwareDevice, WriteThatIsNeverTakenTimesOut) {
    driven_device driven;
    io_result written;
    for (int i = 0; i < 100000 && written.status == io_status::completed; ++i) {
        written = driven.device.write(driven.buffer, 20, test::unobserved);
    }
    EXPECT_EQ(written.status, io_status::timed_out);
    EXPECT_TRUE(written.pending);
}

TEST(LinuxFirmwareDevice, FailuresKeepTheSystemsCode) {
    driven_device driven;
    io_result outcome = driven.device.control(peli::get_version_code, {}, driven.buffer, 1000, test::unobserved);
    EXPECT_EQ(outcome.status, io_status::not_started);
    EXPECT_EQ(outcome.error, os_status(ENOTTY));
    outcome = driven.device.control(peli::connect_client_code, peli::client_identifier, driven.buffer, 1000,
                                    test::unobserved);
    EXPECT_EQ(outcome.status, io_status::no_such_client);
    EXPECT_TRUE(ok(driven.device.close()));
    outcome = driven.device.write(driven.buffer, 1000, test::unobserved);
    EXPECT_EQ(outcome.status, io_status::not_started);
    EXPECT_EQ(outcome.error, os_status(EBADF));
}

TEST(LinuxFirmwareDevice, IsListedWhenItIsThere) {
    const test::temp_dir dir;
    const std::string path = dir.file("peli0");
    linux_firmware_device device(path);
    EXPECT_TRUE(device.interfaces(peli::interface_class, interface_steps()).paths.empty());
    EXPECT_EQ(device.open(path), os_status(ENOENT));
    dir.write("peli0", "");
    EXPECT_EQ(device.interfaces(peli::interface_class, interface_steps()).paths, std::vector{path});
    EXPECT_EQ(device.open(path), os_status::success);
}

TEST(LinuxOsVersion, TakesTheNumbersOfTheRelease) {
    struct {
        const char* release;
        std::uint32_t major_number;
        std::uint32_t minor_number;
        const char* build;  // empty where a part is missing
    } const rows[] = {{"6.8.12-arch1-1", 6, 8, "12"}, {"5.15.0", 5, 15, "0"},
                      {"6.18-rc3", 6, 18, ""},        {"7", 7, 0, ""},
                      {"4294967296.1.2", 0, 1, "2"},  {"", 0, 0, ""}};
    for (const auto& row : rows) {
        linux_os_version version{std::string_view(row.release)};
        std::uint32_t major_number = 0;
        std::uint32_t minor_number = 0;
        std::string build;
        EXPECT_EQ(ok(version.read_major(major_number)), row.major_number != 0) << row.release;
        EXPECT_EQ(ok(version.read_minor(minor_number)), row.minor_number != 0) << row.release;
        EXPECT_EQ(ok(version.read_build(build)), *row.build != '\0') << row.release;
        EXPECT_EQ(major_number, row.major_number) << row.release;
        EXPECT_EQ(minor_number, row.minor_number) << row.release;
        EXPECT_EQ(build, row.build);
    }
}

TEST(LinuxFirmwareTables, PutsAHeadInFrontOfTheTable) {
    const test::temp_dir dir;
    linux_firmware_tables tables(dir.path().string());
    std::vector<std::uint8_t> data(1);
    EXPECT_EQ(tables.read(data), os_status(ENOENT));
    EXPECT_TRUE(data.empty());
    dir.write("sys/firmware/dmi/tables/DMI", std::string(300, 'T'));
    ASSERT_EQ(tables.read(data), os_status::success);
    ASSERT_EQ(data.size(), 308U);
    EXPECT_EQ(std::vector<std::uint8_t>(data.begin(), data.begin() + 9),
              (std::vector<std::uint8_t>{0, 0, 0, 0, 44, 1, 0, 0, 'T'}));
}

TEST(LinuxDirectoryListing, SortsByBytesAndMindsLetterCase) {
    const test::temp_dir dir;
    for (const char* name : {"b.crt", "B.crt", "a.crt", "c.CRT", "d.crt.old", "sub.crt/inner.crt"}) {
        dir.write(name, "12345");
    }
    std::filesystem::create_symlink("nowhere", dir.path() / "z.crt");
    std::vector<directory_entry> entries;
    ASSERT_EQ(linux_directory_listing().list(dir.path().string(), ".crt", entries), os_status::success);
    std::string seen;
    for (const directory_entry& entry : entries) {
        seen += entry.name + (entry.is_directory ? " <DIR>," : " " + std::to_string(entry.size) + ",");
    }
    EXPECT_EQ(seen, "B.crt 5,a.crt 5,b.crt 5,sub.crt <DIR>,z.crt 0,");
    EXPECT_EQ(linux_directory_listing().list(dir.file("none"), ".crt", entries), os_status(ENOENT));
    EXPECT_TRUE(entries.empty());
}

TEST(ReadFile, NeitherBlocksNorGoesOnForEver) {
    test::log_session session;
    const test::temp_dir dir;
    const std::string fifo = dir.file("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::vector<std::uint8_t> content;
    for (const std::string& path : {fifo, std::string("/dev/zero"), dir.path().string()}) {
        EXPECT_EQ(read_file(path, UINT64_MAX, content), result::invalid);
        EXPECT_EQ(session.pushed(), "Cannot read file \"" + path + "\". It is not a regular file.\n");
    }
    regular_file swapped;  // as when it takes a file's name after that was asked what it is
    EXPECT_EQ(open_and_ask(fifo, swapped).how, file_opening::not_regular);
    EXPECT_EQ(read_file("/proc/kmsg", UINT64_MAX, content), result::invalid);  // regular, says the kernel, and waits
    EXPECT_NE(session.pushed(), "");
    ASSERT_EQ(read_file("/proc/self/mountinfo", 1 << 24, content), result::success);  // of size 0, says the kernel
    const std::size_t size = content.size();
    EXPECT_GT(size, 0U);
    EXPECT_EQ(read_file("/proc/self/mountinfo", size - 1, content), result::invalid);
    EXPECT_TRUE(content.empty());
    EXPECT_EQ(session.pushed(),
              "File \"/proc/self/mountinfo\" is too large. The limit is " + std::to_string(size - 1) + " bytes.\n");
}

// Mounts two file systems and a third in layers over them, out of sight of everyone else.
bool mount_layers(const test::temp_dir& dir) {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return false;
    }
    for (const char* name : {"lower", "upper", "whole"}) {
        std::filesystem::create_directory(dir.path() / name);
    }
    for (const char* name : {"lower", "upper"}) {
        if (::mount("tmpfs", dir.file(name).c_str(), "tmpfs", 0, nullptr) != 0) {
            return false;
        }
    }
    dir.write("lower/volume/file", "x");
    dir.write("upper/elsewhere/file", "x");
    std::filesystem::create_directory(dir.path() / "upper/work");
    std::filesystem::create_directory(dir.path() / "upper/changes");
    const std::string layers = "lowerdir=" + dir.file("lower") + ",upperdir=" + dir.file("upper/changes") +
                               ",workdir=" + dir.file("upper/work") + ",xino=off";
    return ::mount("overlay", dir.file("whole").c_str(), "overlay", 0, layers.c_str()) == 0;
}

TEST(RegularFile, SharesItsVolumeThoughThatLiesInLayersOnOthers) {
    enum { passed, failed, impossible };
    const test::temp_dir dir;
    const pid_t child = ::fork();
    if (child == 0) {
        file_place volume;
        regular_file in_layers;
        regular_file elsewhere;
        const bool mounted = mount_layers(dir) && ok(locate(dir.file("whole/volume"), volume)) &&
                             open_and_ask(dir.file("whole/volume/file"), in_layers).how == file_opening::done &&
                             open_and_ask(dir.file("upper/elsewhere/file"), elsewhere).how == file_opening::done &&
                             in_layers.place.file_system != volume.file_system;
        const bool right = share_volume(in_layers.place, volume) && !share_volume(elsewhere.place, volume);
        ::_exit(!mounted ? impossible : right ? passed : failed);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    if (WEXITSTATUS(status) == impossible) {
        GTEST_SKIP() << "file systems cannot be mounted in layers here";
    }
    EXPECT_EQ(status, 0);
}

// Runs the steps with the standard error stream handed to another file.
template <typename Steps>
void with_standard_error(int file, Steps steps) {
    const descriptor before(::dup(STDERR_FILENO));
    ASSERT_EQ(::dup2(file, STDERR_FILENO), STDERR_FILENO);
    linux_console console;
    console.start();
    steps(console);
    EXPECT_EQ(::dup2(before.get(), STDERR_FILENO), STDERR_FILENO);
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGXFSZ, SIG_DFL);
}

TEST(LinuxConsole, OutlivesItsReader) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const descriptor writer(ends[1]);
    ASSERT_EQ(::close(ends[0]), 0);
    int failed = 0;
    with_standard_error(writer.get(), [&](linux_console& console) {
        console.write(console_stream::error, "text");  // the signal would end this program
        failed = errno;
    });
    EXPECT_EQ(failed, EPIPE);
}

// Everything that can be read up to the end, which a terminal whose other side is closed reports as an error.
std::string read_to_end(const descriptor& reader) {
    std::string text;
    std::array<char, 128> part{};
    for (ssize_t length = 0; (length = ::read(reader.get(), part.data(), part.size())) > 0;) {
        text.append(part.data(), static_cast<std::size_t>(length));
    }
    return text;
}

TEST(LinuxConsole, ColoursATerminalThatWantsIt) {
    const auto shown = [](descriptor writer, const descriptor& reader) {
        with_standard_error(writer.get(), [](linux_console& console) {
            for (const colour value : {colour::green, colour::red, colour::yellow, colour::grey}) {
                console.set_colour(console_stream::error, value);
                console.write(console_stream::error, "x");
            }
            console.reset_colour(console_stream::error);
        });
        EXPECT_TRUE(writer.close());
        return read_to_end(reader);
    };
    constexpr const char* coloured = "\x1b[92mx\x1b[91mx\x1b[93mx\x1b[90mx\x1b[0m";
    struct {
        const char* terminal;
        const char* refusal;
        const char* text;
    } const rows[] = {{"xterm", "", coloured}, {"xterm", "1", "xxxx"}, {"dumb", "", "xxxx"}, {"", "", coloured}};
    for (const auto& row : rows) {
        int controller = -1;
        int terminal = -1;
        if (::openpty(&controller, &terminal, nullptr, nullptr, nullptr) != 0) {
            GTEST_SKIP() << "no terminal can be made here";
        }
        ASSERT_EQ(::setenv("TERM", row.terminal, 1) | ::setenv("NO_COLOR", row.refusal, 1), 0);
        EXPECT_EQ(shown(descriptor(terminal), descriptor(controller)), row.text) << row.terminal << row.refusal;
        ASSERT_EQ(::unsetenv("NO_COLOR"), 0);
    }
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    EXPECT_EQ(shown(descriptor(ends[1]), descriptor(ends[0])), "xxxx");
}

TEST(LogFile, AtTheLimitOfItsSizeStopsAlone) {
    test::log_session session;
    const test::temp_dir dir;
    const descriptor nowhere(::open("/dev/null", O_WRONLY));
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    with_standard_error(nowhere.get(), [&](linux_console&) {
        const rlimit small{4096, before.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
        EXPECT_EQ(open_log_file(dir.file("kxl.log").c_str()), result::success);
        set_file_threshold(log_level::debug);
        log_to_file(log_level::debug, "%s", std::string(5000, 'x').c_str());
        log_flush();
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    });
    EXPECT_EQ(session.logged(), "ERROR: Cannot write to the log file. Logging to file stops here.\n");
}

TEST(LogFile, IsNothingThatMayKeepTheRunWaiting) {
    const test::log_session session;
    const test::temp_dir dir;
    const std::string fifo = dir.file("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(open_log_file(fifo.c_str()), result::io_failure);
    const descriptor reader(::open(fifo.c_str(), O_RDONLY | O_NONBLOCK));
    ASSERT_TRUE(reader.valid());
    EXPECT_EQ(open_log_file(fifo.c_str()), result::io_failure);
    EXPECT_EQ(open_log_file(dir.path().c_str()), result::io_failure);
    EXPECT_EQ(open_log_file("/dev/null"), result::success);
}

TEST(LogFile, ThatIsAFullTerminalStopsAlone) {
    test::log_session session;
    int controller = -1;
    int terminal = -1;
    std::array<char, 128> path{};
    if (::openpty(&controller, &terminal, path.data(), nullptr, nullptr) != 0) {
        GTEST_SKIP() << "no terminal can be made here";
    }
    const descriptor ends[] = {descriptor(controller), descriptor(terminal)};
    ASSERT_EQ(open_log_file(path.data()), result::success);
    set_file_threshold(log_level::debug);
    log_to_file(log_level::debug, "%s", std::string(1 << 20, 'x').c_str());
    EXPECT_EQ(session.logged(), "ERROR: Cannot write to the log file. Logging to file stops here.\n");
}

}  // namespace
}  // namespace vellum
