// Writes the seeds of every fuzz target, DIR/TARGET/NAME, from the builders.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "fuzz/device_files.h"
#include "fuzz/event_seeds.h"
#include "lab/byte_builder.h"
#include "lab/certificate_authority.h"
#include "lab/device.h"
#include "lab/faults.h"
#include "lab/quote_builder.h"
#include "lab/sample_boot.h"
#include "lab/sample_keys.h"
#include "tests/support/temp_dir.h"
#include "tools/write_file.h"
#include "tpm/tbs/pcr_read.h"

namespace vellum::fuzz {
namespace {

using bytes = std::vector<std::uint8_t>;
using file_map = std::map<std::string, std::string>;  // content by path

class corpus {
  public:
    explicit corpus(std::filesystem::path root) : root_(std::move(root)) {}

    void add(const char* target, const std::string& name, byte_view seed) {
        const std::filesystem::path path = root_ / target / name;
        std::error_code ignored;
        std::filesystem::create_directories(path.parent_path(), ignored);
        complete_ = write_bytes(path, seed) && complete_;
    }
    void add(const char* target, const std::string& name, std::string_view seed) {
        add(target, name, as_bytes(seed));
    }

    bool complete() const { return complete_; }

  private:
    std::filesystem::path root_;
    bool complete_ = true;
};

lab::byte_builder& part(lab::byte_builder& to, byte_view content) {
    return to.u32_le(static_cast<std::uint32_t>(content.size())).bytes(content);
}

// The texts that the hand-written parsers take.
void add_texts(corpus& seeds) {
    constexpr const char* hotkeys[] = {"CTRL+ALT+F1", "SHIFT+a, ESC, COMMA", "LOGO+MENU+SYS_RQ+SHIFT+1", "+", "NULL"};
    constexpr const char* pcr_lists[] = {"0", "0,1,2,3", " 4 , 17 ,23", "24", "1,1"};
    constexpr const char* locations[] = {"C:\\bom\\system.bom", "d:/a/b", "C:\\..\\x", "C:x"};
    constexpr const char* paths[] = {"plain.bin", "::UUID::.pmf",
                                     "::SERIAL_NUMBER::/::OEM_DEFINED_LITERAL::", "a::OEM_DEFINED_BLOB::b", "::X::"};
    // Each holds what a line of its own cannot, or what only the early look refuses.
    const std::string configurations[] = {"[s]\na=1\n b ;c\n", "[s]\n" + std::string(48, 'a') + " b=1\n 2\n",
                                          "[Logging]\nFileLogLevel=9\n"};
    int number = 0;
    for (const std::string& text : configurations) {
        seeds.add("ini", std::to_string(++number), std::string_view(text));
    }
    for (const char* text : hotkeys) {
        seeds.add("hotkey", std::to_string(++number), std::string_view(text));
    }
    for (const char* text : pcr_lists) {
        seeds.add("compared_pcrs", std::to_string(++number), std::string_view(text));
    }
    for (const char* text : locations) {
        seeds.add("bom_location", std::to_string(++number), std::string(text) + '\0');
    }
    for (const char* text : paths) {
        for (const char* external : {"LINE-4_unit.0042", "0x0A0BC0DE"}) {
            lab::byte_builder seed;
            part(seed, as_bytes(text));
            part(seed, as_bytes(external));
            seeds.add("path_tokens", std::to_string(++number), part(seed, as_bytes("SN-0042")).take());
        }
    }
}

void add_logs(corpus& seeds) {
    lab::event_log legacy = lab::clean_boot();
    legacy.spec_id.reset();
    const bytes clean = lab::build(lab::clean_boot());
    const bytes changed = lab::build(lab::changed_boot());
    for (const char* target : {"event_log", "log_health"}) {
        seeds.add(target, "clean", clean);
        seeds.add(target, "changed", changed);
        seeds.add(target, "legacy", lab::build(legacy));
    }
    lab::byte_builder pair;
    part(pair, clean);
    const bytes both = part(pair, changed).take();
    seeds.add("log_comparison", "changed", both);
    seeds.add("log_alignment", "changed", both);
    // Every event of the one log changed, moved or missing in the other.
    lab::event_log turned = lab::clean_boot();
    std::rotate(turned.events.begin(), turned.events.begin() + 5, turned.events.end());
    turned.events.resize(turned.events.size() - 3);
    for (std::size_t i = 0; i < turned.events.size(); i += 2) {
        turned.events[i].data.back() ^= 1;
    }
    lab::byte_builder turned_pair;
    part(turned_pair, clean);
    seeds.add("log_alignment", "turned", part(turned_pair, lab::build(turned)).take());
    lab::byte_builder legacy_pair;
    part(legacy_pair, lab::build(legacy));
    seeds.add("log_alignment", "legacy", part(legacy_pair, changed).take());
}

// Accepted ones and others, and what a TPM answers when it makes them.
void add_quotes(corpus& seeds) {
    lab::quote_plan plan;
    plan.key = lab::sample_key(lab::sample_key_name::attestation);
    plan.nonce = {1, 2, 3, 4};
    for (EVP_PKEY* const key : {plan.key, lab::private_key(lab::key_kind::ec_p256)}) {
        plan.key = key;
        const evidence_files made = lab::build(plan);
        lab::byte_builder seed;
        for (const auto* file : {&made.quote, &made.signature, &made.public_area, &made.pcrs}) {
            part(seed, **file);
        }
        lab::byte_builder parameters;
        parameters.u16_be(static_cast<std::uint16_t>(made.quote->size())).bytes(*made.quote).bytes(*made.signature);
        const auto size = static_cast<std::uint32_t>(parameters.size());
        seed.u16_be(0x8002).u32_be(14 + size).u32_be(0).u32_be(size).bytes(parameters.take());
        seeds.add("quote", EVP_PKEY_base_id(key) == EVP_PKEY_EC ? "ecc" : "rsa", seed.take());
    }
}

void add_events(corpus& seeds) {
    int number = 0;
    for (const lab::log_event& event : event_seeds()) {
        const bytes seed = lab::byte_builder().u32_le(event.pcr).u32_le(event.type).bytes(event.data).take();
        seeds.add("event_details", std::to_string(++number), seed);
    }
}

// The files of a device, as a recording holds them.
file_map recorded(const lab::device& made) {
    const test::temp_dir directory;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    const bool written = ok(lab::write_device(made, "."));
    file_map files;
    for (const char* name : device_files) {
        if (written && std::filesystem::exists(name)) {
            files[name] = test::read_text(name);
        }
    }
    std::filesystem::current_path(before);
    return files;
}

bytes device_seed(std::uint8_t command_line, const file_map& files) {
    lab::byte_builder seed;
    seed.u8(command_line);
    for (std::uint8_t i = 0; i < std::size(device_files); ++i) {
        if (const auto file = files.find(device_files[i]); file != files.end()) {
            part(seed.u8(i), as_bytes(file->second));
        }
    }
    return seed.take();
}

// The messages that a recorded TPM gets and gives.
bytes pcr_response(std::string_view pcrs) {
    constexpr std::size_t pass_size = pcrs_per_read * sizeof(pcr_value);
    lab::byte_builder body;
    body.u32_be(0).u32_be(77).u32_be(1).u16_be(0x000B).u8(3).u8(0xFF).fill(2).u32_be(pcrs_per_read);
    for (std::size_t at = 0; at < pass_size; at += sizeof(pcr_value)) {
        body.u16_be(sizeof(pcr_value)).text(pcrs.substr(at, sizeof(pcr_value)));
    }
    const auto size = static_cast<std::uint32_t>(6 + body.size());
    return lab::byte_builder().u8(0).u16_be(0x8001).u32_be(size).bytes(body.take()).take();
}

// What a device holds, each to the target that reads it.
void add_parts(corpus& seeds, const std::string& name, const lab::device& made, const file_map& files) {
    const auto file = [&](const char* path) {
        const auto found = files.find(path);
        return found == files.end() ? std::string() : found->second;
    };
    seeds.add("pmf", name, made.platform_measurements);
    seeds.add("ini", name, file("kxl.ini"));
    seeds.add("tl3_file", name, file("tl3_identity.csv"));
    seeds.add("smbios", name, file("smbios.bin"));
    seeds.add("event_log", name, file("tpm/event_log.bin"));
    seeds.add("pcr_read", name, pcr_response(file("tpm/pcrs.bin")));
    seeds.add("gpt", name + "_disk", "0" + file("disk/sectors.bin"));
    seeds.add("gpt", name + "_event", lab::byte_builder().u8(0).bytes(lab::build_gpt_event(made.disk)).take());
    seeds.add("feature_state", name, file("firmware/feature_get_state.bin"));
    for (const char* answer : {"get_version", "feature_get_state", "gm_file_get", "feature_deactivate"}) {
        lab::byte_builder seed;
        part(seed, as_bytes(file(("firmware/" + std::string(answer) + ".bin").c_str())));
        seeds.add("firmware_answer", name + "_" + answer, seed.take());
    }
}

// Every value that the database of a fleet keeps, and what else may stand in their place.
void add_fleet_reports(corpus& seeds) {
    const std::string digest(64, 'a');
    const std::string head =
        R"({"schema":"vellum-report run","schema_version":1,"tool_version":"1","verdict":"failed",)"
        R"("exit_code":5,"run":{"mode":"validate","host":"h","recorded_device":null,)"
        R"("started":"2026-03-02T10:00:00Z","microseconds":1},)";
    const std::string device = R"("device":{"id":"D","id_source":"UUID","serial":"S","product":"P","sku":"K",)"
                               R"("bios_version":"B","os_version":"O","seal_state":"Intact"},)";
    const std::string found =
        R"("cause":{"id":"pcr-differs"},"stages":[{"id":"s","state":"failed","findings":[{"id":)"
        R"("pcr-differs","fields":{"pcr":"4"}},{"id":null,"fields":{"pcr":["1","2"]}}]}],)"
        R"("other_findings":[],"cautions":[{"id":"c"}],)";
    const std::string values = "\"pcrs\":[{\"pcr\":4,\"tpm\":\"" + digest +
                               "\"}],\"inputs\":[{\"what\":\"pmf\",\"sha256\":\"" + digest +
                               "\"}],\"pmf\":{\"expires\":\"2026-04-01T00:00:00Z\",\"signers\":[{\"not_after\":" +
                               "\"2026-04-01T00:00:00Z\"}]},";
    const std::string proof = R"("evidence":{"accepted":true,"key_name":"000b","findings":[{"id":"e"}]}})";
    seeds.add("fleet_report", "whole", std::string_view(head + device + found + values + proof));
    seeds.add("fleet_report", "nulls", std::string_view(head + R"("device":null,"cause":null,"evidence":null})"));
}

// Devices of each kind, and one with each fault, validated; the whole one also in the other modes.
bool add_devices(corpus& seeds) {
    std::uint8_t command_line = 0;
    for (const lab::trusted_level level : {lab::trusted_level::tl1, lab::trusted_level::tl3}) {
        for (const DeviceIdSource source : {DeviceIdSource::UUID, DeviceIdSource::OEM_DEFINED_BLOB}) {
            lab::device made;
            lab::device_plan plan;
            plan.level = level;
            plan.id_source = source;
            if (!ok(lab::make_device(plan, made))) {
                return false;
            }
            file_map files = recorded(made);
            const std::string name = "device" + std::to_string(command_line);
            add_parts(seeds, name, made, files);
            files["pmf.bin"].assign(made.platform_measurements.begin(), made.platform_measurements.end());
            files["reference.bin"] = files["tpm/event_log.bin"];
            seeds.add("device", name, device_seed(run_twice, files));
            seeds.add("report", name, device_seed(0, files));
            seeds.add("report", name + "_mode", device_seed(static_cast<std::uint8_t>(command_line + 1), files));
            seeds.add("device", name + "_mode", device_seed(++command_line, files));
        }
    }
    for (const lab::fault* fault : lab::all_faults()) {
        lab::device made;
        lab::device_plan plan;
        if (fault->plan != nullptr) {
            fault->plan(plan);
        }
        if (!ok(lab::make_device(plan, made))) {
            return false;
        }
        if (fault->since != nullptr) {
            fault->since(made);
        }
        seeds.add("device", fault->name, device_seed(0, recorded(made)));
    }
    return true;
}

}  // namespace
}  // namespace vellum::fuzz

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: make_corpus DIR\n", stderr);
        return 3;
    }
    vellum::fuzz::corpus seeds{std::filesystem::absolute(argv[1])};
    vellum::fuzz::add_texts(seeds);
    vellum::fuzz::add_logs(seeds);
    vellum::fuzz::add_events(seeds);
    vellum::fuzz::add_quotes(seeds);
    vellum::fuzz::add_fleet_reports(seeds);
    const bool made = vellum::fuzz::add_devices(seeds);
    if (!made || !seeds.complete()) {
        std::fputs("make_corpus: the seeds cannot be made\n", stderr);
        return 1;
    }
    return 0;
}
