#include "report/words.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "app/stages.h"
#include "report/explain.h"

namespace vellum {
namespace {

using id_set = std::set<std::string>;

std::filesystem::path source_directory() {
    return VELLUM_SOURCE_DIR;
}

std::string content_of(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool is_id_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
}

// Takes the identifiers of the literals "..."_id.
void take_ids(std::string_view source, id_set& out) {
    constexpr std::string_view end_of_literal = "\"_id";
    for (std::size_t at = source.find(end_of_literal); at != std::string_view::npos;
         at = source.find(end_of_literal, at + 1)) {
        std::size_t begin = at;
        while (begin > 0 && is_id_character(source[begin - 1])) {
            --begin;
        }
        if (begin > 0 && begin < at && source[begin - 1] == '"') {
            out.emplace(source.substr(begin, at - begin));
        }
    }
}

id_set raised_ids() {
    id_set ids;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(source_directory() / "src")) {
        if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
            take_ids(content_of(entry.path()), ids);
        }
    }
    return ids;
}

id_set ids_of(std::span<const words> rows, word_kind kind) {
    id_set ids;
    for (const words& row : rows) {
        if (row.kind == kind) {
            ids.insert(row.id);
        }
    }
    return ids;
}

// What `all` has beyond `known`, for a message.
std::vector<std::string> beyond(const id_set& known, const id_set& all) {
    std::vector<std::string> more;
    std::set_difference(all.begin(), all.end(), known.begin(), known.end(), std::back_inserter(more));
    return more;
}

bool is_shown_plainly(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

bool is_paired(std::string_view text, char mark) {
    return std::count(text.begin(), text.end(), mark) % 2 == 0;
}

void expect_sentences(std::string_view text, const char* id) {
    EXPECT_GE(text.size(), 10U) << id;
    EXPECT_TRUE(text.ends_with('.')) << id << ": " << text;
    EXPECT_TRUE(is_shown_plainly(text)) << id << ": " << text;
    EXPECT_EQ(text.find("  "), std::string_view::npos) << id << ": " << text;
    EXPECT_TRUE(is_paired(text, '`') && is_paired(text, '"')) << id << ": " << text;
}

TEST(Words, EachEntryIsComplete) {
    for (const words& row : all_words()) {
        const std::string_view title = row.title;
        EXPECT_TRUE(!title.empty() && title.size() <= 60 && !title.ends_with('.')) << row.id << ": " << title;
        EXPECT_TRUE(is_shown_plainly(title)) << row.id;
        expect_sentences(row.meaning, row.id);
        expect_sentences(row.likely_cause, row.id);
        expect_sentences(row.what_to_do.text, row.id);
    }
}

TEST(Words, TheFirstSentenceOfARemedyStandsAlone) {
    for (const words& row : all_words()) {
        const std::string_view first = first_sentence(row.what_to_do.text);
        EXPECT_LE(first.size(), 160U) << row.id << ": " << first;
        EXPECT_TRUE(first.ends_with('.') && is_paired(first, '`')) << first;
        EXPECT_EQ(std::count(first.begin(), first.end(), '('), std::count(first.begin(), first.end(), ')')) << first;
    }
    EXPECT_EQ(first_sentence("Name `a.b` in kxl.ini. Then go on."), "Name `a.b` in kxl.ini.");
    EXPECT_EQ(first_sentence("Only this."), "Only this.");
}

TEST(Words, NothingIsSaidInTwoTables) {
    id_set ids;
    std::set<std::string_view> titles;
    for (const words& row : all_words()) {
        EXPECT_TRUE(ids.insert(row.id).second) << row.id << " stands there twice";
        EXPECT_TRUE(titles.insert(row.title).second) << row.id << " has the title of another: " << row.title;
        ASSERT_NE(words_of(row.id), nullptr) << row.id;
        EXPECT_EQ(words_of(row.id)->title, row.title) << row.id;
    }
    EXPECT_EQ(words_of("pcr"), nullptr);
    EXPECT_EQ(words_of(""), nullptr);
}

TEST(Words, StagesStandInTheOrderOfTheRunAndTheOthersByIdentifier) {
    const std::span<const words> all = all_words();
    const auto stages = stage_rows();
    ASSERT_GT(all.size(), stages.size());
    for (std::size_t i = 0; i < stages.size(); ++i) {
        EXPECT_STREQ(all[i].id, stages[i].id);
        EXPECT_EQ(all[i].kind, word_kind::stage) << all[i].id;
    }
    for (std::size_t i = stages.size() + 1; i < all.size(); ++i) {
        const words& before = all[i - 1];
        const bool in_order =
            before.kind == all[i].kind ? std::string_view(before.id) < all[i].id : before.kind == word_kind::finding;
        EXPECT_TRUE(in_order) << before.id << " stands before " << all[i].id;
    }
}

TEST(Words, EachFindingOfTheSourcesHasAnEntryAndEachEntryAFinding) {
    if (!std::filesystem::is_directory(source_directory() / "src")) {
        GTEST_SKIP() << "the sources are not to be read here";
    }
    const id_set raised = raised_ids();
    ASSERT_GT(raised.size(), 300U) << "the identifiers are not written as this test looks for them";
    id_set explained = ids_of(all_words(), word_kind::finding);
    for (const words& row : report_words()) {
        EXPECT_EQ(explained.erase(row.id), 1U) << row.id;
    }
    EXPECT_EQ(beyond(explained, raised), std::vector<std::string>()) << "raised, and without words";
    EXPECT_EQ(beyond(raised, explained), std::vector<std::string>()) << "has words, and is raised nowhere";
}

// What stands behind a text's matches of the pattern's first group.
id_set matches_of(const std::regex& pattern) {
    id_set found;
    for (const words& row : all_words()) {
        for (const std::string text : {row.meaning, row.likely_cause, row.what_to_do.text}) {
            for (std::sregex_iterator at(text.begin(), text.end(), pattern), end; at != end; ++at) {
                found.insert((*at)[1]);
            }
        }
    }
    return found;
}

// A person types what a remedy says.
TEST(Words, TheyNameOptionsAndKeysThatThereAre) {
    if (!std::filesystem::is_directory(source_directory() / "src")) {
        GTEST_SKIP() << "the sources are not to be read here";
    }
    std::string programs;
    for (const char* room : {"src/app", "lab", "report"}) {
        for (const auto& entry : std::filesystem::directory_iterator(source_directory() / room)) {
            const bool words = entry.path().filename().string().starts_with("words");
            programs += entry.is_regular_file() && !words ? content_of(entry.path()) : "";
        }
    }
    const id_set options = matches_of(std::regex("(?:^|[ `(])--([a-z][a-z_-]+)"));
    ASSERT_GT(options.size(), 10U);
    for (const std::string& option : options) {
        const bool declared = programs.find('"' + option + '"') != std::string::npos ||
                              programs.find("\"--" + option) != std::string::npos ||
                              programs.find(" --" + option) != std::string::npos;
        EXPECT_TRUE(declared) << "--" << option;
    }
    const std::string sample = content_of(source_directory() / "packaging" / "kxl.ini");
    const id_set keys = matches_of(std::regex("`([A-Z][A-Za-z0-9]*[a-z][A-Z][A-Za-z0-9]*)(?:=[^`]*)?`"));
    ASSERT_GT(keys.size(), 10U);
    for (const std::string& key : keys) {
        EXPECT_NE(sample.find(key + "="), std::string::npos) << key;
    }
}

TEST(Words, EachNameHasItsValue) {
    EXPECT_STREQ(cause_class_name(cause_class::environment), "environment");
    EXPECT_STREQ(cause_class_name(cause_class::firmware), "firmware");
    EXPECT_STREQ(word_kind_name(word_kind::caution), "caution");
    EXPECT_STREQ(person_name(person::administrator), "administrator of the device");
    EXPECT_STREQ(person_name(person::program_maintainer), "who maintains the program");
}

// explain -----------------------------------------------------------------------------------------------------------

struct explained {
    int code = 0;
    std::string output;
    std::string errors;
};

explained explain(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int code = explain_command(arguments);
    std::fflush(stdout);
    return {code, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

std::size_t longest_line(std::string_view text) {
    std::size_t longest = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        longest = std::max(longest, end);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return longest;
}

TEST(Explain, SaysAllOfAnEntryInEightyColumns) {
    const explained said = explain({"gpt-signature-invalid"});
    EXPECT_EQ(said.code, 0);
    EXPECT_EQ(said.errors, "");
    EXPECT_EQ(said.output, R"(gpt-signature-invalid (finding)
The disk has no GPT

What it means
    Where the header of the partition table has to be, its signature is missing.

Likely cause: change
    The disk is empty, was exchanged, or has the old kind of table; or another
    disk was taken for the boot disk.

What to do
    Check the table with `sgdisk -v DISK` and repair it from its backup copy
    with `gdisk` (recovery menu); then restart and validate. Ask what damaged
    it: a disk tool, an interrupted write, or somebody who changed it by hand.
    On Windows look at the disk with `diskpart` first.

Who
    administrator of the device
)");
    for (const words& row : all_words()) {
        EXPECT_LE(longest_line(explain({row.id}).output), 80U) << row.id;
    }
}

TEST(Explain, TakesAFindingAsAFleetNamesIt) {
    EXPECT_EQ(explain({"pcr-differs/4"}).output, explain({"pcr-differs"}).output);
    EXPECT_NE(explain({"pcr-differs/x"}).code, 0);
}

TEST(Explain, ListsEachIdentifierWithItsTitle) {
    const std::string text = explain({}).output;
    for (const words& row : all_words()) {
        const std::size_t at = text.find(std::string("\n  ") + row.id + " ");
        ASSERT_NE(at, std::string::npos) << row.id;
        const std::string line = text.substr(at + 1, text.find('\n', at + 1) - at - 1);
        EXPECT_TRUE(line.ends_with(std::string("  ") + row.title)) << line;
    }
    EXPECT_LT(text.find("Stages\n"), text.find("\nFindings\n"));
    EXPECT_LT(text.find("\nFindings\n"), text.find("\nCautions\n"));
}

TEST(Explain, RefusesWhatItDoesNotKnow) {
    struct refusal {
        std::vector<std::string> words;
        std::string errors;
    };
    const refusal refusals[] = {
        {{"pcr-difers"}, "vellum-report: nothing is known of pcr-difers; did you mean pcr-differs?\n"},
        {{"zzzzzzzzzzzz"}, "vellum-report: nothing is known of zzzzzzzzzzzz.\n"},
        {{"\x1b[2J"}, "vellum-report: nothing is known of ?[2J.\n"},
    };
    for (const refusal& row : refusals) {
        const explained said = explain(row.words);
        EXPECT_EQ(said.code, 3);
        EXPECT_EQ(said.output, "");
        EXPECT_EQ(said.errors, row.errors);
    }
    for (const std::vector<std::string>& wrong :
         {std::vector<std::string>{"pcr-differs", "pmf-expired"}, {"--all"}}) {
        const explained said = explain(wrong);
        EXPECT_EQ(said.code, 3);
        EXPECT_EQ(said.output, "");
        EXPECT_TRUE(said.errors.starts_with("usage:\n    vellum-report explain [ID]\n")) << said.errors;
    }
}

TEST(Explain, TheDocumentIsWhatTheTablesSay) {
    const std::string document = explain({"--markdown"}).output;
    EXPECT_LE(longest_line(document), 80U);
    const std::filesystem::path kept = source_directory() / "docs" / "remedies.md";
    if (!std::filesystem::is_directory(kept.parent_path())) {
        GTEST_SKIP() << "the documents are not to be read here";
    }
    // Not compared by EXPECT_EQ, which would print both.
    EXPECT_TRUE(content_of(kept) == document)
        << "docs/remedies.md is not up to date: vellum-report explain --markdown >docs/remedies.md";
}

}  // namespace
}  // namespace vellum
