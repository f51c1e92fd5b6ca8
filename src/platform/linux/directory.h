// Listing of a directory through the C++ file system library; letter case counts.
#pragma once

#include "platform/directory.h"

namespace vellum {

class linux_directory_listing final : public directory_listing {
  public:
    os_status list(const std::string& directory, std::string_view extension,
                   std::vector<directory_entry>& out) override;
};

}  // namespace vellum
