#include "platform/recorded/recorded.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <limits>

namespace vellum {
namespace {

// The decimal number in the first line of a file; absent when the file is. Fails on any other content.
template <typename Number>
result read_number(const std::filesystem::path& path, std::optional<Number>& out) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        return result::success;
    }
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    Number value = 0;
    const char* end = line.data() + line.size();
    const auto [stop, parse_error] = std::from_chars(line.data(), end, value);
    if (parse_error != std::errc() || stop != end) {
        return result::invalid;
    }
    out = value;
    return result::success;
}

}  // namespace

result recorded_clock::load(const std::string& directory) {
    const std::filesystem::path root(directory);
    const result loaded = read_number(root / "now", now_);
    return ok(loaded) ? read_number(root / "timezone", utc_offset_) : loaded;
}

result recorded_platform::load(const std::string& directory) {
    std::error_code error;
    if (!std::filesystem::is_directory(directory, error)) {
        return result::invalid;
    }
    return clock_.load(directory);
}

}  // namespace vellum
