// What the sections of a page are built of: signs, tables, folded parts, words about a cause.
#pragma once

#include <initializer_list>

#include "report/html_writer.h"
#include "report/record.h"
#include "report/verdict.h"

namespace vellum::reporting {

// How a state is shown: colour by a class of the style, shape by a sign, and always a word.
struct look {
    markup css;
    markup sign;
    markup word;
};

const look& look_of(stage_result result);
const look& look_of(run_verdict verdict);

// The shapes that write_sign() uses; once a page.
void define_signs(html_writer& out);
void write_sign(markup name, html_writer& out);

// A sign in the colour of its class, and the word.
void write_badge(const look& looks, html_writer& out);

// A folded part with a summary, and a table with a caption and a head.
void begin_folded(markup css, std::string_view summary, html_writer& out);
void end_folded(html_writer& out);
void begin_table(markup css, std::string_view caption, std::initializer_list<markup> columns, html_writer& out);
void end_table(html_writer& out);

// "... and 12 more", when there are more.
void write_more(std::size_t all, std::size_t shown, std::string_view noun, html_writer& out);

// A row of a list of names and texts; none for an empty text.
void write_fact(markup name, std::string_view says, html_writer& out);

// What something means, where it comes from, what to do and who.
void write_words(const words& meaning, html_writer& out);

// A link to a stage of the same page.
void write_stage_link(const stage_record& stage, html_writer& out);

}  // namespace vellum::reporting
