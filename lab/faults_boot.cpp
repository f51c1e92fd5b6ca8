// What can be wrong with the last boot, its event log and the TPM after it.
#include <algorithm>

#include "lab/faults.h"
#include "lab/sample_boot.h"
#include "tpm/event_log.h"

namespace vellum::lab {
namespace {

constexpr std::uint32_t ev_action = 0x80000007;

// Behind the event's head and the variable's name: bytes that are not interpreted, then the sealed configuration.
constexpr std::size_t sealed_configuration_from_end = 74;
constexpr std::size_t sealed_bios_lock = 1;

bool is_seal_event(const log_event& event) {
    return event.pcr == 5 && event.type == EV_EFI_VARIABLE_DRIVER_CONFIG;
}

bool is_pcr5_separator(const log_event& event) {
    return event.pcr == 5 && event.type == EV_SEPARATOR;
}

// The log says of an event that it has another digest than its data's, and the TPM was extended with that.
void forge_digest(device& made, std::uint32_t type) {
    if (log_event* event = find_event(made, 5, type)) {
        event->digests = {{TPM_ALG_SHA1, std::vector<std::uint8_t>(20, 0xAB)},
                          {TPM_ALG_SHA256, std::vector<std::uint8_t>(32, 0xAB)}};
    }
}

void change_sealed_bios_lock(device& made, std::uint8_t value) {
    if (log_event* event = find_event(made, 5, EV_EFI_VARIABLE_DRIVER_CONFIG)) {
        event->data[event->data.size() - sealed_configuration_from_end + sealed_bios_lock] = value;
    }
}

// One byte of seal data is missing, and the variable's length agrees with that.
void shorten_seal_event(device& made) {
    seal_measurement shorter;
    shorter.seal_log_hash.pop_back();
    if (log_event* event = find_event(made, 5, EV_EFI_VARIABLE_DRIVER_CONFIG)) {
        *event = build(shorter);
    }
}

void cut_seal_event(device& made) {
    if (log_event* event = find_event(made, 5, EV_EFI_VARIABLE_DRIVER_CONFIG)) {
        event->data.pop_back();
    }
}

void resize_gpt_event(device& made, std::size_t size) {
    if (log_event* event = find_event(made, 5, EV_EFI_GPT_EVENT)) {
        event->data.resize(size);
    }
}

void move_seal_event_behind_separator(device& made) {
    auto& events = made.boot.events;
    const auto seal = std::find_if(events.begin(), events.end(), is_seal_event);
    std::rotate(seal, seal + 1, events.end());
}

void insert_forged_separator(device& made) {
    log_event forged = separator(5);
    forged.type = ev_action;
    auto& events = made.boot.events;
    events.insert(std::find_if(events.begin(), events.end(), is_seal_event), forged);
}

void start_another_boot_loader(device& made) {
    start_other_boot_loader(made.boot);
}

void hide_the_boot_loader(device& made) {
    const event_log honest = made.boot;
    start_another_boot_loader(made);
    made.pcrs = pcr_values_after(made.boot);
    made.boot = honest;
}

// Of several such events the last one counts: the first changes no PCR's value.
void claim_locality_3_first(device& made) {
    auto& events = made.boot.events;
    events.front() = startup_locality(0);
    events.insert(events.begin(), startup_locality(3));
}

constexpr fault faults[] = {
    {"boot-loader", "another boot loader was started", nullptr, start_another_boot_loader},
    {"forged-log", "another boot loader was started, and the event log hides it", nullptr, hide_the_boot_loader},
    {"late-seal-event", "the seal was measured after the separator", nullptr, move_seal_event_behind_separator},
    {"forged-separator", "an event before the seal carries a separator's digest (a warning)", nullptr,
     insert_forged_separator},
    {"no-separator", "PCR 5 has no separator", nullptr,
     [](device& made) { std::erase_if(made.boot.events, is_pcr5_separator); }},
    {"separator-digest", "the separator of PCR 5 has another digest", nullptr,
     [](device& made) { forge_digest(made, EV_SEPARATOR); }},
    {"no-seal-event", "the seal was not measured", nullptr,
     [](device& made) { std::erase_if(made.boot.events, is_seal_event); }},
    {"seal-event-digest", "the measured seal has another digest than its data", nullptr,
     [](device& made) { forge_digest(made, EV_EFI_VARIABLE_DRIVER_CONFIG); }},
    {"short-seal-event", "a byte is missing in the measured seal", nullptr, shorten_seal_event},
    {"cut-seal-event", "the event of the measured seal was cut", nullptr, cut_seal_event},
    {"sealed-option", "the seal was measured without BIOS lock", nullptr,
     [](device& made) { change_sealed_bios_lock(made, 0); }},
    {"sealed-option-value", "the seal was measured with a BIOS lock that is neither on nor off", nullptr,
     [](device& made) { change_sealed_bios_lock(made, 2); }},
    {"no-gpt-event", "the partition table was not measured", nullptr,
     [](device& made) {
         std::erase_if(made.boot.events, [](const log_event& event) { return event.type == EV_EFI_GPT_EVENT; });
     }},
    {"gpt-event-digest", "the measured partition table has another digest than its data", nullptr,
     [](device& made) { forge_digest(made, EV_EFI_GPT_EVENT); }},
    {"gpt-event-size", "a byte follows the measured partition table", nullptr,
     [](device& made) { resize_gpt_event(made, 100 + 2 * 128 + 1); }},
    {"short-gpt-event", "the measured partition table has no number of partitions", nullptr,
     [](device& made) { resize_gpt_event(made, 99); }},
    {"locality", "the TPM was started at locality 0", nullptr,
     [](device& made) { made.boot.events.front() = startup_locality(0); }},
    {"locality-twice", "the TPM was started at locality 0, and the event log says locality 3 before that", nullptr,
     claim_locality_3_first},
    {"no-locality", "nothing tells at which locality the TPM was started", nullptr,
     [](device& made) { made.boot.events.erase(made.boot.events.begin()); }},
};

}  // namespace

std::span<const fault> boot_faults() {
    return faults;
}

}  // namespace vellum::lab
