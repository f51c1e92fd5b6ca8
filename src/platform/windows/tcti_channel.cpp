// The TPM software stack is not part of this system: a recorded device that names a transmission interface cannot be
// replayed here.
#include "base/text.h"
#include "core/log.h"
#include "platform/shared/tpm_channel.h"

namespace vellum {

std::unique_ptr<tpm_channel> open_tpm_channel(const std::string& configuration) {
    log_at(log_level::error, "TPM transmission interface \"%s\" cannot be loaded: this system has none.",
           shown_text(configuration).c_str());
    return nullptr;
}

}  // namespace vellum
