// The services of the running Windows machine.
#pragma once

#include "platform/platform.h"
#include "platform/windows/clock.h"
#include "platform/windows/console.h"
#include "platform/windows/directory.h"
#include "platform/windows/disk.h"
#include "platform/windows/firmware_device.h"
#include "platform/windows/firmware_tables.h"
#include "platform/windows/os_version.h"
#include "platform/windows/system_errors.h"
#include "platform/windows/tpm_library.h"

namespace vellum {

// Owns one of each; `services()` refers into it.
class native_platform {
  public:
    platform services() {
        return {console_, clock_, errors_, firmware_, tpm_, tables_, os_version_, directories_, disk_};
    }

  private:
    windows_console console_;
    windows_clock clock_;
    windows_system_errors errors_;
    windows_firmware_device firmware_;
    windows_tpm_library tpm_;
    windows_firmware_tables tables_;
    windows_os_version os_version_;
    windows_directory_listing directories_;
    windows_disk disk_;
};

}  // namespace vellum
