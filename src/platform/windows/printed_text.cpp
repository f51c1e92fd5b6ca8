#include "platform/printed_text.h"

#include <array>

namespace vellum {

// The system has no stream in memory; this one is a file of its own that is gone when it is closed.
std::optional<std::string> printed_text(const std::function<void(std::FILE* stream)>& print) {
    std::FILE* const stream = std::tmpfile();
    if (stream == nullptr) {
        return std::nullopt;
    }
    print(stream);
    std::string text;
    std::array<char, 4096> part{};
    std::rewind(stream);
    for (std::size_t read = part.size(); read == part.size();) {
        read = std::fread(part.data(), 1, part.size(), stream);
        text.append(part.data(), read);
    }
    const bool whole = std::ferror(stream) == 0;
    return std::fclose(stream) == 0 && whole ? std::optional(text) : std::nullopt;
}

}  // namespace vellum
