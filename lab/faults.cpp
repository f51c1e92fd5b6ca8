#include "lab/faults.h"

#include <algorithm>

#include "tpm/event_log.h"

namespace vellum::lab {

std::vector<const fault*> all_faults() {
    std::vector<const fault*> rows;
    for (const auto& table : {firmware_faults(), seal_faults(), boot_faults(), platform_faults(), pmf_faults()}) {
        for (const fault& row : table) {
            rows.push_back(&row);
        }
    }
    return rows;
}

const fault* find_fault(std::string_view name) {
    for (const fault* row : all_faults()) {
        if (row->name == name) {
            return row;
        }
    }
    return nullptr;
}

log_event* find_event(device& made, std::uint32_t pcr, std::uint32_t type) {
    auto& events = made.boot.events;
    const auto found = std::find_if(events.begin(), events.end(),
                                    [&](const log_event& event) { return event.pcr == pcr && event.type == type; });
    return found == events.end() ? nullptr : &*found;
}

void measure_seal_log(device& made) {
    if (log_event* event = find_event(made, 5, EV_EFI_VARIABLE_DRIVER_CONFIG)) {
        const std::vector<std::uint8_t> hash = seal_log_hash(build(made.seal_log));
        std::copy(hash.begin(), hash.end(), event->data.end() - static_cast<std::ptrdiff_t>(hash.size()));
    }
}

}  // namespace vellum::lab
