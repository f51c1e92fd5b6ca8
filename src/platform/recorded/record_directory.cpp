#include "platform/recorded/record_directory.h"

#include "base/text.h"
#include "platform/regular_file.h"

namespace vellum {
namespace {

template <typename Container>
file_read read_file_of(const record_directory& record, std::string_view name, std::uint64_t limit,
                       std::optional<Container>& out) {
    out.emplace();
    const file_read read = record.read_bounded(name, limit, *out);
    if (!ok(read)) {
        out.reset();
    }
    return read;
}

}  // namespace

std::vector<std::string_view> lines_of(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::string_view line = trim(take_until(text, '\n'));
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::string_view take_word(std::string_view& line) {
    const std::string_view word = line.substr(0, line.find_first_of(" \t"));
    line = trim(line.substr(word.size()));
    return word;
}

result record_directory::read(std::string_view name, std::optional<std::string>& out) {
    return judge(name, read_file_of(*this, name, max_record_text, out));
}

result record_directory::read(std::string_view name, std::optional<std::vector<std::uint8_t>>& out) {
    return judge(name, read_file_of(*this, name, max_record_binary, out));
}

// A directory that cannot be located holds nothing.
const file_place& record_directory::place() const {
    if (!place_ && !ok(locate(path_, place_.emplace()))) {
        place_ = file_place();
    }
    return *place_;
}

bool record_directory::holds(const std::string& path) const {
    file_place other;
    return !ok(locate(path, other)) || lies_below(other, place());
}

result record_directory::check_link(std::string_view name) {
    return holds(path(name)) ? result::success : judge(name, {file_read::outside});
}

// A missing file is none that fails.
result record_directory::judge(std::string_view name, const file_read& read) {
    switch (read.how) {
        case file_read::done:
        case file_read::missing: return result::success;
        case file_read::too_large: return malformed(name, "is too large");
        case file_read::outside: return malformed(name, "is a link that leads out of the recording");
        case file_read::not_opened:
        case file_read::unreadable:
        case file_read::not_regular:
        case file_read::no_memory: break;
    }
    return malformed(name, "cannot be read");
}

result record_directory::malformed(std::string_view name, std::string_view reason) {
    problem_ = "file \"" + shown_text(path(name)) + "\" " + std::string(reason);
    return result::invalid;
}

}  // namespace vellum
