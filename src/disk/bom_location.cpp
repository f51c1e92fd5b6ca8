#include "disk/bom_location.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"

namespace vellum {
namespace {

constexpr std::size_t letter_size = 2;  // the letter and ":"
constexpr std::string_view separators = "\\/";

bool is_separator(char c) {
    return separators.find(c) != std::string_view::npos;
}

bool is_printable(char c) {
    return c >= 0x20 && c <= 0x7E;
}

// Where it names the volume's file system at all, a ":" opens a stream or another drive. A blank or dot at the end of
// a name is dropped by some systems, which would turn ".. " into "..".
const char* wrong_component(std::string_view component) {
    if (component.empty()) {
        return "has an empty path component";
    }
    if (component == "..") {
        return "leaves its volume";
    }
    if (component.find(':') != std::string_view::npos) {
        return "has a path component with ':'";
    }
    if (component != "." && (component.back() == '.' || component.back() == ' ')) {
        return "has a path component that ends in a dot or a blank";
    }
    return nullptr;
}

const char* read_path(std::string_view path, std::string& out) {
    while (true) {
        const std::size_t end = std::min(path.find_first_of(separators), path.size());
        const std::string_view component = path.substr(0, end);
        if (const char* wrong = wrong_component(component); wrong != nullptr) {
            return wrong;
        }
        out += component;
        if (end == path.size()) {
            return nullptr;
        }
        out += '/';
        path.remove_prefix(end + 1);
    }
}

}  // namespace

const char* parse_bom_location(byte_view field, bom_location& out) {
    const auto end = std::find(field.begin(), field.end(), std::uint8_t{0});
    if (end == field.end()) {
        return "is not properly terminated by null character";
    }
    out.text.assign(field.begin(), end);
    out.path.clear();
    const std::string_view text = out.text;
    if (text.empty()) {
        return "is empty";
    }
    if (!std::all_of(text.begin(), text.end(), is_printable)) {
        return "has a character that is not printable ASCII";
    }
    if (text.size() <= letter_size || !is_letter(text[0]) || text[1] != ':' || !is_separator(text[letter_size])) {
        return "does not begin with a drive letter and a path from the volume's root";
    }
    out.letter = text[0];
    return read_path(text.substr(letter_size + 1), out.path);
}

}  // namespace vellum
