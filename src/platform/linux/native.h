// The services of the running Linux machine.
#pragma once

#include "platform/absent_tpm_library.h"
#include "platform/linux/clock.h"
#include "platform/linux/console.h"
#include "platform/linux/directory.h"
#include "platform/linux/disk.h"
#include "platform/linux/firmware_device.h"
#include "platform/linux/firmware_tables.h"
#include "platform/linux/os_version.h"
#include "platform/linux/system_errors.h"
#include "platform/platform.h"

namespace vellum {

// Owns one of each; `services()` refers into it.
class native_platform {
  public:
    platform services() {
        return {console_, clock_, errors_, firmware_, tpm_, tables_, os_version_, directories_, disk_};
    }

  private:
    linux_console console_;
    linux_clock clock_;
    linux_system_errors errors_;
    linux_firmware_device firmware_;
    absent_tpm_library tpm_;
    linux_firmware_tables tables_;
    linux_os_version os_version_;
    linux_directory_listing directories_;
    linux_disk disk_;
};

}  // namespace vellum
