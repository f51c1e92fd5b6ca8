// Event logs of real machines, where the developer has a folder of them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace vellum::test {

// The folder; empty where there is none.
const char* real_logs_folder();

// Its files *.bin, by name.
std::vector<std::filesystem::path> real_logs();

std::vector<std::uint8_t> read_log(const std::filesystem::path& path);

}  // namespace vellum::test
