#include "tpm/event_details/cause_rules.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string_view>

#include "tpm/event_details/event_text.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

constexpr const char* intended_update = "Nobody has to act if an update was meant; else the administrator.";
constexpr const char* ordered_change = "The owner of the device has to act, unless this was ordered.";
constexpr const char* meant_change = "The administrator has to act, unless this was meant.";

// In the order of the causes.
constexpr cause_text texts[] = {
    {cause::forged_log, "forged-log", "a log was forged or damaged, as data and digests do not agree",
     "The owner of the device has to act: trust neither log nor device before that is explained."},
    {cause::damaged_log, "damaged-log", "a log was cut or damaged, as it ends in bytes that are no events",
     "The administrator should take the log again."},
    {cause::other_machine, "other-machine", "these are the logs of two different machines",
     "The owner of the device has to find out which machine the live log is from."},
    {cause::firmware_failure, "firmware-failure", "the firmware failed in one of the boots",
     "The administrator should look for a fault of hardware or firmware."},
    {cause::secure_boot_state, "secure-boot-state", "Secure Boot was switched on or off, or to another mode",
     ordered_change},
    {cause::secure_boot_keys, "secure-boot-keys", "keys or certificates of Secure Boot were changed", ordered_change},
    {cause::locality, "startup-locality", "another part of the platform started the TPM, at another locality",
     "The owner of the device has to act: a seal may demand the locality."},
    {cause::seal, "seal", "the device was sealed anew, or its seal was tampered with",
     "The owner of the device has to act, unless it was sealed anew."},
    {cause::firmware, "firmware", "the firmware was updated", intended_update},
    {cause::option_rom, "option-rom", "an adapter was plugged in, removed or replaced, or its option ROM updated",
     meant_change},
    {cause::network_boot, "network-boot", "something was started over the network",
     "The owner of the device has to act, unless it is meant to start from there."},
    {cause::boot_loader, "boot-loader", "the boot loader was updated, or another one was started", intended_update},
    {cause::loader_keys, "loader-keys", "the boot loader's own keys or policies (MOK) changed", ordered_change},
    {cause::revocations, "revocations", "the list of revoked boot loaders (dbx, SBAT) was updated",
     "Nobody has to act if entries were only added; else the owner of the device."},
    {cause::authority, "authority", "what was started is vouched for by other certificates",
     "Nobody has to act if boot loader or drivers were updated; else the administrator."},
    {cause::kernel, "kernel", "kernel, initial file system or boot configuration were updated", intended_update},
    {cause::command_line, "command-line", "the operating system was started with other options", meant_change},
    {cause::boot_order, "boot-order", "the boot order or a boot entry was changed", meant_change},
    {cause::boot_attempt, "boot-attempt", "other boot entries were tried than before",
     "The administrator should check which medium the device started from."},
    {cause::partitions, "partitions", "the disk was partitioned anew or replaced", meant_change},
    {cause::setup, "setup", "an option of the firmware's setup or the hardware was changed", meant_change},
    {cause::manufacturer, "manufacturer", "the manufacturer's own measurements changed",
     "The administrator should ask the manufacturer what they are."},
    {cause::end_of_boot, "end-of-boot", "the firmware handed over to the system in another way",
     "The administrator has to act if it was not the usual system that started."},
    {cause::software, "software", "the running system measured something else",
     "Nobody has to act: it depends on what the system ran."},
    {cause::log_format, "log-format", "other banks of the TPM are in use, or the firmware's log has another form",
     "The administrator should check the TPM's settings in the firmware's setup."},
    {cause::other_words, "other-words", "the log was edited, or a firmware describes the same in other words",
     "The administrator should ask why; no PCR depends on it."},
    {cause::remark, "remark", "the firmware noted something on which no PCR depends",
     "Nobody has to act: what devices are judged by is the same."},
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
    {any_pcr, any_type, "separator", "", cause::firmware},
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
    {pcrs({14}), any_type, "", "", cause::loader_keys},
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
    if (pattern.empty()) {
        return true;
    }
    return pattern.back() == '*' ? topic.starts_with(pattern.substr(0, pattern.size() - 1)) : pattern == topic;
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
