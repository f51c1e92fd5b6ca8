#include "lab/recorded_machine.h"

#include <algorithm>
#include <filesystem>
#include <limits>

#include "base/path.h"
#include "base/text.h"
#include "core/findings.h"
#include "disk/bom_file.h"
#include "disk/gpt.h"
#include "platform/recorded/recorded.h"
#include "pmf/system_info.h"
#include "tools/arguments.h"
#include "tpm/event_log.h"
#include "tpm/pcr_checks.h"
#include "tpm/pcr_list.h"

namespace vellum::lab {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t max_volume_files = std::size_t{256} * 1024 * 1024;  // bytes of all of them

constexpr const char* needed_files[] = {recorded_log, recorded_pcr_values, "smbios.bin", "os_version",
                                        "disk/sectors.bin"};
constexpr const char* further_files[] = {"now",           "timezone",         "tpm/version",
                                         "tpm/no_log_ex", "disk/sector_size", "disk/volumes"};

class machine_reader {
  public:
    machine_reader(const platform& native, const seal_request& request, recorded_machine& out)
        : request_(request), out_(out), record_(request.recording), recorded_(native) {}

    // Reads a part after the other up to the first that is missing or wrong.
    std::string run() {
        using part = std::string (machine_reader::*)();
        for (const part read :
             {&machine_reader::load, &machine_reader::read_files, &machine_reader::read_volume_files,
              &machine_reader::read_platform, &machine_reader::read_device_id, &machine_reader::read_partitions,
              &machine_reader::read_boms, &machine_reader::read_boot, &machine_reader::match_measured_partitions}) {
            if (std::string wrong = (this->*read)(); !wrong.empty()) {
                return wrong;
            }
        }
        return "";
    }

  private:
    std::string load();
    std::string read_files();
    std::string read_volume_files();
    std::string read_platform();
    std::string read_device_id();
    std::string read_partitions();
    std::string read_boms();
    std::string read_boot();
    std::string match_measured_partitions();

    std::string keep(const std::string& name, bool& there);
    std::string keep_volume_file(const fs::path& path, std::size_t& total);
    std::string measure(const bom_location& bom, const std::vector<disk_volume>& volumes);
    std::string check_uuid() const;

    const seal_request& request_;
    recorded_machine& out_;
    record_directory record_;
    recorded_platform recorded_;
    platform_smbios_info smbios_;
    std::optional<tpm_events_chains> log_;
};

std::string machine_reader::load() {
    if (!ok(recorded_.load(request_.recording))) {
        return recorded_.problem() + ".";
    }
    out_.now = recorded_.services().time.now();
    return "";
}

std::string machine_reader::keep(const std::string& name, bool& there) {
    std::optional<std::vector<std::uint8_t>> content;
    if (!ok(record_.read(name, content))) {
        return record_.problem() + ".";
    }
    there = content.has_value();
    if (content) {
        out_.files[name] = std::move(*content);
    }
    return "";
}

std::string machine_reader::read_files() {
    std::string missing;
    bool there = false;
    for (const char* name : needed_files) {
        if (std::string wrong = keep(name, there); !wrong.empty()) {
            return wrong;
        }
        missing += there ? "" : (missing.empty() ? "it has no " : ", no ") + std::string(name);
    }
    for (const char* name : further_files) {
        if (std::string wrong = keep(name, there); !wrong.empty()) {
            return wrong;
        }
    }
    return missing.empty() ? "" : missing + ".";
}

std::string machine_reader::keep_volume_file(const fs::path& path, std::size_t& total) {
    const std::string name = text_of(path.lexically_relative(path_of(request_.recording)).generic_string<char8_t>());
    if (out_.files.contains(name)) {
        return "";
    }
    bool there = false;
    if (std::string wrong = keep(name, there); !wrong.empty()) {
        return wrong;
    }
    total += there ? out_.files[name].size() : 0;
    return total > max_volume_files ? "the files on its volumes are too large together." : "";
}

// Whatever was taken along of the volumes. What is no regular file cannot be, and nobody asks for it.
std::string machine_reader::read_volume_files() {
    std::size_t total = 0;
    std::error_code error;
    fs::recursive_directory_iterator at(path_of(record_.path("disk")), error);
    for (; !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
        std::error_code unknown;
        if (!at->is_regular_file(unknown)) {
            continue;
        }
        if (std::string wrong = keep_volume_file(at->path(), total); !wrong.empty()) {
            return wrong;
        }
    }
    return error ? "the files on its volumes cannot be listed: " + error.message() + "." : "";
}

std::string machine_reader::read_platform() {
    const platform machine = recorded_.services();
    platform_registry_info system;
    if (read_platform_info(machine.tables, machine.os, smbios_, system).verdict != stage_verdict::passed) {
        return "smbios.bin and os_version do not say what the platform is.";
    }
    constexpr std::uint32_t most = std::numeric_limits<std::uint16_t>::max();
    if (system.os_major > most || system.os_minor > most) {
        return "the version in os_version is too large for a PMF.";
    }
    machine_facts& facts = out_.facts;
    facts.product_name = smbios_.product_name;
    facts.sku_number = smbios_.sku_number;
    facts.bios_version = smbios_.bios_version;
    facts.orbis_version = smbios_.orbis_version;
    facts.os_build = {static_cast<std::uint16_t>(system.os_major), static_cast<std::uint16_t>(system.os_minor),
                      system.os_build};
    return "";
}

// Zeros and ones are what firmware says that has none: every such machine would be this device.
std::string machine_reader::check_uuid() const {
    const bool set = !all_zero(smbios_.uuid) && !all_of_value(smbios_.uuid, 0xFF);
    return set ? "" : "the UUID in smbios.bin is not set; name another source with --device-id.";
}

std::string machine_reader::read_device_id() {
    const DeviceIdSource source = request_.plan.id_source;
    std::optional<device_id> external;
    if (request_.external_device_id) {
        if (!ok(set_external_device_id(source, *request_.external_device_id, external.emplace()))) {
            return "the external Device ID cannot be used.";
        }
    }
    if (!ok(current_device_id(source, {smbios_.uuid, smbios_.serial_number}, external, out_.facts.id))) {
        return "it has no Device ID of this source.";
    }
    return source == DeviceIdSource::UUID ? check_uuid() : "";
}

std::string machine_reader::read_partitions() {
    gpt_partitions table;
    if (!ok(read_disk_gpt(recorded_.services().boot_disk, table))) {
        return "disk/sectors.bin has no usable partition table.";
    }
    if (table.entries.empty()) {
        return "the partition table in disk/sectors.bin has no partition.";
    }
    for (const gpt_partition& partition : table.entries) {
        PMF::PartitionEntry entry;
        entry.guid = partition.type_guid;
        entry.name = partition.name;
        entry.base = partition.first_lba;
        entry.limit = partition.last_lba;
        out_.facts.partitions.push_back(entry);
    }
    return "";
}

// The partition is found by the volume of the letter; it can be measured by one file.
std::string machine_reader::measure(const bom_location& bom, const std::vector<disk_volume>& volumes) {
    const auto volume = std::find_if(volumes.begin(), volumes.end(), [&](const disk_volume& candidate) {
        return candidate.letter == to_upper(bom.letter);
    });
    if (volume == volumes.end()) {
        return "disk/volumes has no volume of the letter of " + shown_text(bom.text) + ".";
    }
    auto& partitions = out_.facts.partitions;
    const auto partition = std::find_if(partitions.begin(), partitions.end(), [&](const PMF::PartitionEntry& entry) {
        return entry.base == volume->first_lba && entry.limit == volume->last_lba;
    });
    if (partition == partitions.end()) {
        return "no partition has the extent of the volume of " + shown_text(bom.text) + ".";
    }
    if (partition->measurement_type != static_cast<std::uint32_t>(PmfMeasurementType::no_measurement)) {
        return "a partition is measured by one BOM file, not also by " + shown_text(bom.text) + ".";
    }
    sha256_value hash{};
    if (!ok(hash_bom_file(*volume, bom.path, hash))) {
        return "it does not hold the BOM file " + shown_text(bom.text) + "; capture it with --file " +
               shell_quoted(bom.text) + ".";
    }
    partition->measurement_type = static_cast<std::uint32_t>(PmfMeasurementType::bom_provided);
    set_text(partition->measurement, bom.text);
    std::copy(hash.begin(), hash.end(), partition->hash.begin());
    return "";
}

std::string machine_reader::read_boms() {
    std::vector<disk_volume> volumes;
    if (!request_.boms.empty() && !ok(recorded_.services().boot_disk.volumes(volumes))) {
        return "it has no disk/volumes.";
    }
    for (const bom_location& bom : request_.boms) {
        if (std::string wrong = measure(bom, volumes); !wrong.empty()) {
            return wrong;
        }
    }
    return "";
}

// A log that is not that of the boot predicts nothing of the next one.
std::string machine_reader::read_boot() {
    byte_reader reader(out_.files[recorded_pcr_values]);
    pcr_value_list& pcrs = out_.facts.pcrs;
    const bool whole = std::all_of(pcrs.begin(), pcrs.end(), [&](pcr_value& value) { return reader.copy(value); });
    if (!whole || !reader.at_end()) {
        return "tpm/pcrs.bin does not hold 24 values of 32 bytes.";
    }
    if (!ok(parse_tpm_log(out_.files[recorded_log], log_))) {
        return "tpm/event_log.bin is no TPM 2.0 event log with SHA-256 digests.";
    }
    const std::uint32_t compared = request_.plan.listed_pcrs | 1U << 0 | 1U << 5;
    if (!ok(compare_pcr_lists(pcrs, replay_pcrs_from_log(*log_), "tpm/pcrs.bin", "tpm/event_log.bin", compared))) {
        return "tpm/pcrs.bin does not hold what the boot in tpm/event_log.bin measured.";
    }
    const tpm_event_chain& pcr0 = log_->chains[0];
    out_.started_at_locality_3 =
        pcr0.startup_locality && startup_locality_of(pcr0.events[*pcr0.startup_locality]) == std::uint8_t{3};
    return "";
}

std::string machine_reader::match_measured_partitions() {
    const tpm_event* event = find_tpm_log_event(*log_, is_gpt_event);
    if (event == nullptr) {
        return "tpm/event_log.bin has no event of the partition table in PCR 5 (EV_EFI_GPT_EVENT).";
    }
    PMF::DiskMetadataFileExtension metadata;
    metadata.entries = out_.facts.partitions;
    gpt_partitions measured;
    if (!ok(build_gpt_partition_list(event->data, measured))) {
        return "the event of the partition table in tpm/event_log.bin is not as long as its partitions.";
    }
    const bool same = ok(compare_gpt_partitions(measured, metadata));
    return same ? "" : "disk/sectors.bin does not hold the partition table that the boot measured.";
}

}  // namespace

std::string read_recorded_machine(const platform& native, const seal_request& request, recorded_machine& out) {
    return machine_reader(native, request, out).run();
}

}  // namespace vellum::lab
