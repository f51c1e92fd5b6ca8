// Damage to a sealed device, one file of its recording at a time: whatever becomes of a file, the run ends in order,
// and no device passes of which something that counts has changed.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "lab/device.h"
#include "lab/faults.h"
#include "tests/app/recorded_run.h"
#include "tests/support/tamper.h"
#include "tests/support/temp_dir.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

using test::bytes;
using test::outcome;

// Bytes of the device's files that nothing vouches for, so that it may pass with other ones in their place.
struct free_bytes {
    std::string_view file;
    std::string_view after;  // counted from the end of this text; empty: from the beginning of the file
    std::size_t first;
    std::size_t size;
    const char* reason;
};

constexpr free_bytes free_anywhere[] = {
    {"now", "", 1, 10, "the clock is a fact, not a claim; any time within the validity of everything will do"},
    {"timezone", "", 0, 2, "it turns times into text only"},
    {"os_version", "10.0.19045", 0, 1, "the line's end may be any blank"},
    {"disk/volumes", "206848 1026047 C", 0, 1, "the line's end may be any blank"},
    {"disk/sectors.bin", "", 0, 512, "the protective MBR names no partition"},
    {"disk/sectors.bin", "", 512 + 92, 1024 - 512 - 92, "the GPT's header ends before its sector"},
    {"tpm/pcrs.bin", "", 8 * 32, 3 * 32, "the PMF lists no PCR from 8 to 10"},
    {"tpm/pcrs.bin", "", 12 * 32, 12 * 32, "the PMF lists no PCR above 11"},
    {"firmware/feature_deactivate.bin", "", 0, 16, "a validation never asks for it"},

    {"firmware/get_version.bin", "", 0, 4, "the header's version"},
    {"firmware/get_version.bin", "", 8, 4, "the header's length; the transfer has its own"},
    {"firmware/gm_file_get.bin", "", 0, 4, "the header's version"},
    {"firmware/gm_file_get.bin", "", 8, 4, "the header's length; the transfer has its own"},
    {"firmware/feature_get_state.bin", "", 0, 4, "the header's version"},
    {"firmware/feature_get_state.bin", "", 8, 4, "the header's length; the transfer has its own"},
    {"firmware/feature_get_state.bin", "", 39, 55, "the hotkey is shorter than its field"},
    {"firmware/feature_get_state.bin", "", 98, 4, "reserved"},
    {"firmware/feature_get_state.bin", "", 118, 12, "reserved bytes of the seal signature, signed as zeros"},
    {"firmware/feature_get_state.bin", "", 906, 296, "the seal signature is shorter than its field"},

    {"smbios.bin", "", 0, 8, "the head's version, and a length beyond the table, which ends with the data"},
    {"smbios.bin", "", 9, 4,
     "BIOS: length of the fixed part, within which its last byte does not matter, and handle"},
    {"smbios.bin", "", 14, 33, "BIOS: all but the version's number, and the vendor"},
    {"smbios.bin", "VLM 1.0.42", 1, 10, "BIOS: release date"},
    {"smbios.bin", "VLM 1.0.42", 15, 3, "system: handle and number of the vendor"},
    {"smbios.bin", "VLM 1.0.42", 19, 2, "system: numbers of version and serial number"},
    {"smbios.bin", "VLM 1.0.42", 37, 1, "system: cause of the last start"},
    {"smbios.bin", "VLM 1.0.42", 39, 7, "system: number of the family, and the vendor"},
    {"smbios.bin", "Sealed Laptop 14", 1, 7, "system: serial number, as the UUID is the Device ID"},
    {"smbios.bin", "SKU-14-B", 3, 27,
     "Orbis: length that keeps the identifier inside, handle, fields before the version"},
    {"smbios.bin", "SKU-14-B", 38, 20, "Orbis: fields between version and identifier"},
    {"smbios.bin", "Zeph", 0, 8, "what follows the last structure that is asked"},

    {"kxl.ini", "[Expected Device Identification]", 0, 1, "it hides the source UUID, which is the default"},
    {"intermediate/line.crt", "-----END CERTIFICATE-----", 0, 1, "the line's end may be any blank"},
    {"trusted/root.crt", "-----END CERTIFICATE-----", 0, 1, "the line's end may be any blank"},
    {"trusted/root.crt", "", 55, 102,
     "of an anchor count subject and key: here its signature's algorithm, issuer, dates"},
    {"trusted/root.crt", "", 231, 1, "the absent parameter of its key's algorithm"},
    {"trusted/root.crt", "", 654, 376, "bits of its key usage, and its signature"},
};

constexpr free_bytes free_at_level_1[] = {
    {"kxl.ini", "[Seal Signature Validation]", 0, 1, "it hides the algorithm, which is the default"},
};

constexpr free_bytes free_at_level_3[] = {
    {"firmware/feature_get_state.bin", "", 646, 4, "a digest's size is known"},
    {"firmware/feature_get_state.bin", "", 682, 224, "the digest is shorter than its field"},
    {"tl3_identity.csv", "2026-01-15T10:00:0", 0, 2, "the seconds end the time; what follows them is not looked at"},
};

// Places where a file may end early, or files that may be replaced altogether, although changes in them count.
struct free_loss {
    std::string_view file;
    std::string_view from;  // a cut within this text, or at either end of it; empty: the whole file is lost
    const char* reason;
};

constexpr free_loss lost_anywhere[] = {
    {"now", "", "the machine's clock takes its place"},
    {"timezone", "", "the machine's time zone takes its place"},
    {"firmware/feature_deactivate.bin", "", "a validation never asks for it"},
    {"tl3_identity.csv", "\n", "the last line needs no end"},
};

constexpr free_loss lost_at_level_1[] = {
    {"kxl.ini", "\n[Seal Signature Validation]\n", "the section says what holds without it"},
};

struct span_of_bytes {
    std::size_t first;
    std::size_t size;
};

std::uint32_t u32_at(const bytes& file, std::size_t offset) {
    byte_reader reader(file);
    std::uint32_t value = 0;
    static_cast<void>(reader.skip(offset) && reader.u32_le(value));
    return value;
}

// Of an event count its SHA-256 digest, its PCR and its sizes. Its type counts where PCR[5] is judged by it and where
// it says that the event is not measured; its data count where they are held against the digest. The SHA-1 digest
// behind its identifier, which may be any that is not listed, never counts.
std::vector<span_of_bytes> free_of_event_log(const bytes& log) {
    constexpr std::size_t first_event = 69;  // after the one that describes the log
    constexpr std::size_t sha1 = 12;         // offsets within an event
    constexpr std::size_t sha256 = sha1 + 2 + 20;
    constexpr std::size_t size = sha256 + 2 + 32;
    std::vector<span_of_bytes> found = {{8, 20}, {48, 8}, {60, 2}, {68, 1}};  // of the first one
    for (std::size_t at = first_event; at < log.size();) {
        const std::uint32_t pcr = u32_at(log, at);
        const std::uint32_t type = u32_at(log, at + 4);
        const std::uint32_t length = u32_at(log, at + size);
        const bool judged = pcr == 5 && (type == EV_EFI_VARIABLE_DRIVER_CONFIG || type == EV_EFI_GPT_EVENT);
        found.push_back({at + sha1, 22});
        if (type == EV_NO_ACTION) {
            found.push_back({at + sha256 + 2, 32});
        } else if (!judged) {
            found.push_back({at + size + 4, length});
            if (pcr != 5 || type != EV_SEPARATOR) {
                found.push_back({at + 4, 4});
            }
        }
        at += size + 4 + length;
    }
    return found;
}

// A device on disk and what its files held when it was whole.
class specimen {
  public:
    explicit specimen(lab::device_plan plan, const lab::fault* fault = nullptr) : level_(plan.level) {
        if (fault != nullptr && fault->plan != nullptr) {
            fault->plan(plan);
        }
        lab::device made;
        EXPECT_EQ(lab::make_device(plan, made), result::success);
        if (fault != nullptr && fault->since != nullptr) {
            fault->since(made);
        }
        EXPECT_EQ(lab::write_device(made, root_.path().string()), result::success);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root_.path())) {
            if (entry.is_regular_file()) {
                const std::string text = test::read_text(entry.path().string());
                files_[entry.path().lexically_relative(root_.path()).generic_string()] = {text.begin(), text.end()};
            }
        }
    }

    const std::map<std::string, bytes>& files() const { return files_; }

    outcome validate() const { return test::validate(root_.path().string(), root_.file("kxl.ini"), "3"); }

    outcome unseal() const {
        return test::run_recorded(root_.path().string(), {"--unseal", "-c", root_.file("kxl.ini")});
    }

    // With another content of one file; without one the file is missing. `run` is one of the two above.
    outcome with(const std::string& file, const std::optional<bytes>& content,
                 outcome (specimen::*run)() const = &specimen::validate) const {
        if (content) {
            root_.write(file, *content);
        } else {
            std::filesystem::remove(root_.path() / file);
        }
        outcome found = (this->*run)();
        root_.write(file, files_.at(file));
        return found;
    }

    outcome with_directory(const std::string& file) const {
        std::filesystem::remove(root_.path() / file);
        std::filesystem::create_directory(root_.path() / file);
        outcome found = validate();
        std::filesystem::remove(root_.path() / file);
        root_.write(file, files_.at(file));
        return found;
    }

    bytes changed(const std::string& file, std::size_t at, std::uint8_t flipped) const {
        bytes content = files_.at(file);
        content.at(at) ^= flipped;
        return content;
    }

    // The bytes of the file that may change.
    std::vector<span_of_bytes> may_change(const std::string& file) const {
        std::vector<span_of_bytes> found;
        add_rows(free_anywhere, file, found);
        if (level_ == lab::trusted_level::tl1) {
            add_rows(free_at_level_1, file, found);
        } else {
            add_rows(free_at_level_3, file, found);
        }
        if (file == "tpm/event_log.bin") {
            const auto more = free_of_event_log(files_.at(file));
            found.insert(found.end(), more.begin(), more.end());
        }
        if (file == "kxl.ini") {
            add_line_ends_before_empty_lines(found);
        }
        return found;
    }

    bool may_change(const std::string& file, std::size_t at) const {
        const auto spans = may_change(file);
        return std::any_of(spans.begin(), spans.end(), [at](const span_of_bytes& span) {
            return at >= span.first && at - span.first < span.size;
        });
    }

    bool may_end(const std::string& file, std::size_t at) const {
        const bytes& content = files_.at(file);
        std::size_t end = content.size();
        while (end > at && may_change(file, end - 1)) {
            --end;
        }
        return end == at || loss_allowed(file, [&](std::string_view text) {
                   const std::size_t first = find_last(content, text);
                   return !text.empty() && at >= first && at - first <= text.size();
               });
    }

    bool may_be_lost(const std::string& file) const {
        return loss_allowed(file, [](std::string_view text) { return text.empty(); });
    }

  private:
    static std::size_t find_last(const bytes& content, std::string_view text) {
        const auto found = std::find_end(content.begin(), content.end(), text.begin(), text.end());
        return text.empty() ? 0 : static_cast<std::size_t>(found - content.begin());
    }

    template <std::size_t Count>
    void add_rows(const free_bytes (&rows)[Count], const std::string& file, std::vector<span_of_bytes>& out) const {
        for (const free_bytes& row : rows) {
            if (row.file == file) {
                const std::size_t base = find_last(files_.at(file), row.after) + row.after.size();
                out.push_back({base + row.first, row.size});
            }
        }
    }

    // They may be any blank, as the line that they join to theirs is empty.
    void add_line_ends_before_empty_lines(std::vector<span_of_bytes>& out) const {
        const bytes& content = files_.at("kxl.ini");
        for (std::size_t i = 0; i < content.size(); ++i) {
            if (content[i] == '\n' && (i + 1 == content.size() || content[i + 1] == '\n')) {
                out.push_back({i, 1});
            }
        }
    }

    template <typename Predicate>
    bool loss_allowed(const std::string& file, Predicate allowed) const {
        const auto matches = [&](const free_loss& row) { return row.file == file && allowed(row.from); };
        return std::any_of(std::begin(lost_anywhere), std::end(lost_anywhere), matches) ||
               (level_ == lab::trusted_level::tl1 &&
                std::any_of(std::begin(lost_at_level_1), std::end(lost_at_level_1), matches));
    }

    lab::trusted_level level_;
    test::temp_dir root_;
    std::map<std::string, bytes> files_;
};

enum class may_pass { no, yes };

void expect_orderly(const outcome& found, may_pass allowed, const std::string& what) {
    const std::set<int> codes = {0, 1, 2, 3, 5};
    EXPECT_EQ(codes.count(found.code), 1U) << what << ": exit code " << found.code;
    EXPECT_EQ(found.passed(), found.code == 0) << what << ": exit code " << found.code;
    const bool explained =
        found.text.find("Validation ") != std::string::npos || found.text.find("ERROR: ") != std::string::npos;
    EXPECT_TRUE(explained) << what << ":\n" << found.text;
    EXPECT_FALSE(found.passed() && allowed == may_pass::no) << what << " passes";
}

bytes noise() {
    bytes out(64 * 1024);
    std::mt19937 random(20'260'302);
    std::generate(out.begin(), out.end(), [&] { return static_cast<std::uint8_t>(random()); });
    return out;
}

// Evenly spread places of a file, each once.
std::set<std::size_t> places(std::size_t size, std::size_t count) {
    std::set<std::size_t> out;
    for (std::size_t i = 0; i < count && size > 0; ++i) {
        out.insert(i * size / count);
    }
    if (size > 0) {
        out.insert(size - 1);
    }
    return out;
}

enum class device_kind { sound, faulty };

// A faulty device never passes.
void damage_every_file(const specimen& device, std::size_t count, device_kind kind) {
    const auto expect = [kind](const outcome& found, bool free, const std::string& what) {
        expect_orderly(found, kind == device_kind::sound && free ? may_pass::yes : may_pass::no, what);
    };
    for (const auto& [name, content] : device.files()) {
        const bool free = device.may_be_lost(name);
        expect(device.with(name, std::nullopt), free, name + " missing");
        expect(device.with_directory(name), free, name + " is a directory");
        expect(device.with(name, bytes()), free, name + " empty");
        expect(device.with(name, noise()), free, name + " replaced by noise");
        for (const std::size_t at : places(content.size(), count)) {
            const bytes cut(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(at));
            expect(device.with(name, cut), free || device.may_end(name, at), name + " cut at " + std::to_string(at));
            const std::uint8_t flipped = at % 2 == 0 ? 0xFF : 0x01;
            expect(device.with(name, device.changed(name, at, flipped)), device.may_change(name, at),
                   name + " changed at " + std::to_string(at));
        }
    }
}

lab::device_plan plan_of(lab::trusted_level level) {
    lab::device_plan plan;
    plan.level = level;
    return plan;
}

class DamagedDevice : public testing::TestWithParam<lab::trusted_level> {};

TEST_P(DamagedDevice, PassesOnlyWhereNothingThatCountsHasChanged) {
    const specimen device(plan_of(GetParam()));
    ASSERT_TRUE(device.validate().passed()) << device.validate().text;
    damage_every_file(device, 32, device_kind::sound);
}

// Keeps the tables narrow: the device passes with either end of each range changed.
TEST_P(DamagedDevice, PassesWithFreeBytesChanged) {
    const specimen device(plan_of(GetParam()));
    for (const auto& [name, content] : device.files()) {
        for (const span_of_bytes& span : device.may_change(name)) {
            for (const std::size_t at : {span.first, span.first + span.size - 1}) {
                EXPECT_TRUE(device.with(name, device.changed(name, at, 0x01)).passed() ||
                            device.with(name, device.changed(name, at, 0xFF)).passed())
                    << name << " changed at " << at;
            }
        }
    }
}

// The firmware's answers decide whether the device is unsealed: nothing else is said than what they say.
TEST_P(DamagedDevice, IsUnsealedOnlyWhenTheFirmwareSaysSo) {
    const specimen device(plan_of(GetParam()));
    const auto expect = [&device](const std::string& file, const std::optional<bytes>& content, bool may_succeed) {
        const outcome found = device.with(file, content, &specimen::unseal);
        const bool unsealed = found.text.find("Unsealed the device successfully") != std::string::npos;
        EXPECT_EQ(unsealed, found.code == 0) << found.text;
        EXPECT_TRUE(unsealed || found.text.find("ERROR: ") != std::string::npos) << found.text;
        EXPECT_FALSE(unsealed && !may_succeed) << file;
    };
    ASSERT_EQ(device.unseal().code, 0) << device.unseal().text;
    for (const char* file :
         {"firmware/get_version.bin", "firmware/feature_get_state.bin", "firmware/feature_deactivate.bin"}) {
        const bytes& whole = device.files().at(file);
        expect(file, std::nullopt, false);
        expect(file, noise(), false);
        for (const std::size_t at : places(whole.size(), 64)) {
            const bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at));
            expect(file, cut, false);
            const bool command_or_status = (at >= 4 && at < 8) || (at >= 12 && at < 16);
            expect(file, device.changed(file, at, 0x01), !command_or_status);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(TrustedLevels, DamagedDevice,
                         testing::Values(lab::trusted_level::tl1, lab::trusted_level::tl3),
                         [](const auto& row) { return row.param == lab::trusted_level::tl1 ? "TL1" : "TL3"; });

class FaultyDevice : public testing::TestWithParam<const char*> {};

TEST_P(FaultyDevice, DoesNotPassForFurtherDamage) {
    const lab::fault* fault = lab::find_fault(GetParam());
    ASSERT_NE(fault, nullptr);
    damage_every_file(specimen({}, fault), 8, device_kind::faulty);
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultyDevice,
                         testing::Values("seal-broken", "seal-signature", "untrusted-root", "forged-log", "bom-file",
                                         "os-build"),
                         [](const auto& row) {
                             std::string name = row.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace
}  // namespace vellum
