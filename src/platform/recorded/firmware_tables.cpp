#include "platform/recorded/firmware_tables.h"

#include "platform/recorded/system_errors.h"

namespace vellum {

os_status recorded_firmware_tables::read(std::vector<std::uint8_t>& out) {
    out.clear();
    if (!data_ || data_->empty()) {
        return recorded_not_found;
    }
    if (data_->size() > max_firmware_table) {
        return recorded_io_error;
    }
    out = *data_;
    return os_status::success;
}

}  // namespace vellum
