#include "platform/recorded/firmware_tables.h"

#include <algorithm>

namespace vellum {

std::uint32_t recorded_firmware_tables::fetch_smbios(std::span<std::uint8_t> buffer) {
    if (!data_) {
        return 0;
    }
    if (buffer.size() >= data_->size()) {
        std::copy(data_->begin(), data_->end(), buffer.begin());
    }
    return static_cast<std::uint32_t>(data_->size());
}

}  // namespace vellum
