// Events of real machines: what tpm2_eventlog, where it is installed, reads in them is read here too; so is what a
// validation reads in a partition table. And whatever is cut off or changed in them, they are decoded or say why not.
//
// Version 5.4 of the tool prints partition tables, load options and signature lists as bytes, of which nothing can be
// compared. Its faults: it refuses a log whose Spec ID event is of another register, crashes on one legacy log,
// prints what follows an image event for a device path of no bytes, and shows the zeros of UTF-16.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <map>
#include <utility>

#include "disk/gpt.h"
#include "tests/support/log_session.h"
#include "tests/support/real_logs.h"
#include "tests/support/temp_dir.h"
#include "tpm/event_details/event_text.h"

namespace vellum {
namespace {

using event_visitor = std::function<void(const logged_event& event)>;

// The Spec ID event and all others, in order.
void for_each_event(const std::vector<std::uint8_t>& log, const event_visitor& visit) {
    event_log_reader reader;
    if (!ok(reader.open(log, log_banks::any))) {
        return;
    }
    logged_event event;
    if (reader.read_spec_id(event)) {
        visit(event);
    }
    for (; reader.at_event(); reader.advance()) {
        if (reader.read(event)) {
            visit(event);
        }
    }
}

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

std::string hex_of(std::uint64_t number) {
    auto bytes = little_endian_bytes(number);
    std::reverse(bytes.begin(), bytes.end());
    const std::string digits = lower_hex(bytes);
    return "0x" + digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

// The last value of each field of an event, as the tool prints them; a text by its first line, without its quotes.
using printed_event = std::map<std::string, std::string>;

std::string_view without_quotes(std::string_view text) {
    text = trim(text);
    const bool quoted =
        text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front();
    return quoted ? text.substr(1, text.size() - 2) : text;
}

std::vector<printed_event> printed_events(std::string_view output) {
    std::vector<printed_event> events;
    bool text_follows = false;
    while (!output.empty()) {
        const std::string_view line = trim(take_until(output, '\n'));
        if (std::exchange(text_follows, false)) {
            continue;
        }
        if (line.starts_with("pcrs:")) {
            break;
        }
        if (line.starts_with("- EventNum:")) {
            events.emplace_back();
        }
        const std::size_t begin = line.starts_with("- ") ? 2 : 0;
        const std::size_t colon = line.find(':');
        if (events.empty() || colon == std::string_view::npos) {
            continue;
        }
        const std::string key(trim(line.substr(begin, colon - begin)));
        std::string_view value = trim(line.substr(colon + 1));
        if (value == "|-") {
            std::string_view rest = output;
            value = take_until(rest, '\n');
            text_follows = true;
        }
        events.back()[key] = without_quotes(value);
    }
    return events;
}

// The fields that we read, as the tool would print them.
struct expected_fields {
    printed_event& out;

    void operator()(const spec_id_details& spec) const {
        out["platformClass"] = std::to_string(spec.platform_class);
        out["specVersionMajor"] = std::to_string(spec.major);
        out["specVersionMinor"] = std::to_string(spec.minor);
        out["specErrata"] = std::to_string(spec.errata);
        out["numberOfAlgorithms"] = std::to_string(spec.algorithms.size());
        out["digestSize"] = std::to_string(spec.algorithms.back().digest_size);
        out["vendorInfoSize"] = std::to_string(spec.vendor_information.size());
    }
    void operator()(const firmware_blob_details& blob) const {
        out["BlobBase"] = hex_of(blob.base);
        out["BlobLength"] = hex_of(blob.length);
    }
    void operator()(const variable_details& variable) const {
        out["VariableName"] = lower(guid_text(variable.vendor));
        out["UnicodeName"] = variable.name;
        out["VariableDataLength"] = std::to_string(variable.data.size());
        out["VariableData"] = lower_hex(variable.data);
    }
    void operator()(const image_load_details& image) const {
        out["ImageLocationInMemory"] = hex_of(image.location);
        out["ImageLengthInMemory"] = std::to_string(image.length);
        out["ImageLinkTimeAddress"] = hex_of(image.link_address);
        out["DevicePath"] = image.path.text;
    }
    void operator()(const text_details& text) const {
        std::string_view lines = text.text;
        out["String"] = take_until(lines, '\n');
    }
    template <typename Other>
    void operator()(const Other&) const {}
};

printed_event expected_event(const logged_event& event) {
    printed_event out = {{"PCRIndex", std::to_string(event.pcr)}, {"EventSize", std::to_string(event.data.size())}};
    if (event.digest_count > 0) {
        out["Digest"] = lower_hex(event.banks().back().value);
    }
    const event_details details = decode_event(event);
    std::visit(expected_fields{out}, details);
    return out;
}

std::vector<std::uint8_t> bytes_of_hex(std::string_view digits) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at + 2 <= digits.size(); at += 2) {
        std::uint8_t byte = 0;
        if (std::from_chars(digits.data() + at, digits.data() + at + 2, byte, 16).ptr != digits.data() + at + 2) {
            return {};
        }
        bytes.push_back(byte);
    }
    return bytes;
}

// What the tool prints of a field, as it is compared; empty for what cannot be.
std::string comparable(const std::string& key, std::string printed) {
    if (key == "DevicePath") {
        // Bytes, where the tool was built without a library that knows device paths; with it, a dialect of its own.
        device_path path;
        return decode_device_path(bytes_of_hex(printed), path) ? path.text : std::string();
    }
    for (std::size_t at = printed.find("\\0"); at != std::string::npos; at = printed.find("\\0", at)) {
        printed.erase(at, 2);
    }
    return printed;
}

// In front of a text it prints the label of a command, which is left out here.
bool agrees(const std::string& key, const std::string& printed, const std::string& expected) {
    return key == "String" ? printed.find(expected) != std::string::npos : printed == expected;
}

// How often each field was compared.
using comparison = std::map<std::string, std::size_t>;

void compare_event(const printed_event& printed, const printed_event& expected, const std::string& where,
                   comparison& compared) {
    for (const auto& [key, value] : expected) {
        const auto field = printed.find(key);
        const std::string text = field != printed.end() ? comparable(key, field->second) : std::string();
        if (!text.empty()) {
            EXPECT_TRUE(agrees(key, text, value)) << where << ' ' << key << ": " << text << " and " << value;
            ++compared[key];
        }
    }
}

// What the tool prints of a log; empty when it is not installed, or fails.
std::string tool_output(const std::string& arguments) {
    const test::temp_dir directory;
    const std::string command =
        "tpm2_eventlog " + arguments + " >\"" + directory.file("out") + "\" 2>\"" + directory.file("err") + '"';
    return std::system(command.c_str()) == 0 ? test::read_lines(directory.file("out")) : std::string();
}

class RealEvents : public testing::Test {
  protected:
    void SetUp() override {
        if (test::real_logs().empty()) {
            GTEST_SKIP() << "no event logs in \"" << test::real_logs_folder() << '"';
        }
    }
};

TEST_F(RealEvents, SayWhatAnotherToolSays) {
    if (tool_output("--version").empty()) {
        GTEST_SKIP() << "tpm2_eventlog is not installed";
    }
    comparison compared;
    for (const auto& path : test::real_logs()) {
        const std::vector<printed_event> printed = printed_events(tool_output('"' + path.string() + '"'));
        std::size_t number = 0;
        for_each_event(test::read_log(path), [&](const logged_event& event) {
            if (number < printed.size()) {
                const std::string where = path.filename().string() + " event " + std::to_string(number);
                compare_event(printed[number], expected_event(event), where, compared);
            }
            ++number;
        });
        EXPECT_TRUE(printed.empty() || printed.size() == number)
            << path << ": " << printed.size() << " and " << number;
    }
    for (const char* key : {"PCRIndex", "Digest", "specVersionMajor", "BlobBase", "UnicodeName", "VariableName",
                            "VariableData", "ImageLocationInMemory", "DevicePath", "String"}) {
        EXPECT_GT(compared[key], 0U) << key;
    }
}

TEST_F(RealEvents, PartitionsAreThoseThatAValidationReads) {
    std::size_t compared = 0;
    for (const auto& path : test::real_logs()) {
        for_each_event(test::read_log(path), [&](const logged_event& event) {
            const event_details details = decode_event(event);
            const auto* decoded = std::get_if<gpt_details>(&details);
            test::log_session session(log_level::off);
            gpt_partitions table;
            if (decoded == nullptr || !ok(build_gpt_partition_list(event.data, table))) {
                return;
            }
            ASSERT_EQ(decoded->partitions.size(), table.entries.size()) << path;
            for (std::size_t i = 0; i < table.entries.size(); ++i) {
                const gpt_entry_details& entry = decoded->partitions[i];
                EXPECT_EQ(entry.type, table.entries[i].type_guid) << path;
                EXPECT_EQ(entry.first_lba, table.entries[i].first_lba) << path;
                EXPECT_EQ(entry.last_lba, table.entries[i].last_lba) << path;
                EXPECT_EQ(entry.name, utf16_text(table.entries[i].name, 36)) << path;
                ++compared;
            }
        });
    }
    EXPECT_GT(compared, 0U);
}

void expect_readable(const logged_event& event, const std::filesystem::path& path) {
    const event_details details = decode_event(event);
    const std::string summary = summary_of(event, details);
    EXPECT_NE(summary, "") << path;
    EXPECT_EQ(shown_text(summary), summary) << path;
    EXPECT_NE(details_json(details, hash_lists::counted).dump(), "") << path;
}

// Cut and changed at some places of each event.
TEST_F(RealEvents, DamageIsDecodedOrSaysWhyNot) {
    constexpr std::size_t places = 12;
    for (const auto& path : test::real_logs()) {
        for_each_event(test::read_log(path), [&](const logged_event& event) {
            expect_readable(event, path);
            const std::size_t step = 1 + event.data.size() / places;
            for (std::size_t at = 0; at < event.data.size(); at += step) {
                std::vector<std::uint8_t> data(event.data.begin(), event.data.end());
                data[at] = static_cast<std::uint8_t>(~data[at]);
                logged_event damaged = event;
                damaged.data = data;
                expect_readable(damaged, path);
                const std::vector<std::uint8_t> cut(event.data.begin(),
                                                    event.data.begin() + static_cast<std::ptrdiff_t>(at));
                damaged.data = cut;
                expect_readable(damaged, path);
            }
        });
    }
}

}  // namespace
}  // namespace vellum
