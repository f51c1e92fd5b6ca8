#include "tests/support/real_logs.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>

namespace vellum::test {

const char* real_logs_folder() {
    return VELLUM_REAL_LOGS;
}

std::vector<std::filesystem::path> real_logs() {
    std::vector<std::filesystem::path> paths;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(VELLUM_REAL_LOGS, error)) {
        if (entry.path().extension() == ".bin") {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::vector<std::uint8_t> read_log(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace vellum::test
