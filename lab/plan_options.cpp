#include "lab/plan_options.h"

#include "config/device_id.h"

namespace vellum::lab {
namespace {

[[nodiscard]] bool set_level(std::string_view value, device_plan& out) {
    out.level = value == "TL3" ? trusted_level::tl3 : trusted_level::tl1;
    return value == "TL1" || value == "TL3";
}

[[nodiscard]] bool set_device_id(std::string_view value, device_plan& out) {
    out.id_source = device_id_source_of(value);
    return out.id_source != DeviceIdSource::unknown;
}

[[nodiscard]] bool set_switch(std::string_view value, bool& out) {
    out = value == "on";
    return value == "on" || value == "off";
}

std::vector<std::string_view> device_id_source_names() {
    std::vector<std::string_view> names;
    for (const auto source : {DeviceIdSource::UUID, DeviceIdSource::SERIAL_NUMBER,
                              DeviceIdSource::OEM_DEFINED_LITERAL, DeviceIdSource::OEM_DEFINED_BLOB}) {
        names.emplace_back(device_id_source_name(source));
    }
    return names;
}

}  // namespace

option level_option(device_plan& plan) {
    return {"--level", [&plan](std::string_view value) { return set_level(value, plan); }, {"TL1", "TL3"}};
}

option device_id_option(device_plan& plan) {
    return {"--device-id", [&plan](std::string_view value) { return set_device_id(value, plan); },
            device_id_source_names()};
}

option switch_option(std::string_view name, bool& value) {
    return {name, [&value](std::string_view word) { return set_switch(word, value); }, {"on", "off"}};
}

// A key-based signature of the seal leads to the PMF's key manifest, which has to be vouched for then.
std::string_view contradiction_of(const device_plan& plan) {
    const bool key_unvouched = plan.level == trusted_level::tl1 && plan.seal_signing && !plan.pmf_signing;
    return key_unvouched ? "at TL1 a signed seal needs a signed PMF: add --level TL3 or --seal-signing off" : "";
}

}  // namespace vellum::lab
