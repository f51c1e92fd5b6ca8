// Lays out a report as text for people. Internal to inspect.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "lab/inspect_report.h"

namespace vellum::lab {

// A page of at most 80 columns, but for words that are longer. Of long hexadecimal values the beginning is shown
// unless everything is wanted.
class text_page {
  public:
    explicit text_page(inspect_extent extent) : extent_(extent) {}

    // The members of an object, or the elements of an array, one a line, values below each other.
    void fields(const report& node, std::size_t indent);

    // One line; what does not fit goes on below the beginning of the value.
    void value(std::size_t indent, std::string_view label, std::size_t label_width, std::string_view text);

    void line(std::string_view text) { text_.append(text) += '\n'; }

    // Under a title, each with what is beneath it; nothing for an empty list.
    void remarks(const char* title, const report& list);

    // Cautions, reasons and the verdict, which end the page.
    void verdict(const report& description);

    std::string take() { return std::move(text_); }

  private:
    void scalars(const report& node, std::size_t indent);
    void flow(std::size_t column, std::string_view text);
    void digits(std::size_t column, std::string_view text);

    inspect_extent extent_;
    std::string text_;
};

// What a page begins with: the report without what has a place of its own on it, and what is for machines alone.
report head_of(const report& description);

}  // namespace vellum::lab
