#include "report/html_page.h"

#include <openssl/evp.h>

#include <array>
#include <string>

#include "base/text.h"
#include "core/digest.h"
#include "report/html_style.h"

namespace vellum::reporting {
namespace {

std::string base64(const sha256_value& digest) {
    std::array<std::uint8_t, (sizeof(digest) + 2) / 3 * 4 + 1> digits{};  // the last is a zero
    EVP_EncodeBlock(digits.data(), digest.data(), static_cast<int>(digest.size()));
    return {digits.begin(), digits.end() - 1};
}

// The page's one style is allowed by its digest. The hasher is its own, as a page may be made while a run goes on.
void write_policy(html_writer& out) {
    sha256_value digest{};
    const bool hashed = ok(hasher::sha256().hash({as_bytes(page_style().text())}, digest));
    out.raw(
        "<meta http-equiv='Content-Security-Policy' content=\"default-src 'none'; base-uri 'none'; "
        "form-action 'none'; style-src ");
    if (hashed) {
        out.raw("'sha256-").text(base64(digest)).raw("'\">\n");
    } else {
        out.raw("'unsafe-inline'\">\n");
    }
}

}  // namespace

void write_page_head(std::string_view title, html_writer& out) {
    out.raw("<!DOCTYPE html>\n<html lang='en'>\n<head>\n<meta charset='utf-8'>\n");
    write_policy(out);
    out.raw(
        "<meta name='viewport' content='width=device-width, initial-scale=1'>\n"
        "<meta name='color-scheme' content='light dark'>\n<title>");
    out.text(title).raw("</title>\n<style>").raw(page_style()).raw("</style>\n</head>\n");
}

void write_section_link(markup id, markup title, html_writer& out) {
    out.raw("<li><a href='#").raw(id).raw("'>").raw(title).raw("</a></li>\n");
}

void begin_section(markup id, markup title, html_writer& out) {
    out.raw("<section id='").raw(id).raw("' aria-labelledby='").raw(id).raw("-title'>\n<h2 id='").raw(id);
    out.raw("-title'>").raw(title).raw("</h2>\n");
}

void end_section(html_writer& out) {
    out.raw("</section>\n");
}

}  // namespace vellum::reporting
