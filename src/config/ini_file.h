// Reads an INI file into its parameters, in file order.
//
// The line grammar is that of the inih library: "[section]", "key=value" or "key:value" with blanks trimmed, comment
// lines that start with ";" or "#", an inline comment from a ";" after a blank, and a line that begins with blanks as
// a further value of the key before it. Sections are kept up to 49 characters, so a longer one matches no known name.
// The library may be built to stop at its first error or to go on, to take keys without a value, or with a line
// buffer of any kind: the outcome here is the same. Its releases differ in one point: some keep an inline comment in
// a further value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/result.h"

namespace vellum {

inline constexpr std::size_t ini_line_limit = 200;  // bytes; a line this long (without its end) is refused
inline constexpr std::uint64_t ini_file_limit = std::uint64_t{256} * 1024;  // bytes

struct ini_parameter {
    int line = 0;  // counted from 1
    std::string section;
    std::string key;
    std::string value;
};

struct ini_content {
    std::vector<ini_parameter> parameters;  // those before the first malformed line
    int bad_line = 0;  // the first malformed line: bad syntax, too long, or with a zero byte; 0: none
};

// Fails when the file cannot be read, is larger than the limit, or memory is exhausted; the reason is reported. A
// malformed line is no failure here.
result read_ini_file(const std::string& path, ini_content& out);

}  // namespace vellum
