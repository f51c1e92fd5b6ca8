#include "tpm/event_details/cause_rules.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string_view>

#include "tpm/event_details/event_text.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

constexpr const char* intended_update = "If that update was meant, nobody has to act; else the administrator has.";

// In the order of the causes.
constexpr cause_text texts[] = {
    {cause::forged_log, "forged-log", "a log was forged or damaged: what it says is not what its digests prove",
     "The owner of the device should trust neither the log nor the device before that is explained."},
    {cause::damaged_log, "damaged-log", "a log was cut or damaged: it ends in bytes that are no events",
     "The administrator should take the log again."},
    {cause::other_machine, "other-machine", "these are the logs of two different machines",
     "The owner of the device should find out which machine the live log is from."},
    {cause::firmware_failure, "firmware-failure", "the firmware failed in one of the boots and said so",
     "The administrator should look for a fault of the hardware or the firmware."},
    {cause::secure_boot_state, "secure-boot-state", "Secure Boot was switched on or off, or into another mode",
     "The owner of the device should act unless that was ordered: it decides what may be started."},
    {cause::secure_boot_keys, "secure-boot-keys",
     "keys or certificates of Secure Boot were added, removed or replaced",
     "The owner of the device should act unless that was ordered: they decide what may be started."},
    {cause::locality, "startup-locality", "the TPM was started at another locality, by other code of the platform",
     "The owner of the device should act: a device that is sealed to a locality no longer matches."},
    {cause::seal, "seal", "the device was sealed again, or its seal or seal log changed",
     "The owner of the device should act unless the device was sealed anew."},
    {cause::firmware, "firmware", "the firmware was updated", intended_update},
    {cause::option_rom, "option-rom", "an adapter was added, removed or replaced, or its option ROM updated",
     "The administrator should check what is plugged in; nobody has to act if that was meant."},
    {cause::network_boot, "network-boot", "something was started over the network",
     "The owner of the device should act unless it is meant to start from there."},
    {cause::boot_loader, "boot-loader", "the boot loader was updated or replaced, or another one started",
     intended_update},
    {cause::revocations, "revocations", "the list of revoked boot loaders (dbx) was updated",
     "Nobody has to act if entries were only added by an update; else the administrator has."},
    {cause::authority, "authority", "what was started is vouched for by another certificate",
     "The administrator should act unless boot loader, drivers or keys were updated."},
    {cause::kernel, "kernel", "the kernel, its first file system or the loader's configuration was updated",
     intended_update},
    {cause::command_line, "command-line", "the operating system was started with other options",
     "The administrator should check whether these options are meant."},
    {cause::boot_order, "boot-order", "the boot order or a boot entry was changed",
     "The administrator should act unless that was meant; some updates and systems do it by themselves."},
    {cause::boot_attempt, "boot-attempt", "boot entries were tried that did not start, or others than before",
     "The administrator should check which medium the device started from."},
    {cause::partitions, "partitions", "the partition table of the boot disk was changed",
     "The administrator should act unless the disk was repartitioned or replaced on purpose."},
    {cause::setup, "setup", "an option of the firmware's setup or the hardware's configuration was changed",
     "The administrator should act unless that was meant."},
    {cause::manufacturer, "manufacturer", "the machine's manufacturer measured something else",
     "The administrator should ask the manufacturer what is measured there."},
    {cause::end_of_boot, "end-of-boot", "the firmware handed over to the operating system in another way",
     "The administrator should act if it was not the usual system that was started."},
    {cause::software, "software", "the running system measured something else",
     "Nobody has to act: that depends on what the system ran."},
    {cause::log_format, "log-format", "the firmware writes another kind of log, or other banks of the TPM are in use",
     "The administrator should check the TPM's settings, and that both logs are from this device."},
    {cause::remark, "remark", "the firmware noted something else, on which no PCR depends",
     "Nobody has to act for the PCRs' sake; the administrator may ask what it means."},
    {cause::description, "description", "the same things were measured from other places in memory or on disk",
     "Nobody has to act: no PCR depends on it."},
};

constexpr bool in_order() {
    for (std::size_t i = 0; i < std::size(texts); ++i) {
        if (texts[i].id != static_cast<cause>(i)) {
            return false;
        }
    }
    return std::size(texts) == static_cast<std::size_t>(cause::count);
}
static_assert(in_order());

constexpr std::uint32_t any_pcr = 0xFFFFFFFF;
constexpr std::uint32_t any_type = 0;
constexpr std::uint32_t variable_authority = 0x800000E0;

constexpr std::uint32_t pcrs(std::initializer_list<unsigned> numbers) {
    std::uint32_t mask = 0;
    for (const unsigned number : numbers) {
        mask |= 1U << number;
    }
    return mask;
}

// The first row that fits counts. `topic`: a variable's name, where "*" at the end stands for anything; or what
// topic_of() says of other events. Empty texts fit all.
struct cause_rule {
    std::uint32_t pcrs;
    std::uint32_t type;
    std::string_view kind;
    std::string_view topic;
    cause id;
};

constexpr cause_rule rules[] = {
    {any_pcr, any_type, "spec_id", "", cause::log_format},
    {any_pcr, any_type, "startup_locality", "", cause::locality},
    {any_pcr, any_type, "platform_identification", "", cause::firmware},
    {any_pcr, any_type, "separator", "firmware error", cause::firmware_failure},
    {any_pcr, EV_NO_ACTION, "", "", cause::remark},
    {any_pcr, any_type, "variable", "(seal)", cause::seal},
    {any_pcr, any_type, "image", "network", cause::network_boot},
    {pcrs({0}), any_type, "", "", cause::firmware},
    {pcrs({1}), any_type, "variable", "Boot*", cause::boot_order},
    {pcrs({1}), any_type, "", "", cause::setup},
    {pcrs({2, 3}), any_type, "", "", cause::option_rom},
    {pcrs({4}), any_type, "text", "action", cause::boot_attempt},
    {pcrs({4}), any_type, "", "", cause::boot_loader},
    {pcrs({5}), any_type, "gpt", "", cause::partitions},
    {pcrs({5}), any_type, "variable", "Boot*", cause::boot_order},
    {pcrs({5}), any_type, "text", "action", cause::end_of_boot},
    {pcrs({5}), any_type, "", "", cause::boot_loader},
    {pcrs({6}), any_type, "", "", cause::manufacturer},
    {pcrs({7}), variable_authority, "variable", "SbatLevel", cause::revocations},
    {pcrs({7}), variable_authority, "", "", cause::authority},
    {pcrs({7, 14}), any_type, "variable", "dbx", cause::revocations},
    {pcrs({7, 14}), any_type, "variable", "MokListX*", cause::revocations},
    {pcrs({7}), any_type, "variable", "PK", cause::secure_boot_keys},
    {pcrs({7}), any_type, "variable", "KEK", cause::secure_boot_keys},
    {pcrs({7}), any_type, "variable", "db*", cause::secure_boot_keys},
    {pcrs({7}), any_type, "", "", cause::secure_boot_state},
    {pcrs({14}), any_type, "", "", cause::secure_boot_keys},
    {pcrs({8, 9, 11, 12, 13}), any_type, "", "kernel command", cause::command_line},
    {pcrs({8, 9, 11, 12, 13}), any_type, "", "", cause::kernel},
    {any_pcr, any_type, "", "", cause::software},
};

struct topic_maker {
    std::string_view operator()(const variable_details& variable) const {
        return std::holds_alternative<seal_measurement_value>(variable.value) ? std::string_view("(seal)")
                                                                              : variable.name;
    }
    std::string_view operator()(const text_details& text) const {
        switch (text.meaning) {
            case text_meaning::action: return "action";
            case text_meaning::kernel_command: return "kernel command";
            default: return "";
        }
    }
    std::string_view operator()(const image_load_details& image) const {
        return image.source == image_source::network ? "network" : "";
    }
    std::string_view operator()(const separator_details& separator) const {
        return separator.kind == separator_kind::firmware_error ? "firmware error" : "";
    }
    template <typename Other>
    std::string_view operator()(const Other&) const {
        return "";
    }
};

bool fits(std::string_view pattern, std::string_view topic) {
    return pattern.ends_with('*') ? topic.starts_with(pattern.substr(0, pattern.size() - 1))
                                  : pattern.empty() || pattern == topic;
}

}  // namespace

const cause_text& text_of(cause id) {
    return texts[static_cast<std::size_t>(id)];
}

cause cause_of(const logged_event& event, const event_details& details) {
    const std::string_view kind = kind_name(details);
    const std::string_view topic = std::visit(topic_maker(), details);
    const std::uint32_t mask = event.pcr < 32 ? 1U << event.pcr : 0;
    const auto* const row = std::find_if(std::begin(rules), std::end(rules), [&](const cause_rule& rule) {
        return ((rule.pcrs & mask) != 0 || rule.pcrs == any_pcr) &&
               (rule.type == any_type || rule.type == event.type) && (rule.kind.empty() || rule.kind == kind) &&
               fits(rule.topic, topic);
    });
    return row->id;
}

}  // namespace vellum
