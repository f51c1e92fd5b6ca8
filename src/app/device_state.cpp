#include "app/device_state.h"

#include <utility>
#include <vector>

namespace vellum {

result retrieve_state(FirmwareCommandContext& context, feature_state_response& response, seal_log& log) {
    std::vector<std::uint8_t> bytes;
    RETURN_IF_FAILED(get_feature_state(context, bytes));
    RETURN_IF_FAILED(parse_feature_state(std::move(bytes), response));
    return read_seal_log(response.seal_log_block(), log);
}

}  // namespace vellum
