// The names of files on a volume whose own system takes no account of letter case, where the file system that holds
// the files now does.
#pragma once

#include <string>

namespace vellum {

// The path (components joined by "/") below the root in the volume's spelling: a component that is not there becomes
// the first name, in byte order, that differs from it in the case of ASCII letters alone. A component that has no
// such name, or whose directory is reached through a link, stays as it is.
std::string spelling_on_volume(const std::string& root, const std::string& path);

}  // namespace vellum
