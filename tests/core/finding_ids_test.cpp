// Walks the sources for the identifiers of findings: each names one meaning, and so stands once.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <string>

#include "tests/support/temp_dir.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

// Every identifier with the files that it stands in.
std::multimap<std::string, std::string> identifiers_of(const fs::path& sources) {
    const std::regex literal("\"([^\"]+)\"_id");
    std::multimap<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(sources)) {
        if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") {
            continue;
        }
        const std::string text = test::read_text(entry.path().string());
        for (std::sregex_iterator at(text.begin(), text.end(), literal), end; at != end; ++at) {
            const auto place = static_cast<std::size_t>(at->position());
            const std::size_t line = text.rfind('\n', place) + 1;
            if (text.find("//", line) > place) {
                found.emplace((*at)[1], entry.path().filename().string());
            }
        }
    }
    return found;
}

TEST(FindingIds, StandOnceAndAreWordsJoinedByHyphens) {
    const fs::path sources = fs::path(VELLUM_SOURCES) / "src";
    if (!fs::exists(sources)) {
        GTEST_SKIP() << "the sources are not on this machine";
    }
    const auto found = identifiers_of(sources);
    EXPECT_GT(found.size(), 250U);
    const std::regex well_formed("[a-z0-9]+(-[a-z0-9]+)*");
    std::string last;
    for (const auto& [id, file] : found) {
        EXPECT_TRUE(std::regex_match(id, well_formed)) << id << " in " << file;
        EXPECT_NE(id, last) << "stands in " << file << " and before";
        last = id;
    }
}

}  // namespace
}  // namespace vellum
