// What the pages have in common: a head with the one style, and the policy that allows nothing else.
#pragma once

#include <string_view>

#include "report/html_writer.h"

namespace vellum::reporting {

// From the document's type to the end of its head. The title may come from outside.
void write_page_head(std::string_view title, html_writer& out);

}  // namespace vellum::reporting
