// The one way in which the lab writes a file.
#pragma once

#include <filesystem>
#include <fstream>

#include "core/bytes.h"

namespace vellum::lab {

// Makes the file of these bytes, in place of one that is there; its directory must exist. False when it cannot be
// written to its end.
[[nodiscard]] inline bool write_file(const std::filesystem::path& path, byte_view content) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    file.close();
    return file.good();
}

}  // namespace vellum::lab
