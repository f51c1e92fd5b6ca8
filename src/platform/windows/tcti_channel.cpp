// The TPM software stack is not part of this system: a recorded device that names a transmission interface cannot be
// replayed here.
#include "base/text.h"
#include "platform/shared/tpm_channel.h"

namespace vellum {

std::unique_ptr<tpm_channel> open_tpm_channel(const std::string& configuration, std::string& problem) {
    problem =
        "TPM transmission interface \"" + shown_text(configuration) + "\" cannot be loaded: this system has none.";
    return nullptr;
}

}  // namespace vellum
