// Writes HTML. Markup is a literal of the sources, which the compiler sees to: whatever else comes onto a page goes
// through text(), which cleans and escapes it, so that no text of a device can become markup.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vellum::reporting {

// Made of a literal only, without a word of its own where it is passed.
class markup {
  public:
    template <std::size_t Size>
    consteval markup(const char (&literal)[Size]) : text_(literal, Size - 1) {}

    constexpr std::string_view text() const { return text_; }

  private:
    std::string_view text_;
};

// Bytes of one text that a page shows; what goes beyond is cut at the end of a character.
inline constexpr std::size_t longest_shown = 1000;

// A place on a picture's axis: 0 is its begin and whole_axis its end.
using axis_place = unsigned;
inline constexpr axis_place whole_axis = 10'000;

class html_writer {
  public:
    html_writer& raw(const markup& literal);
    html_writer& text(std::string_view outside, std::size_t most = longest_shown);

    // Words of the program's own tables: escaped too, `names` in backticks become code.
    html_writer& prose(std::string_view own);

    html_writer& number(std::uint64_t value);
    html_writer& percent(axis_place place);

    // Seconds since 1970-01-01 UTC, to the second and to the day.
    html_writer& time(std::int64_t seconds);
    html_writer& day(std::int64_t seconds);

    std::string take() { return std::move(page_); }

  private:
    std::string page_;
};

// "46 days", "2 years"; of a negative span, its length.
std::string span_text(std::int64_t seconds);

// "25 ms".
std::string duration_text(std::int64_t microseconds);

}  // namespace vellum::reporting
