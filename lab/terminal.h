// How the lab's reports look where they go: as wide as a terminal and in its colours, plain and whole everywhere
// else. Nothing here pages or waits.
//
// Texts are UTF-8 and clean of what steers a terminal (base/text.h), so that the only sequences in a line are the
// ones that paint() put there.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/console.h"

namespace vellum::lab {

struct page_style {
    std::size_t columns = 0;  // to which lines are cut; 0: they are not
    bool coloured = false;
};

// That of standard output.
page_style style_of_output();

enum class ink { plain, strong, faint, green, yellow, red };

// Appends the text in a colour, if there are any.
void paint(std::string& out, std::string_view text, ink colour, const page_style& style);

// The columns that the text takes on a terminal.
std::size_t columns_of(std::string_view text);

// Appends blanks until what was appended since `start`, an offset into the text, takes this many columns.
void pad(std::string& out, std::size_t start, std::size_t columns);

// Appends the text as far as it fits, with an ellipsis for the rest.
void append_cut(std::string& out, std::string_view text, std::size_t columns);

// Appends the line, cut with an ellipsis at its right end where the style demands it, and ends it.
void append_line(std::string& out, std::string_view line, const page_style& style);

// Takes a piece of a report. False: nobody reads on, and what follows may be spared.
using text_sink = std::function<bool(std::string_view)>;

// Standard output by the console, which must outlive it and is started here.
text_sink output_sink(console& output);

// Gathers text and hands it on in large pieces, which end where what it was given ended.
class page_writer {
  public:
    page_writer(text_sink sink, const page_style& style) : sink_(std::move(sink)), style_(style) {}
    ~page_writer() { flush(); }
    page_writer(const page_writer&) = delete;
    page_writer& operator=(const page_writer&) = delete;

    const page_style& style() const { return style_; }

    // Cut as append_line() does.
    void line(std::string_view text);

    // As it is: of a page that is not to be cut.
    void text(std::string_view text);

    void flush();

    // Whether anybody still reads.
    bool is_read() const { return is_read_; }

  private:
    void flush_if_large();

    text_sink sink_;
    page_style style_;
    std::string text_;
    bool is_read_ = true;
};

}  // namespace vellum::lab
