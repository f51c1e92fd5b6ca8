// What the targets that run the program on a recorded device share.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "platform/platform.h"

namespace vellum::fuzz {

// The options of a run, one of several; no configuration can choose where it writes.
const std::vector<std::string>& command_line_of(std::uint8_t choice);

// Builds the device that these files make, as fuzz/device_files.h tells, and calls the function with its platform
// while the directory of the process is the device. When it is none the function is not called, and `problem` says
// why.
void visit_device(byte_view files, console& output, const std::function<void(const platform& machine)>& visit,
                  std::string& problem);

}  // namespace vellum::fuzz
