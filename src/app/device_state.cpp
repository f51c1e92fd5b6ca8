#include "app/device_state.h"

#include <utility>
#include <vector>

namespace vellum {

result retrieve_state(FirmwareCommandContext& context, feature_state_response& response, seal_log& log) {
    std::vector<std::uint8_t> bytes;
    result done = get_feature_state(context, bytes);
    if (ok(done)) {
        done = parse_feature_state(std::move(bytes), response);
    }
    return ok(done) ? read_seal_log(response.seal_log_block(), log) : done;
}

}  // namespace vellum
