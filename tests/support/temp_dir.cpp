#include "tests/support/temp_dir.h"

#include <fstream>
#include <iterator>
#include <random>

namespace vellum::test {

temp_dir::temp_dir() {
    std::random_device random;
    do {
        const std::string number = std::to_string(1'000'000'000 + std::uint64_t{random()});  // ten digits
        path_ = std::filesystem::temp_directory_path() / ("vellum-test-" + number);
    } while (!std::filesystem::create_directory(path_));
}

temp_dir::~temp_dir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string temp_dir::write(std::string_view name, byte_view content) const {
    const std::filesystem::path path = path_ / path_of(name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream stream(path, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    return file(name);
}

std::string read_text(const std::string& path) {
    std::ifstream file(path_of(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string read_lines(const std::string& path) {
    std::ifstream file(path_of(path));
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool links_can_be_made() {
    const temp_dir dir;
    std::error_code error;
    std::filesystem::create_symlink("target", dir.path() / "link", error);
    return !error;
}

}  // namespace vellum::test
