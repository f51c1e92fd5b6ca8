// A directory of its own for one test, removed with everything in it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "base/path.h"

namespace vellum::test {

class temp_dir {
  public:
    temp_dir();
    ~temp_dir();
    temp_dir(const temp_dir&) = delete;
    temp_dir& operator=(const temp_dir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(std::string_view name) const { return text_of(path_) + "/" + std::string(name); }

    // Creates the file (and its directories) and returns its path.
    std::string write(std::string_view name, byte_view content) const;
    std::string write(std::string_view name, std::string_view content) const {
        return write(name, as_bytes(content));
    }

  private:
    std::filesystem::path path_;
};

// The whole file byte for byte; empty when it cannot be read.
std::string read_text(const std::string& path);

// The whole text file, whose lines end as the system's text files do; each ends in "\n" here.
std::string read_lines(const std::string& path);

// Links need a privilege on some systems.
bool links_can_be_made();

}  // namespace vellum::test
