#include "report/html_page.h"

#include <algorithm>
#include <string>

#include "base/text.h"
#include "core/digest.h"
#include "report/html_style.h"

namespace vellum::reporting {
namespace {

std::string base64(byte_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(bytes.size() - at, 3);
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8 | (i < count ? bytes[at + i] : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            out += i <= count ? digits[group >> (18 - 6 * i) & 0x3F] : '=';
        }
    }
    return out;
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

}  // namespace vellum::reporting
