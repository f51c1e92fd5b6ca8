// How a page looks: light and dark, from a telephone to a wide screen, and on paper. One text, so that a page can
// name its digest and allow no other.
#pragma once

#include "report/html_writer.h"

namespace vellum::reporting {

markup page_style();

}  // namespace vellum::reporting
