// Reads the files of a recorded device. Every file is bounded; one that cannot be read or understood, or that lies
// elsewhere and is only linked, leaves a text that says which one and why. A recording can come from anyone, and what
// it holds gets shown: its links may not reach the files of the machine that replays it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "base/text.h"
#include "platform/bounded_file.h"

namespace vellum {

inline constexpr std::uint64_t max_record_text = std::uint64_t{64} * 1024;           // bytes
inline constexpr std::uint64_t max_record_binary = std::uint64_t{64} * 1024 * 1024;  // bytes

// The non-empty lines of a text, without the blanks around them.
std::vector<std::string_view> lines_of(std::string_view text);

// Takes the first word of a line and the blanks behind it.
std::string_view take_word(std::string_view& line);

class record_directory {
  public:
    explicit record_directory(std::string path) : path_(std::move(path)) {}

    // Path of a file in the directory.
    std::string path(std::string_view name) const { return path_ + "/" + std::string(name); }

    // The whole file; nothing when it is absent. Invalid for one that cannot be read or is too large.
    result read(std::string_view name, std::optional<std::string>& out);
    result read(std::string_view name, std::optional<std::vector<std::uint8_t>>& out);

    // The one number that the file holds; `out` is unchanged when the file is absent.
    template <typename Number>
    result read_number(std::string_view name, std::optional<Number>& out) {
        std::optional<std::string> text;
        const result read_result = read(name, text);
        if (!ok(read_result) || !text) {
            return read_result;
        }
        const std::vector<std::string_view> lines = lines_of(*text);
        const auto value = lines.size() == 1 ? parse_decimal<Number>(lines.front()) : std::nullopt;
        if (!value) {
            return malformed(name, "does not hold one decimal number in range");
        }
        out = value;
        return result::success;
    }

    // As the function of this name, of a file of the directory.
    template <typename Container>
    file_read read_bounded(std::string_view name, std::uint64_t limit, Container& out) const {
        return read_bounded_in(place(), path(name), limit, out);
    }

    // False for a file or directory that a link puts elsewhere. One that is not there is not elsewhere.
    bool holds(const std::string& path) const;

    // Invalid for a file that is not held.
    result check_link(std::string_view name);

    // Keeps the reason and returns invalid.
    result malformed(std::string_view name, std::string_view reason);

    // Why the last read failed, as one line without a line break.
    const std::string& problem() const { return problem_; }

  private:
    result judge(std::string_view name, const file_read& read);
    const file_place& place() const;

    std::string path_;
    mutable std::optional<file_place> place_;  // once it is asked for
    std::string problem_;
};

}  // namespace vellum
