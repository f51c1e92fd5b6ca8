// What somebody may have meant who typed a word that is not known.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vellum {

// With the letters of ASCII in lower case.
std::string lower_case(std::string_view word);

// Those of the known words that differ from this one in few characters, or contain it; the nearest first, at most
// three.
std::vector<std::string_view> near_words(std::string_view word, std::span<const std::string_view> known);

// "; did you mean A, B or C?" for the end of a sentence about the word, or its full stop.
std::string did_you_mean(std::string_view word, std::span<const std::string_view> known);

}  // namespace vellum
