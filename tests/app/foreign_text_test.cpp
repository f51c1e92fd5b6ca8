// Text that somebody else chooses cannot forge a report: whatever a field of a device holds, console and log file
// have the lines and the control characters that they have with harmless characters in the same place.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "lab/certificate_authority.h"
#include "lab/device.h"
#include "lab/faults.h"
#include "lab/inspect.h"
#include "lab/sample_boot.h"
#include "lab/sample_keys.h"
#include "pmf/certificate.h"
#include "tests/app/recorded_run.h"
#include "tests/support/temp_dir.h"
#include "tools/write_file.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

// A line feed and an escape sequence first, for fields with little room; a C1 control as a raw byte and as UTF-8, a
// bidirectional control and a line separator.
constexpr std::string_view hostile = "\n\x1B[\r\b\x7F\x9B\xC2\x9B\xE2\x80\xAE\xE2\x80\xA8X";
constexpr std::string_view hostile_utf8 = "\n\x1B[\r\b\x7F\xC2\x9B\xE2\x80\xAE\xE2\x80\xA8X";
// Bytes that are letters and signs when each of them becomes a UTF-16 unit, and are shown where those are told.
constexpr std::string_view letters_as_units = "\xC2\xE2\xAE\xA8";
constexpr char harmless = '!';  // allowed nowhere that a hostile character is not

// What the field of this run holds. Changes of a device's plan take no argument of their own.
std::string planted;

// One run, from the factory to the command line.
struct scene {
    test::temp_dir root;
    lab::device_plan plan;
    lab::device made;
    std::string directory = root.file("device");
    std::optional<std::string> recording;  // absent: that directory
    std::string program = "vellum";
    std::vector<std::string> options;  // absent: the validation of the device
    std::string log_file = root.file("kxl.log");
    std::map<std::string, std::string> files;  // further ones, by path
    std::string pmf_file = root.file("pmf");   // two files to inspect
    std::string event_log_file = root.file("eventlog");
    bool files_are_missing = false;
};

enum class seen { yes, never };

struct field {
    const char* name;
    void (*plan)(lab::device_plan&) = nullptr;  // decided by the factory
    void (*since)(lab::device&) = nullptr;      // happened since
    void (*around)(scene&) = nullptr;           // the rest of the world
    std::string_view barred = "";               // what the field cannot hold
    std::size_t room = hostile.size();
    std::string_view text = hostile;
    seen shows = seen::yes;
    bool inspected = true;
};

// How the text gets into a field ----------------------------------------------------------------------------------

template <auto Change>
void write_pmf(lab::device_plan& plan) {
    plan.pmf_changes.push_back(Change);
}

template <auto Change>
void write_seal(lab::device_plan& plan) {
    plan.seal_changes.push_back(Change);
}

template <DeviceIdSource Source>
void identify_by(lab::device_plan& plan) {
    plan.id_source = Source;
}

template <DeviceIdSource Source>
void seal_id(lab::device_plan& plan) {
    identify_by<Source>(plan);
    plan.seal_changes.push_back([](lab::seal_data& data) { data.device_id.assign(planted.begin(), planted.end()); });
}

void seal_at_level_3(lab::device_plan& plan) {
    plan.level = lab::trusted_level::tl3;
}

template <std::size_t Column>
void write_identity_file(lab::device& made) {
    std::string& text = made.tl3_file;
    std::size_t begin = text.rfind('\n', text.size() - 2) + 1;
    for (std::size_t i = 0; i < Column; ++i) {
        begin = text.find(',', begin) + 1;
    }
    text.replace(begin, text.find_first_of(",\n", begin) - begin, planted);
}

void name_partition(lab::gpt_table& table) {
    table.entries.front().name.assign(planted.begin(), planted.end());
    for (char16_t& unit : table.entries.front().name) {
        unit &= 0xFF;
    }
}

void measure_partition_name(lab::device& made) {
    lab::gpt_measurement partitions;
    partitions.table = made.disk;
    name_partition(partitions.table);
    *lab::find_event(made, 5, EV_EFI_GPT_EVENT) = build(partitions);
}

lab::issued_certificate certificate_of_this_name() {
    lab::certificate_plan plan;
    plan.name = planted;
    plan.key = lab::sample_key(lab::sample_key_name::seal);
    return self_signed(plan);
}

// The key as it is, or one of its own value.
struct ini_place {
    const char* section;
    const char* key;
};
constexpr ini_place bios_lock = {"Expected Seal Configuration", "BIOSLockEnabled"};
constexpr ini_place hotkey = {"Expected CustomOptOut", "OptOutHotKey"};
constexpr ini_place interval = {"Expected CustomOptOut", "OptOutIntervalSeconds"};
constexpr ini_place trusted = {"PMF Signature Validation", "TrustedCaDir"};
constexpr ini_place intermediate = {"PMF Signature Validation", "IntermediateCaDir"};
constexpr ini_place external = {"PMF Signature Validation", "PMFExternalCertificatePath"};
constexpr ini_place signing_key = {"Expected SealSigning_Software", "SealSigningKeyPath"};
constexpr ini_place identity_file = {"Seal Signature Validation", "TL3SealIdentityVerificationFile"};

template <const ini_place& Place>
void configure(lab::device& made) {
    made.ini[Place.section][Place.key] = planted;
}

template <std::size_t Count>
struct literal {
    constexpr literal(const char (&text)[Count]) { std::copy_n(text, Count, value); }
    char value[Count];
};

std::vector<std::string> validation(const scene& run) {
    return {"--validate", "-c", run.directory + "/kxl.ini"};
}

// The validation with one option more, whose value is the text.
template <literal Option>
void call_with(scene& run) {
    run.options = validation(run);
    run.options.push_back(Option.value + planted);
}

// Another mode altogether.
template <literal Mode, literal Option>
void call(scene& run) {
    run.options = {Mode.value, Option.value + planted};
}

// The files of a table have no line feed in a line, and INI files and CSV files none in a value.
constexpr field fields[] = {
    {.name = "partition of the disk", .since = [](lab::device& made) { name_partition(made.disk); }},
    {.name = "partition of the event", .since = measure_partition_name, .barred = letters_as_units},
    {.name = "partition of the PMF",
     .plan = write_pmf<[](lab::pmf& f) { lab::set_utf16_text(f.disk.entries.front().name, planted); }>},
    {.name = "product of the PMF",
     .plan = write_pmf<[](lab::pmf& f) { lab::set_text(f.system_info.product_name, planted); }>},
    {.name = "SKU of the PMF",
     .plan = write_pmf<[](lab::pmf& f) { lab::set_text(f.system_info.sku_number, planted); }>},
    {.name = "BIOS of the PMF",
     .plan = write_pmf<[](lab::pmf& f) { lab::set_text(f.system_info.bios_version, planted); }>},
    {.name = "BOM location",
     .plan = write_pmf<[](lab::pmf& f) { lab::set_text(f.disk.entries.back().measurement, "C:\\" + planted + "."); }>,
     .room = 64},
    {.name = "product", .since = [](lab::device& made) { made.smbios.product_name = planted; }},
    {.name = "SKU", .since = [](lab::device& made) { made.smbios.sku_number = planted; }},
    {.name = "BIOS", .since = [](lab::device& made) { made.smbios.bios_version = planted; }},
    {.name = "serial number",
     .plan = identify_by<DeviceIdSource::SERIAL_NUMBER>,
     .since = [](lab::device& made) { made.smbios.serial_number = planted; }},

    {.name = "seal marker", .plan = write_seal<[](lab::seal_data& data) { data.marker = planted; }>, .room = 8},
    {.name = "sealed serial number", .plan = seal_id<DeviceIdSource::SERIAL_NUMBER>},
    {.name = "sealed literal", .plan = seal_id<DeviceIdSource::OEM_DEFINED_LITERAL>},
    {.name = "sealed serial number against a file",
     .plan =
         [](lab::device_plan& plan) {
             seal_at_level_3(plan);
             seal_id<DeviceIdSource::SERIAL_NUMBER>(plan);
         }},
    {.name = "sealed date in file", .plan = seal_at_level_3, .since = write_identity_file<0>, .barred = "\n,"},
    {.name = "Device ID type in file", .plan = seal_at_level_3, .since = write_identity_file<1>, .barred = "\n,"},
    {.name = "Device ID in file", .plan = seal_at_level_3, .since = write_identity_file<2>, .barred = "\n,"},
    {.name = "instance in file",
     .plan = seal_at_level_3,
     .since = write_identity_file<3>,
     .barred = "\n,",
     .room = 15},
    {.name = "algorithm in file", .plan = seal_at_level_3, .since = write_identity_file<4>, .barred = "\n,"},
    {.name = "digest in file", .plan = seal_at_level_3, .since = write_identity_file<5>, .barred = "\n,"},

    {.name = "literal typed",
     .plan = identify_by<DeviceIdSource::OEM_DEFINED_LITERAL>,
     .around = call_with<"--external_device_id=">},
    {.name = "literal in a path",
     .plan = identify_by<DeviceIdSource::UUID>,
     .around =
         [](scene& run) {
             call_with<"--external_device_id=">(run);
             run.options.emplace_back("--reference_tpm_log_file=::OEM_DEFINED_LITERAL::");
         }},
    {.name = "blob for a literal in a path",
     .around =
         [](scene& run) {
             call_with<"--external_device_id=0x">(run);
             run.options.emplace_back("--reference_tpm_log_file=::OEM_DEFINED_LITERAL::");
         }},
    {.name = "blob without prefix",
     .plan = identify_by<DeviceIdSource::OEM_DEFINED_BLOB>,
     .around = call_with<"--external_device_id=">},
    {.name = "blob typed",
     .plan = identify_by<DeviceIdSource::OEM_DEFINED_BLOB>,
     .around = call_with<"--external_device_id=0x">},
    {.name = "blob in a path",
     .around =
         [](scene& run) {
             call_with<"--external_device_id=0x">(run);
             run.options.emplace_back("--reference_tpm_log_file=::OEM_DEFINED_BLOB::");
         }},

    {.name = "INI flag", .since = configure<bios_lock>, .barred = "\n"},
    {.name = "INI hotkey", .since = configure<hotkey>, .barred = "\n"},
    {.name = "INI interval", .since = configure<interval>, .barred = "\n"},
    {.name = "INI trusted directory", .since = configure<trusted>, .barred = "\n"},
    {.name = "INI intermediate directory", .since = configure<intermediate>, .barred = "\n"},
    {.name = "INI external certificate", .since = configure<external>, .barred = "\n"},
    {.name = "INI signing key", .since = configure<signing_key>, .barred = "\n"},
    {.name = "INI identity file", .plan = seal_at_level_3, .since = configure<identity_file>, .barred = "\n"},
    {.name = "INI key", .since = [](lab::device& made) { made.ini["Logging"][planted] = "1"; }, .barred = "\n"},
    {.name = "INI section", .since = [](lab::device& made) { made.ini[planted]["Key"] = "1"; }, .barred = "\n"},
    {.name = "INI section of a key",
     .since = [](lab::device& made) { made.ini[planted]["FileLogPath"] = "1"; },
     .barred = "\n"},

    {.name = "certificate file",
     .since = [](lab::device& made) { made.certificates["trusted/" + planted + ".crt"] = "none"; }},
    {.name = "certificate file that is too large",
     .since =
         [](lab::device& made) {
             made.certificates["trusted/" + planted + ".crt"].resize(max_certificate_file_size + 1);
         }},
    {.name = "trusted certificate",
     .since =
         [](lab::device& made) { made.certificates["trusted/a.crt"] = lab::pem(certificate_of_this_name().der); },
     .text = hostile_utf8},
    {.name = "certificate of the PMF",
     .plan = write_pmf<[](lab::pmf& f) { f.certificate.content = certificate_of_this_name().der; }>,
     .text = hostile_utf8},

    {.name = "directory of a volume",
     .since = [](lab::device& made) { made.volumes = "C 206848 1026047 " + planted + "\n"; },
     .barred = "\n"},
    {.name = "line of a volume", .since = [](lab::device& made) { made.volumes = planted; }, .shows = seen::never},
    {.name = "directory of the device", .around = [](scene& run) { run.directory += planted; }, .barred = "\n"},
    {.name = "directory of a BOM that is none",
     .since =
         [](lab::device& made) {
             made.volume_files = {{"C/bom/system.bom/file", ""}};
         },
     .around = [](scene& run) { run.directory += planted; },
     .barred = "\n"},
    {.name = "directory of a malformed device",
     .since = [](lab::device& made) { made.volumes = "none"; },
     .around = [](scene& run) { run.directory += planted; }},
    {.name = "directory that is not there",
     .around = [](scene& run) { run.recording = run.root.file("none" + planted); }},
    {.name = "event text",
     .since =
         [](lab::device& made) {
             made.boot.events.push_back(lab::text_event(4, 0x80000003, planted));
             made.pcrs = lab::pcr_values_after(made.boot);
         },
     .around =
         [](scene& run) {
             const auto log = build(lab::clean_boot());
             run.files["reference"] = {log.begin(), log.end()};
             run.options = validation(run);
             run.options.push_back("--reference_tpm_log_file=" + run.root.file("reference"));
         },
     .inspected = false},  // an inspection takes data with a control character for none
    {.name = "event text of several lines",
     .since = [](lab::device& made) { made.boot.events.push_back(lab::text_event(4, 0x80000003, planted)); },
     .text = "\n\r\tX\nX\n"},

    {.name = "version of the system",
     .since = [](lab::device& made) { made.os_version = planted; },
     .shows = seen::never},
    {.name = "version of the driver",
     .since = [](lab::device& made) { made.firmware_files["driver_version"] = planted; },
     .shows = seen::never},
    {.name = "fault of the firmware",
     .since = [](lab::device& made) { made.firmware_files["faults"] = planted; },
     .shows = seen::never},
    {.name = "transmission interface",
     .around = [](scene& run) { run.files["device/tpm/tcti"] = planted; },
     .barred = "\n",
     .shows = seen::never},

    {.name = "INI file", .around = call<"--validate", "-c">},
    {.name = "INI file that is malformed",
     .around =
         [](scene& run) {
             run.files[planted] = "no key\n";
             run.options = {"--validate", "-c", run.root.file(planted)};
         }},
    {.name = "log file",
     .around =
         [](scene& run) {
             run.files[planted] = "";
             run.log_file = run.root.file(planted);
         }},
    {.name = "log file that cannot be opened",
     .around = [](scene& run) { run.log_file = run.root.file("none/" + planted); }},
    {.name = "PMF", .around = call_with<"-g">},
    {.name = "PMF that is a directory",
     .around =
         [](scene& run) {
             run.files[planted + "/file"] = "";
             run.options = validation(run);
             run.options.push_back("-g" + run.root.file(planted));
         }},
    {.name = "live log", .around = call_with<"--tpm_event_log_file=">},
    {.name = "reference log", .around = call_with<"--reference_tpm_log_file=">},
    {.name = "empty log",
     .around =
         [](scene& run) {
             run.files[planted] = "";
             run.options = validation(run);
             run.options.push_back("--tpm_event_log_file=" + run.root.file(planted));
         }},
    {.name = "sources of a comparison",
     .around =
         [](scene& run) {
             const auto log = build(lab::clean_boot());
             run.files[planted] = {log.begin(), log.end()};
             const std::string path = run.root.file(planted);
             run.options = {"--compare_log", "--reference_tpm_log_file=" + path, "--tpm_event_log_file=" + path};
         }},
    {.name = "external certificate", .around = call_with<"--pmf_external_certificate_path=">},
    {.name = "external certificate that is none",
     .around =
         [](scene& run) {
             run.files[planted] = "none";
             run.options = validation(run);
             run.options.push_back("--pmf_external_certificate_path=" + run.root.file(planted));
         }},
    {.name = "identity file", .plan = seal_at_level_3, .around = call_with<"--tl3_seal_identity_verification_file=">},
    {.name = "identity file that is none",
     .plan = seal_at_level_3,
     .around =
         [](scene& run) {
             run.files[planted] = "none";
             run.options = validation(run);
             run.options.push_back("--tl3_seal_identity_verification_file=" + run.root.file(planted));
         }},
    {.name = "path with a token", .around = call_with<"--reference_tpm_log_file=::UUID::">},
    {.name = "path with a bad token",
     .around =
         [](scene& run) {
             run.options = validation(run);
             run.options.push_back("--reference_tpm_log_file=" + planted + "::");
         }},
    {.name = "PCRs to compare",
     .around =
         [](scene& run) {
             run.options = {"--compare_log", "--reference_tpm_log_file=a", "--compared_pcrs=" + planted};
         }},
    {.name = "INI file of unsealing", .around = call<"--unseal", "-c">},
    {.name = "reason of unsealing", .around = call<"--unseal", "--reason=">},
    {.name = "level", .around = call<"--validate", "-v">},
    {.name = "option", .around = call<"--validate", "--">},
    {.name = "short option", .around = call<"--validate", "-\xE4\x9B\x9B">, .shows = seen::never},
    {.name = "options of one letter", .around = call<"--validate", "-">, .shows = seen::never},
    {.name = "argument", .around = call<"--compare_log", "">},
    {.name = "program", .around = [](scene& run) { run.program = planted; }},
    {.name = "program of a usage",
     .around =
         [](scene& run) {
             run.program = planted;
             run.options = {"--validate", "left over"};
         }},

    {.name = "inspected PMF", .around = [](scene& run) { run.pmf_file = run.root.file(planted); }},
    {.name = "inspected event log", .around = [](scene& run) { run.event_log_file = run.root.file(planted); }},
    {.name = "inspected files that are not there",
     .around =
         [](scene& run) {
             run.files_are_missing = true;
             run.pmf_file = run.event_log_file = run.root.file(planted);
         }},
};

// The runs --------------------------------------------------------------------------------------------------------

// Pages break lines at blanks, and go on further to the right. What a field holds in place of a line feed does not.
std::string without_breaks(const std::string& page) {
    std::string lines;
    for (const char c : page) {
        if (c == ' ' && lines.ends_with('\n')) {
            lines.pop_back();
        }
        lines += c;
    }
    return lines;
}

std::string inspect_both(const scene& run) {
    native_platform native;
    std::string all;
    for (const auto kind : {lab::inspect_kind::pmf, lab::inspect_kind::event_log}) {
        const std::string& path = kind == lab::inspect_kind::pmf ? run.pmf_file : run.event_log_file;
        for (const auto form : {lab::inspect_form::text, lab::inspect_form::json}) {
            lab::inspect_request request;
            request.kind = kind;
            request.form = form;
            request.path = path;
            request.trusted_dir = run.directory + "/trusted";
            std::string text;
            static_cast<void>(lab::inspect(request, native.services(), text));
            all += form == lab::inspect_form::text ? without_breaks(text) : text;
        }
    }
    return all;
}

// False when the system has no files of such names.
bool write(const std::string& path, byte_view content) {
    std::error_code error;
    std::filesystem::create_directories(path_of(path).parent_path(), error);
    return write_bytes(path_of(path), content);
}

bool write_all(const scene& run) {
    bool written = ok(lab::write_device(run.made, run.directory));
    for (const auto& [name, content] : run.files) {
        written = write(run.root.file(name), as_bytes(content)) && written;
    }
    return written && (run.files_are_missing || (write(run.pmf_file, run.made.platform_measurements) &&
                                                 write(run.event_log_file, build(run.made.boot))));
}

std::string run_program(const scene& run) {
    std::vector<std::string> words = {run.program};
    const std::vector<std::string> options = run.options.empty() ? validation(run) : run.options;
    words.insert(words.end(), options.begin(), options.end());
    if (!run.made.external_device_id.empty() && run.options.empty()) {
        words.push_back("--external_device_id=" + run.made.external_device_id);
    }
    words.insert(words.end(), {"-o", run.log_file, "-l", "3"});
    if (std::find(words.begin(), words.end(), "-v" + planted) == words.end()) {
        words.insert(words.end(), {"-v", "3"});
    }
    testing::internal::CaptureStdout();  // where the library of the options prints
    const std::string console = test::run_words(run.recording.value_or(run.directory), words).text;
    return testing::internal::GetCapturedStdout() + console + test::read_text(run.log_file);
}

// Everything that is said of the device; nothing when it cannot be written.
std::optional<std::string> report_on(const field& row, const std::string& text) {
    planted = text;
    scene run;
    if (row.plan != nullptr) {
        row.plan(run.plan);
    }
    EXPECT_EQ(lab::make_device(run.plan, run.made), result::success);
    if (row.since != nullptr) {
        row.since(run.made);
    }
    if (row.around != nullptr) {
        row.around(run);
    }
    if (!write_all(run)) {
        return std::nullopt;
    }
    return run_program(run) + (row.inspected ? inspect_both(run) : "");
}

// How often each byte occurs that is no printable ASCII.
std::map<unsigned, int> other_bytes(const std::string& text) {
    std::map<unsigned, int> counts;
    for (const char c : text) {
        if (c < ' ' || c > '~') {
            ++counts[static_cast<std::uint8_t>(c)];
        }
    }
    return counts;
}

bool raw_bytes_make_paths() {
    try {
        return !path_of(hostile).empty();
    } catch (const std::exception&) {
        return false;
    }
}

std::string hostile_text(const field& row) {
    std::string text(row.text == hostile && !raw_bytes_make_paths() ? hostile_utf8 : row.text);
    std::erase_if(text, [&row](char c) { return row.barred.find(c) != std::string_view::npos; });
    return text.substr(0, row.room);
}

void PrintTo(const field& row, std::ostream* out) {
    *out << row.name;
}

class ForeignText : public testing::TestWithParam<field> {};

TEST_P(ForeignText, LeavesTheReportItsLines) {
    const field& row = GetParam();
    const std::string text = hostile_text(row);
    const auto plain = report_on(row, std::string(text.size(), harmless));
    const auto attacked = report_on(row, text);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->find(std::string(2, harmless)) != std::string::npos, row.shows == seen::yes) << *plain;
    const std::map<unsigned, int> expected = other_bytes(*plain);
    for (const auto& [byte, count] : expected) {
        EXPECT_TRUE(byte == '\n' || byte == '\r' || byte == '\t') << testing::PrintToString(expected);
    }
    if (!attacked) {
        GTEST_SKIP() << "this system has no files of such names";
    }
    EXPECT_EQ(other_bytes(*attacked), expected) << *plain << "\n--- became ---\n" << *attacked;
}

INSTANTIATE_TEST_SUITE_P(Fields, ForeignText, testing::ValuesIn(fields), [](const auto& row) {
    std::string name = row.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

}  // namespace
}  // namespace vellum
