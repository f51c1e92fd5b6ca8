#include "platform/recorded/clock.h"

namespace vellum {

result recorded_clock::load(record_directory& record) {
    const result loaded = record.read_number("now", now_);
    return ok(loaded) ? record.read_number("timezone", utc_offset_) : loaded;
}

}  // namespace vellum
