// Listing of a directory by file name extension.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/os_status.h"

namespace vellum {

struct directory_entry {
    std::string name;  // within the directory
    bool is_directory = false;
    std::uint64_t size = 0;  // bytes
};

class directory_listing {
  public:
    virtual ~directory_listing() = default;

    // The entries whose name ends in `extension` (such as ".crt"), in byte order of their names; letter case counts
    // where the system's file names count it. A directory without such an entry is a success with an empty list.
    virtual os_status list(const std::string& directory, std::string_view extension,
                           std::vector<directory_entry>& out) = 0;
};

}  // namespace vellum
