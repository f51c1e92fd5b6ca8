#include "report/forms.h"

namespace vellum::reporting {

std::string html_form(const run_record&) {
    return "";
}

}  // namespace vellum::reporting
