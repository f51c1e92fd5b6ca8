// The services of a recorded device: a directory of plain files that stands in for the running machine. What the
// directory does not hold falls back to the machine's own service or fails as the real service does when it is
// missing; docs/recorded-device.md lists the files.
#pragma once

#include <optional>
#include <string>

#include "base/result.h"
#include "platform/platform.h"
#include "platform/recorded/clock.h"
#include "platform/recorded/disk.h"
#include "platform/recorded/firmware_device.h"
#include "platform/recorded/firmware_tables.h"
#include "platform/recorded/os_version.h"
#include "platform/recorded/tpm_library.h"

namespace vellum {

class recorded_platform {
  public:
    explicit recorded_platform(const platform& native) : native_(native), clock_(native.time) {}
    ~recorded_platform() = default;
    recorded_platform(const recorded_platform&) = delete;
    recorded_platform& operator=(const recorded_platform&) = delete;

    // Reads the directory; called once. Fails with invalid when it is missing or one of its files cannot be read or
    // understood.
    result load(const std::string& directory);

    // Why load failed, as one line without a line break.
    const std::string& problem() const { return problem_; }

    // Its TPM answers from these values from now on; it must be loaded.
    void hold_pcrs(const recorded_pcrs& pcrs) { tpm_->hold_pcrs(pcrs); }

    // The machine's clock stands in for its own from now on.
    void take_own_clock() { takes_own_clock_ = true; }

    // Refers into this object, which must be loaded. Console and directory listing are the native ones.
    platform services() {
        clock& time = takes_own_clock_ ? native_.time : static_cast<clock&>(clock_);
        return {native_.output, time,        native_.errors,      firmware_, *tpm_,
                tables_,        os_version_, native_.directories, disk_,     directory_};
    }

  private:
    platform native_;
    recorded_clock clock_;
    recorded_firmware_device firmware_;
    std::optional<recorded_tpm_library> tpm_;  // once loaded
    recorded_firmware_tables tables_;
    recorded_os_version os_version_;
    recorded_disk disk_;
    std::string directory_;
    bool takes_own_clock_ = false;
    std::string problem_;
};

}  // namespace vellum
