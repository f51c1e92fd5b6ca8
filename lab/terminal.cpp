#include "lab/terminal.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "platform/terminal.h"

namespace vellum::lab {
namespace {

constexpr std::size_t piece_size = std::size_t{64} * 1024;
constexpr std::string_view ellipsis = "\xE2\x80\xA6";
constexpr char escape = '\x1b';
constexpr std::string_view plain_sequence = "\x1b[0m";

std::string_view sequence_of(ink colour) {
    switch (colour) {
        case ink::plain: break;
        case ink::strong: return "\x1b[1m";
        case ink::faint: return "\x1b[2m";
        case ink::green: return "\x1b[32m";
        case ink::yellow: return "\x1b[33m";
        case ink::red: return "\x1b[31m";
    }
    return "";
}

// Characters that take two columns, or none. Scripts that no firmware writes are left out.
struct character_range {
    std::uint32_t first;
    std::uint32_t last;
    std::size_t columns;
};
constexpr character_range odd_characters[] = {
    {0x0300, 0x036F, 0}, {0x1100, 0x115F, 2},   {0x200B, 0x200F, 0},   {0x2E80, 0x303E, 2},   {0x3041, 0xA4CF, 2},
    {0xAC00, 0xD7A3, 2}, {0xF900, 0xFAFF, 2},   {0xFE00, 0xFE0F, 0},   {0xFE30, 0xFE6F, 2},   {0xFF00, 0xFF60, 2},
    {0xFFE0, 0xFFE6, 2}, {0x1F300, 0x1F64F, 2}, {0x1F900, 0x1F9FF, 2}, {0x20000, 0x3FFFD, 2},
};

std::size_t columns_of(std::uint32_t character) {
    const auto* const row =
        std::find_if(std::begin(odd_characters), std::end(odd_characters),
                     [&](const auto& range) { return character >= range.first && character <= range.last; });
    return row == std::end(odd_characters) ? 1 : row->columns;
}

// What stands at the beginning of a text: a character, or a sequence that takes no room.
struct glyph {
    std::size_t bytes = 1;
    std::size_t columns = 1;
};

glyph sequence_at(std::string_view text) {
    return {std::min(text.find('m'), text.size() - 1) + 1, 0};
}

glyph glyph_at(std::string_view text) {
    const auto lead = static_cast<std::uint8_t>(text.front());
    if (text.front() == escape) {
        return sequence_at(text);
    }
    if (lead < 0xC0) {
        return {};
    }
    const std::size_t claimed = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const std::size_t bytes = std::min(claimed, text.size());
    std::uint32_t character = lead & (0x7FU >> claimed);
    for (std::size_t i = 1; i < bytes; ++i) {
        character = character << 6 | (static_cast<std::uint8_t>(text[i]) & 0x3FU);
    }
    return {bytes, columns_of(character)};
}

// The bytes of the beginning that takes no more than these columns.
std::size_t bytes_within(std::string_view text, std::size_t columns) {
    std::size_t taken = 0;
    for (std::size_t used = 0; taken < text.size();) {
        const glyph next = glyph_at(text.substr(taken));
        if (next.columns > columns - used) {
            break;
        }
        used += next.columns;
        taken += next.bytes;
    }
    return taken;
}

}  // namespace

page_style style_of_output() {
    const terminal_traits traits = look_at_terminal();
    return {traits.columns, traits.colours};
}

void paint(std::string& out, std::string_view text, ink colour, const page_style& style) {
    const bool painted = style.coloured && colour != ink::plain && !text.empty();
    out.append(painted ? sequence_of(colour) : "").append(text).append(painted ? plain_sequence : "");
}

std::size_t columns_of(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const glyph next = glyph_at(text);
        columns += next.columns;
        text.remove_prefix(next.bytes);
    }
    return columns;
}

void pad(std::string& out, std::size_t start, std::size_t columns) {
    const std::size_t taken = columns_of(std::string_view(out).substr(start));
    out.append(columns - std::min(taken, columns), ' ');
}

void append_cut(std::string& out, std::string_view text, std::size_t columns) {
    const bool fits = text.size() <= columns || columns_of(text) <= columns;
    out.append(fits || columns == 0 ? text : text.substr(0, bytes_within(text, columns - 1)));
    out.append(fits || columns == 0 ? "" : ellipsis);
}

void append_line(std::string& out, std::string_view line, const page_style& style) {
    const std::size_t start = out.size();
    append_cut(out, line, style.columns == 0 ? line.size() : style.columns);
    const bool is_cut = out.size() - start != line.size() || !out.ends_with(line);
    out.append(is_cut && style.coloured ? plain_sequence : "") += '\n';
}

text_sink output_sink(console& output) {
    output.start();
    return [&output](std::string_view text) {
        output.write(console_stream::output, text);
        return std::ferror(stdout) == 0;
    };
}

void page_writer::line(std::string_view text) {
    append_line(text_, text, style_);
    flush_if_large();
}

void page_writer::text(std::string_view text) {
    text_ += text;
    flush_if_large();
}

void page_writer::flush_if_large() {
    if (text_.size() >= piece_size) {
        flush();
    }
}

void page_writer::flush() {
    if (!text_.empty() && is_read_) {
        is_read_ = sink_(text_);
    }
    text_.clear();
}

}  // namespace vellum::lab
