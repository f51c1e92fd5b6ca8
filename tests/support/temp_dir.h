// A directory of its own for one test, removed with everything in it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "core/bytes.h"

namespace vellum::test {

class temp_dir {
  public:
    temp_dir();
    ~temp_dir();
    temp_dir(const temp_dir&) = delete;
    temp_dir& operator=(const temp_dir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(std::string_view name) const { return (path_ / name).string(); }

    // Creates the file (and its directories) and returns its path.
    std::string write(std::string_view name, byte_view content) const;
    std::string write(std::string_view name, std::string_view content) const {
        return write(name, as_bytes(content));
    }

  private:
    std::filesystem::path path_;
};

// The whole file as text; empty when it cannot be read.
std::string read_text(const std::string& path);

}  // namespace vellum::test
