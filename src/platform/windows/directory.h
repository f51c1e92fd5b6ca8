// Listing of a directory; letter case of the extension does not count.
#pragma once

#include "platform/directory.h"

namespace vellum {

class windows_directory_listing final : public directory_listing {
  public:
    os_status list(const std::string& directory, std::string_view extension,
                   std::vector<directory_entry>& out) override;
};

}  // namespace vellum
