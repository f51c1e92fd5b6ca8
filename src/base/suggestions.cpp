#include "base/suggestions.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vellum {
namespace {

constexpr std::size_t longest_word = 64;
constexpr std::size_t most_suggestions = 3;
constexpr std::size_t shortest_part = 3;

// The fewest characters to be put in, taken out or replaced.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string lower_case(std::string_view word) {
    std::string text(word);
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

std::vector<std::string_view> near_words(std::string_view word, std::span<const std::string_view> known) {
    std::vector<std::pair<std::size_t, std::string_view>> found;
    const std::string typed = lower_case(word.substr(0, longest_word + 1));
    for (const std::string_view candidate : known) {
        const std::size_t apart = distance(typed, lower_case(candidate));
        const bool contained =
            typed.size() >= shortest_part && lower_case(candidate).find(typed) != std::string::npos;
        if (typed.size() <= longest_word && (contained || apart <= 1 + candidate.size() / 4)) {
            found.emplace_back(apart, candidate);
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string_view> words;
    for (std::size_t i = 0; i < std::min(found.size(), most_suggestions); ++i) {
        words.push_back(found[i].second);
    }
    return words;
}

std::string did_you_mean(std::string_view word, std::span<const std::string_view> known) {
    const std::vector<std::string_view> words = near_words(word, known);
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += i == 0 ? "; did you mean " : i + 1 == words.size() ? " or " : ", ";
        text += words[i];
    }
    return words.empty() ? "." : text + "?";
}

}  // namespace vellum
