// An open file of the C library that closes itself.
#pragma once

#include <cstdio>
#include <memory>

namespace vellum {

struct close_file {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_handle = std::unique_ptr<std::FILE, close_file>;

}  // namespace vellum
