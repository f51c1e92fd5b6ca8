// Walks the sources for the identifiers of findings: each names one meaning, and so stands once.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

// Every identifier with the files that it stands in.
std::multimap<std::string, std::string> identifiers_of(const fs::path& sources) {
    constexpr std::string_view suffix = "\"_id";
    std::multimap<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(sources)) {
        if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") {
            continue;
        }
        const std::string text = test::read_text(entry.path().string());
        for (std::size_t end = text.find(suffix); end != text.npos; end = text.find(suffix, end + 1)) {
            const std::size_t begin = text.rfind('"', end - 1) + 1;
            const std::size_t line = text.rfind('\n', begin) + 1;
            if (begin < end && text.find("//", line) > begin) {
                found.emplace(text.substr(begin, end - begin), entry.path().filename().string());
            }
        }
    }
    return found;
}

bool is_well_formed(const std::string& id) {
    return id.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == id.npos && id.front() != '-' &&
           id.back() != '-' && id.find("--") == id.npos;
}

TEST(FindingIds, StandOnceAndAreWordsJoinedByHyphens) {
    const fs::path sources = fs::path(VELLUM_SOURCES) / "src";
    if (!fs::exists(sources)) {
        GTEST_SKIP() << "the sources are not on this machine";
    }
    const auto found = identifiers_of(sources);
    EXPECT_GT(found.size(), 250U);
    std::string last;
    for (const auto& [id, file] : found) {
        EXPECT_TRUE(is_well_formed(id)) << id << " in " << file;
        EXPECT_NE(id, last) << "stands in " << file << " and before";
        last = id;
    }
}

}  // namespace
}  // namespace vellum
