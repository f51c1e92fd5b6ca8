#include "lab/pcr5_builder.h"

#include <algorithm>

#include "lab/byte_builder.h"
#include "lab/digest_of.h"
#include "tpm/event_log.h"

namespace vellum::lab {
namespace {

constexpr std::uint32_t pcr5 = 5;

log_event pcr5_event(std::uint32_t type, std::vector<std::uint8_t> data,
                     const std::optional<std::vector<std::uint8_t>>& digest) {
    log_event event;
    event.pcr = pcr5;
    event.type = type;
    event.data = std::move(data);
    if (digest) {
        event.digests = {{TPM_ALG_SHA256, *digest}};
    }
    return event;
}

sha256_value measured_digest(const log_event& event) {
    sha256_value digest = digest_of(event.data);
    for (const log_digest& claimed : event.digests.value_or(std::vector<log_digest>())) {
        if (claimed.algorithm == TPM_ALG_SHA256) {
            std::copy_n(claimed.value.begin(), std::min(claimed.value.size(), digest.size()), digest.begin());
        }
    }
    return digest;
}

}  // namespace

log_event build(const seal_measurement& event) {
    byte_builder variable;
    variable.bytes(event.before_seal_data).bytes(event.configuration).bytes(event.seal_log_hash).bytes(event.tail);
    byte_builder data;
    data.bytes(event.vendor).u64_le(event.name_length.value_or(event.name.size()));
    data.u64_le(event.data_length.value_or(variable.size()));
    data.utf16(event.name);
    return pcr5_event(EV_EFI_VARIABLE_DRIVER_CONFIG, data.bytes(variable.take()).take(), event.digest);
}

log_event build(const gpt_measurement& event) {
    std::vector<std::uint8_t> data = build_gpt_event(event.table);
    data.resize(data.size() - std::min(data.size(), event.cut));
    data.insert(data.end(), event.tail.begin(), event.tail.end());
    return pcr5_event(EV_EFI_GPT_EVENT, std::move(data), event.digest);
}

std::vector<std::uint8_t> seal_log_hash(byte_view records) {
    const sha256_value digest = digest_of(records);
    return byte_builder().padded(digest, 64).take();
}

pcr_value_list pcr_values_after(const event_log& log) {
    pcr_value_list values{};
    for (std::size_t pcr = 17; pcr <= 22; ++pcr) {
        values[pcr].fill(0xFF);
    }
    for (const log_event& event : log.events) {
        if (event.pcr >= values.size()) {
            continue;
        }
        sha256_value& value = values[event.pcr];
        if (event.type != EV_NO_ACTION) {
            value = digest_of(byte_builder().bytes(value).bytes(measured_digest(event)).take());
        } else if (event.data.size() == 17 && event.data == startup_locality(event.data.back()).data) {
            value.back() = event.data.back();
        }
    }
    return values;
}

std::vector<std::uint8_t> pcrs_file(const pcr_value_list& values) {
    byte_builder out;
    for (const sha256_value& value : values) {
        out.bytes(value);
    }
    return out.take();
}

}  // namespace vellum::lab
