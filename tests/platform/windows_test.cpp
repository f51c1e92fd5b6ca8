// The services on the system's own calls. Two of the system's libraries are stood in for by ones that this test
// brings: tbs.dll, which is put where system libraries are loaded from, and cfgmgr32.dll beside the program. Both are
// taken under wine only, with WINEDLLOVERRIDES="tbs=n;cfgmgr32=n" (scripts/check-windows sets it).
#include <gtest/gtest.h>
#include <io.h>
#include <windows.h>

#include <winioctl.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "base/text.h"
#include "core/file.h"
#include "core/log.h"
#include "firmware/firmware_link.h"
#include "lab/byte_builder.h"
#include "native.h"
#include "platform/last_status.h"
#include "platform/regular_file.h"
#include "platform/tbs.h"
#include "tests/support/log_session.h"
#include "tests/support/observed_steps.h"
#include "tests/support/temp_dir.h"
#include "tpm/tbs/tpm_access.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;
using bytes = std::vector<std::uint8_t>;

bool under_wine() {
    return ::GetProcAddress(::GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

void set_variable(const char* name, const std::string& value) {
    ::_putenv_s(name, value.c_str());
}

// Version, tables, texts ----------------------------------------------------------------------------------------

TEST(WindowsOsVersion, ReadsNumbersAndTextsOfTheRegistry) {
    windows_os_version version;
    std::uint32_t major_number = 0;
    std::string build;
    EXPECT_EQ(version.read_major(major_number), os_status::success);
    EXPECT_GE(major_number, 6U);
    EXPECT_EQ(version.read_build(build), os_status::success);
    EXPECT_TRUE(parse_decimal(build).has_value()) << build;
}

TEST(WindowsFirmwareTables, AreReadWhole) {
    windows_firmware_tables tables;
    bytes data;
    ASSERT_EQ(tables.read(data), os_status::success);
    ASSERT_GT(data.size(), smbios_head_size);
    byte_reader reader(data);
    std::uint32_t length = 0;
    ASSERT_TRUE(reader.skip(smbios_length_offset) && reader.u32_le(length));
    EXPECT_EQ(length, data.size() - smbios_head_size);
}

TEST(WindowsSystemErrors, GiveOneLineOrNothing) {
    windows_system_errors errors;
    for (const std::uint32_t code : {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_OPERATION_ABORTED}) {
        const std::string text = errors.text(os_status(code)).value_or("");
        EXPECT_FALSE(text.empty()) << code;
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << text;
        EXPECT_NE(text.back(), ' ') << text;
    }
    EXPECT_FALSE(errors.text(os_status(0x2BADBEEF)).has_value());
    const test::temp_dir dir;
    EXPECT_EQ(std::fopen(dir.file("missing").c_str(), "rb"), nullptr);
    EXPECT_EQ(last_status(), os_status(ERROR_FILE_NOT_FOUND));
}

TEST(WindowsClock, AgreesWithTheSystem) {
    windows_clock clock;
    const auto now =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch());
    EXPECT_NEAR(static_cast<double>(clock.now()), static_cast<double>(now.count()), 2);
    TIME_ZONE_INFORMATION zone{};
    const DWORD season = ::GetTimeZoneInformation(&zone);
    const LONG bias = zone.Bias + (season == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : zone.StandardBias);
    EXPECT_EQ(clock.utc_offset(), -60 * bias);
    SYSTEMTIME noon{};
    noon.wYear = 2026;
    noon.wMonth = 7;
    noon.wDay = 15;
    noon.wHour = 12;
    SYSTEMTIME local{};
    ASSERT_TRUE(::GetTimeZoneInformationForYear(2026, nullptr, &zone));
    ASSERT_TRUE(::SystemTimeToTzSpecificLocalTime(&zone, &noon, &local));
    const int passed = 60 * (local.wHour * 60 + local.wMinute) + (local.wDay - 15) * 86400;
    EXPECT_EQ(clock.end_of_day({2026, 7, 15}), 1784116800 + 86399 - passed);
}

// Directories ---------------------------------------------------------------------------------------------------

TEST(WindowsDirectoryListing, SortsByBytesAndTakesTheExtensionInAnyCase) {
    const test::temp_dir dir;
    for (const char* name : {"b.crt", "A.CRT", "\u00e9\u20ac.crt", "c.crt-old", "d.txt", "e.crt/inside.crt"}) {
        dir.write(name, "1234567");
    }
    windows_directory_listing directories;
    for (const std::string& path : {dir.path().string(), dir.path().string() + "\\", dir.path().string() + "/"}) {
        std::vector<directory_entry> found;
        ASSERT_EQ(directories.list(path, ".crt", found), os_status::success) << path;
        std::string shown;
        for (const directory_entry& entry : found) {
            shown += entry.name + (entry.is_directory ? "/ " : " " + std::to_string(entry.size) + " ");
        }
        EXPECT_EQ(shown, "A.CRT 7 b.crt 7 e.crt/ \u00e9\u20ac.crt 7 ") << path;
    }
    struct {
        std::string path;
        std::uint32_t code;
    } const rows[] = {
        {dir.file("e.crt") + "\\none", ERROR_PATH_NOT_FOUND}, {"", ERROR_PATH_NOT_FOUND}, {dir.path().string(), 0}};
    for (const auto& row : rows) {
        std::vector<directory_entry> found(1);
        EXPECT_EQ(directories.list(row.path, ".none", found), os_status(row.code)) << row.path;
        EXPECT_TRUE(found.empty()) << row.path;
    }
}

// Console -------------------------------------------------------------------------------------------------------

TEST(WindowsConsole, WritesPlainTextToAFile) {
    const test::temp_dir dir;
    const int saved = ::_dup(2);
    void* const saved_handle = ::GetStdHandle(STD_ERROR_HANDLE);
    std::FILE* file = std::fopen(dir.file("text").c_str(), "w");
    ASSERT_NE(file, nullptr);
    ::_dup2(::_fileno(file), 2);
    std::fclose(file);
    ::SetStdHandle(STD_ERROR_HANDLE, reinterpret_cast<HANDLE>(::_get_osfhandle(2)));
    windows_console console;
    console.start();
    console.set_colour(console_stream::error, colour::red);
    console.write(console_stream::error, "R\u00e9sultat\n");
    console.reset_colour(console_stream::error);
    ::_dup2(saved, 2);
    ::_close(saved);
    ::SetStdHandle(STD_ERROR_HANDLE, saved_handle);
    EXPECT_EQ(test::read_text(dir.file("text")), "R\u00e9sultat\r\n");
}

TEST(WindowsConsole, KeepsTheBackground) {
    EXPECT_EQ(coloured_attributes(0x1F, colour::green), 0x1A);
    EXPECT_EQ(coloured_attributes(0xFF07, colour::red), 0x0C);
}

// Disk ----------------------------------------------------------------------------------------------------------

TEST(WindowsDisk, AnswersOrSaysWhyNot) {
    windows_disk disk;
    std::uint32_t size = 0;
    const os_status read = disk.sector_size(size);
    EXPECT_EQ(ok(read), size == 512 || size == 4096) << code_of(read);
    std::vector<disk_volume> volumes;
    EXPECT_EQ(disk.volumes(volumes), read);
    for (const disk_volume& volume : volumes) {
        EXPECT_LE(volume.first_lba, volume.last_lba) << volume.letter;
        EXPECT_TRUE(fs::is_directory(volume.root + "/")) << volume.root;
    }
    bytes odd(100);
    EXPECT_NE(disk.read(0, odd), os_status::success);
    bytes sector(size == 0 ? 512 : size);
    EXPECT_NE(disk.read(UINT64_MAX / 512, sector), os_status::success);
}

// TPM -----------------------------------------------------------------------------------------------------------

class WindowsTpm : public testing::Test {
  protected:
    void SetUp() override {
        if (!under_wine()) {
            GTEST_SKIP() << "puts a library into the system's directory, which only wine allows";
        }
        for (std::size_t i = 0; i < 24 * 32; ++i) {
            pcrs_.push_back(static_cast<std::uint8_t>(i * 7));
        }
        log_.assign(70'000, 0x5A);
        dir_.write("tpm/pcrs.bin", pcrs_);
        dir_.write("tpm/event_log.bin", log_);
        set_variable("VELLUM_TEST_TPM", dir_.path().string());
    }

    void TearDown() override { install(""); }

    // Puts the library into the system's directory, or takes it away.
    void install(const std::string& name) {
        std::error_code error;
        std::string directory;
        ASSERT_EQ(library_.system_directory(directory), os_status::success);
        const std::string installed = directory + "\\tbs.dll";
        fs::remove(installed, error);
        if (!name.empty()) {
            std::array<char, 1024> program{};
            ::GetModuleFileNameA(nullptr, program.data(), static_cast<DWORD>(program.size()));
            fs::copy_file(fs::path(program.data()).parent_path() / (name + ".dll"), installed, error);
            ASSERT_FALSE(error) << error.message();
        }
    }

    test::temp_dir dir_;
    bytes pcrs_;
    bytes log_;
    windows_tpm_library library_;
};

struct tpm_case {
    const char* name;
    const char* library;
    const char* fault;
    const char* version;
    bool log_is_read;
    bool pcrs_are_read;
    const char* said;  // by the two operations together
};

constexpr tpm_case tpm_cases[] = {
    {"Present", "tbs_whole", "", "2", true, true, "has been closed successfully."},
    {"OlderThanTheLogOfItsOwn", "tbs_without_log_ex", "", "2", true, true,
     "Trying to retrive the TPM Event log using function Tbsi_Get_TCG_Log."},
    {"WithoutCommands", "tbs_without_submit", "", "2", true, false,
     "get an address for function Tbsip_Submit_Command in the library tbs.dll"},
    {"Tpm12", "tbs_whole", "", "1", false, false, "Expected: TPM 2.0, Actual: TPM 1.2."},
    {"NoDeviceInfo", "tbs_whole", "Tbsi_GetDeviceInfo", "2", false, false,
     "trying to obtain the version of the TPM."},
    {"NoContext", "tbs_whole", "Tbsi_Context_Create", "2", false, false, "Cannot create context for TPM 2.0."},
    {"NoLog", "tbs_whole", "Tbsi_Get_TCG_Log_Ex", "2", false, true, "Could not retrive the TPM Event Log."},
    {"FailingCommand", "tbs_whole", "Tbsip_Submit_Command", "2", true, false, "Could not retrive PCRs from TPM."},
    {"ShortResponse", "tbs_whole", "short", "2", true, false, ""},
    {"Absent", "", "", "2", false, false, "TBS dynamic library tbs.dll could not be located."},
};

TEST_F(WindowsTpm, IsReadThroughItsLibrary) {
    for (const tpm_case& row : tpm_cases) {
        SCOPED_TRACE(row.name);
        test::log_session session(log_level::trace);
        install(row.library);
        dir_.write("tpm/version", row.version);
        set_variable("VELLUM_TEST_TPM_FAULT", row.fault);
        bytes log;
        pcr_value_list pcrs{};
        const result log_read = load_tpm_log_via_tbs(library_, log);
        const result pcrs_read = read_pcrs_via_tbs(library_, pcrs);
        EXPECT_EQ(log_read, row.log_is_read ? result::success : result::io_failure);
        EXPECT_EQ(pcrs_read, row.pcrs_are_read ? result::success : result::io_failure);
        EXPECT_EQ(log, row.log_is_read ? log_ : bytes());
        bytes values;
        for (const auto& value : pcrs) {
            values.insert(values.end(), value.begin(), value.end());
        }
        EXPECT_EQ(values, row.pcrs_are_read ? pcrs_ : bytes(pcrs_.size()));
        const std::string pushed = session.pushed();
        EXPECT_NE((pushed + session.logged()).find(row.said), std::string::npos) << pushed;
    }
}

TEST_F(WindowsTpm, LibraryIsFreedAndItsFunctionsAreGone) {
    install("tbs_whole");
    void* address = nullptr;
    ASSERT_EQ(library_.load("tbs.dll", LOAD_LIBRARY_SEARCH_SYSTEM32), os_status::success);
    EXPECT_EQ(library_.function(tbs::submit_command_name, address), os_status::success);
    EXPECT_NE(address, nullptr);
    EXPECT_EQ(library_.function("Tbsi_NoSuchFunction", address), os_status(ERROR_PROC_NOT_FOUND));
    EXPECT_EQ(address, nullptr);
    library_.unload();
    EXPECT_EQ(library_.function(tbs::submit_command_name, address), os_status(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(::GetModuleHandleA("tbs.dll"), nullptr);
    // The name alone is looked for in the system's directory, not in the program's.
    EXPECT_EQ(library_.load("tbs_whole.dll", LOAD_LIBRARY_SEARCH_SYSTEM32), os_status(ERROR_MOD_NOT_FOUND));
}

// Firmware device -----------------------------------------------------------------------------------------------

// The far end of a named pipe, which a device opens like any other path.
class far_end {
  public:
    static constexpr DWORD buffer_size = 4096;  // bytes

    far_end()
        : pipe_(::CreateNamedPipeA(path.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1,
                                   buffer_size, buffer_size, 0, nullptr)) {
        EXPECT_TRUE(pipe_.valid());
    }

    void send(const bytes& message) {
        DWORD written = 0;
        EXPECT_TRUE(::WriteFile(pipe_.get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr));
    }
    bytes receive() {
        bytes message(buffer_size);
        DWORD got = 0;
        EXPECT_TRUE(::ReadFile(pipe_.get(), message.data(), buffer_size, &got, nullptr));
        message.resize(got);
        return message;
    }
    void close() { EXPECT_TRUE(pipe_.close()); }

    const std::string path = "\\\\.\\pipe\\vellum-test-" + std::to_string(::GetCurrentProcessId());

  private:
    handle pipe_;
};

constexpr std::uint32_t patience_ms = 20'000;
constexpr std::uint32_t short_wait_ms = 100;

TEST(WindowsFirmwareDevice, TransfersAtOnceAndLate) {
    far_end end;
    windows_firmware_device device;
    ASSERT_TRUE(ok(device.open(end.path)));
    const io_result written = device.write(bytes{1, 2, 3}, patience_ms, test::unobserved);
    EXPECT_EQ(written.status, io_status::completed);
    EXPECT_EQ(written.transferred, 3U);
    EXPECT_EQ(end.receive(), (bytes{1, 2, 3}));

    bytes buffer(16);
    end.send({4, 5});
    io_result read = device.read(buffer, patience_ms, test::unobserved);
    EXPECT_EQ(read.status, io_status::completed);
    EXPECT_FALSE(read.pending);

    // A busy machine may send before it reads, however long the sender waits: then it waits longer.
    for (std::uint32_t wait_ms = 10; !read.pending && wait_ms < patience_ms; wait_ms *= 2) {
        std::thread sender([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(wait_ms));
            end.send({6, 7, 8});
        });
        read = device.read(buffer, patience_ms, test::unobserved);
        sender.join();
        EXPECT_EQ(read.status, io_status::completed);
        ASSERT_EQ(read.transferred, 3U);
        EXPECT_EQ(buffer[2], 8);
    }
    EXPECT_TRUE(read.pending);
    EXPECT_TRUE(ok(device.close()));
}

TEST(WindowsFirmwareDevice, CancelsWhatIsNotAnsweredInTime) {
    far_end end;
    windows_firmware_device device;
    ASSERT_TRUE(ok(device.open(end.path)));
    bytes abandoned(16, 0xEE);
    const auto start = std::chrono::steady_clock::now();
    const test::observed_steps steps;
    const io_result read = device.read(abandoned, short_wait_ms, steps);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(read.status, io_status::timed_out);
    EXPECT_TRUE(read.pending);
    EXPECT_EQ(read.error, os_status(WAIT_TIMEOUT));
    EXPECT_EQ(steps.starts, 1);
    EXPECT_EQ(steps.waits, 1);
    EXPECT_GE(waited, std::chrono::milliseconds(short_wait_ms - 20));
    // The message that comes afterwards goes to the next read, and not into the buffer that was given up.
    end.send({7, 8, 9});
    bytes buffer(16);
    EXPECT_EQ(device.read(buffer, patience_ms, test::unobserved).transferred, 3U);
    EXPECT_EQ(abandoned, bytes(16, 0xEE));

    // More than the pipe holds, and no one takes it.
    const io_result written = device.write(bytes(1'000'000), short_wait_ms, test::unobserved);
    EXPECT_EQ(written.status, io_status::timed_out);
}

TEST(WindowsFirmwareDevice, FailuresKeepTheSystemsCode) {
    windows_firmware_device device;
    EXPECT_FALSE(ok(device.open("\\\\.\\pipe\\vellum-test-none")));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    far_end end;
    ASSERT_TRUE(ok(device.open(end.path)));
    bytes buffer(2);
    EXPECT_NE(
        device.control(peli::connect_client_code, peli::client_identifier, buffer, patience_ms, test::unobserved)
            .status,
        io_status::completed);
    end.close();
    const io_result read = device.read(buffer, patience_ms, test::unobserved);
    EXPECT_TRUE(read.status == io_status::not_started || read.status == io_status::not_collected);
    EXPECT_NE(read.error, os_status::success);
    EXPECT_TRUE(ok(device.close()));
    EXPECT_EQ(device.write(bytes{1}, patience_ms, test::unobserved).status, io_status::not_started);
}

TEST(WindowsFirmwareDevice, ControlReturnsWhatTheDriverAnswers) {
    far_end end;
    windows_firmware_device device;
    ASSERT_TRUE(ok(device.open(end.path)));
    end.send({1, 2, 3, 4});
    // FSCTL_PIPE_PEEK, which the driver of pipes knows: 16 bytes of state, then what can be read, which stays there.
    constexpr DWORD pipe_peek = CTL_CODE(FILE_DEVICE_NAMED_PIPE, 3, METHOD_BUFFERED, FILE_READ_DATA);
    bytes peeked(64);
    const io_result answer = device.control(pipe_peek, {}, peeked, patience_ms, test::unobserved);
    EXPECT_EQ(answer.status, io_status::completed);
    ASSERT_EQ(answer.transferred, 20U);
    EXPECT_EQ(peeked[19], 4);
}

TEST(WindowsFirmwareDevice, IsFoundAmongThePresentInterfaces) {
    if (!under_wine()) {
        GTEST_SKIP() << "stands in for the configuration manager, which only wine allows";
    }
    constexpr const char* hint =
        "Unable to initialize PELI connection. Make sure that the appropriate Norvane Orbis driver is installed and "
        "have the right admin privileges.\n";
    far_end end;
    struct {
        const char* name;
        std::string interfaces;
        std::string said;  // oldest first
    } const rows[] = {
        {"None", "", std::string("No active device interfaces.\n") + hint},
        {"Gone", "\\\\?\\no#such#device", std::string("Error creating device handle.\n") + hint},
        {"NotItsDriver", end.path + "|second", "Could not take over IO Control to Peli interface."},
        {"Growing", "+new|" + end.path, std::string("Error creating device handle.\n") + hint},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        test::log_session session(log_level::trace);
        set_variable("VELLUM_TEST_INTERFACES", row.interfaces);
        windows_firmware_device device;
        firmware_link link;
        EXPECT_EQ(link.open(device), result::transport_failure);
        const std::string pushed = session.pushed();
        EXPECT_NE(pushed.find(row.said), std::string::npos) << pushed;
        const bool grew = session.logged().find("Mismatch between device list size") != std::string::npos;
        EXPECT_EQ(grew, row.interfaces.starts_with('+'));
    }
}

// Files ---------------------------------------------------------------------------------------------------------

TEST(WindowsFiles, AreNeitherPipesNorDevices) {
    const test::log_session session;
    const test::temp_dir dir;
    const std::string directory = dir.path().string();
    bytes content;
    for (const std::string& path : {directory, std::string("NUL"), std::string(R"(\\.\NUL)")}) {
        EXPECT_EQ(read_file(path, 1000, content), result::invalid) << path;
    }
    EXPECT_EQ(open_log_file(directory.c_str()), result::io_failure);
    EXPECT_EQ(open_log_file("NUL"), result::success);
    {
        const far_end pipe;
        regular_file opened;
        EXPECT_EQ(open_and_ask(pipe.path, opened).how, file_opening::not_regular);
    }
    const far_end pipe;
    EXPECT_EQ(open_log_file(pipe.path.c_str()), result::io_failure);
}

}  // namespace
}  // namespace vellum
