// What the pages have in common: a head with the one style, and the policy that allows nothing else; sections from a
// table, each left out when it has nothing to show.
#pragma once

#include <span>
#include <string_view>

#include "report/html_writer.h"

namespace vellum::reporting {

// From the document's type to the end of its head. The title may come from outside.
void write_page_head(std::string_view title, html_writer& out);

// Of a page about a Subject.
template <typename Subject>
struct page_section {
    markup id;
    markup title;
    bool (*has)(const Subject&);
    void (*write)(const Subject&, html_writer&);
};

void write_section_link(markup id, markup title, html_writer& out);
void begin_section(markup id, markup title, html_writer& out);
void end_section(html_writer& out);

// Links to the verdict, which is called `first`, and to the sections that are written.
template <typename Subject>
void write_navigation(markup first, std::span<const page_section<Subject>> sections, const Subject& subject,
                      html_writer& out) {
    out.raw("<nav aria-label='Sections'><ul>\n");
    write_section_link("verdict", first, out);
    for (const page_section<Subject>& row : sections) {
        if (row.has(subject)) {
            write_section_link(row.id, row.title, out);
        }
    }
    out.raw("</ul></nav>\n");
}

template <typename Subject>
void write_sections(std::span<const page_section<Subject>> sections, const Subject& subject, html_writer& out) {
    for (const page_section<Subject>& row : sections) {
        if (row.has(subject)) {
            begin_section(row.id, row.title, out);
            row.write(subject, out);
            end_section(out);
        }
    }
}

}  // namespace vellum::reporting
