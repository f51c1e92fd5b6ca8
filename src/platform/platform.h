// Everything a run needs from the machine, gathered in one plain structure of references. The native
// implementations and the recorded device are equal in rank: nothing above knows which one it was given.
#pragma once

#include <string>

#include "platform/clock.h"
#include "platform/console.h"
#include "platform/directory.h"
#include "platform/disk.h"
#include "platform/firmware_device.h"
#include "platform/firmware_tables.h"
#include "platform/os_version.h"
#include "platform/system_errors.h"
#include "platform/tpm_library.h"

namespace vellum {

struct platform {
    console& output;
    clock& time;
    system_errors& errors;
    firmware_device& firmware;
    tpm_library& tpm;
    firmware_tables& tables;
    os_version& os;
    directory_listing& directories;
    disk& boot_disk;
    std::string record_directory = {};  // of a recorded device, as its path was given; empty: the running machine
};

}  // namespace vellum
